#pragma once

// Tells which files and folders were saved, moved, made or removed. Another system's implementation stands
// beside folder_watcher_inotify.cpp.

#include "tools/build/platform/processes.h"

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <system_error>

namespace kestrel {

struct folder_changes_t {
    std::set<std::string> files;   // saved, come or gone
    std::set<std::string> folders; // come or gone, with all that is in them
    bool missed_some = false;      // everything has to be looked at

    bool empty() const { return files.empty() && folders.empty() && !missed_some; }
};

class folder_watcher_t {
  public:
    virtual ~folder_watcher_t() = default;
    // From now on, changes in this folder are told, under the name given here; those in its subfolders are
    // not. A folder that is gone by now is no failure. May be called from any thread.
    virtual std::error_code add(const std::string &folder) = 0;
    // Waits for changes, then until none has come for `quiet`; files count when their writer has closed them.
    // Without changes when the wish to stop came.
    virtual folder_changes_t wait(std::chrono::milliseconds quiet) = 0;
};
// With the error set and none when the system has no more of them.
std::unique_ptr<folder_watcher_t> make_folder_watcher(stop_wish_t &stop, std::error_code &error);

} // namespace kestrel
