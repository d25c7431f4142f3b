#pragma once

// The output of one conversion and its dependency record: what becomes of those of an earlier run, and when
// the new ones count.
//
// Contract: the old output's name goes first, then its record, and only then is the new file created: no
// record ever stands beside an output that is not whole, and where the output cannot be replaced, its record
// stays. An output that is not kept goes again, whatever ends its writing.

#include "kcore/dependencies/dependency_file.h"
#include "kcore/ufs/rcfs_device.h"

#include <memory>
#include <string_view>

namespace kestrel {

// A file that messages name by its path in the asset tree; null when it cannot be opened.
std::unique_ptr<file_t> open_in(sysfs_device_t &store, std::string_view path, fs_open_mode_t mode);

class new_output_t {
  public:
    // The path's text outlives this.
    new_output_t(rcfs_device_t &device, const char *path);
    ~new_output_t();
    new_output_t(const new_output_t &) = delete;
    new_output_t &operator=(const new_output_t &) = delete;

    file_t *file() { return file_.get(); } // null when it could not be created
    // Of the file when it has been written whole, of that many bytes, and closed. False, with an error, when
    // its record cannot be written.
    bool keep(uint64_t size, const dependency_record_t &record);

  private:
    bool has_still_its_name(uint64_t size);

    rcfs_device_t &device_;
    const char *path_;
    std::unique_ptr<file_t> file_;
};

} // namespace kestrel
