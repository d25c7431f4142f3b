#pragma once

// What the tree builder asks of the file system: folders with the sizes and times of their files, small whole
// files, and the removal of names. Another system's implementation stands beside files_posix.cpp.
//
// Paths are those of the operating system, with "/" between folders. Failures are error codes with the
// system's reason; nothing is reported here.

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace kestrel {

// By what a change of a file is noticed. A stamp made by default is that of a file that is not there.
struct file_stamp_t {
    static constexpr int64_t no_time = std::numeric_limits<int64_t>::min();

    int64_t time = no_time; // of the last change, nanoseconds since 1970
    uint64_t size = 0;      // bytes

    bool exists() const { return time != no_time; }
    bool operator==(const file_stamp_t &) const = default;
};

// Nanoseconds since 1970 on the clock of stamps.
int64_t time_now();

// Which folder it is, under whatever name it was reached.
struct folder_id_t {
    uint64_t device = 0;
    uint64_t number = 0;
    bool operator==(const folder_id_t &) const = default;
};

struct folder_entry_t {
    std::string name;
    bool is_folder;     // else a regular file; other kinds are not listed
    bool is_link;       // a symbolic link to one
    file_stamp_t stamp; // of a file of which it is wanted
};

// What is wanted of a file of that name.
enum class file_wish_t { nothing, name, stamp };
using file_wishes_t = std::function<file_wish_t(std::string_view)>;

struct folder_listing_t {
    folder_id_t id;
    std::vector<folder_entry_t> entries; // by name, compared as bytes
};

// Lists the subfolders and the files of which something is wanted. Stamps are what costs. Links are followed;
// one that leads nowhere is not listed.
std::error_code list_folder(const std::string &path, const file_wishes_t &wishes, folder_listing_t &listing);

// Of a regular file; that of a missing one when there is none or it cannot be seen.
file_stamp_t stamp_of(const std::string &path);
bool is_folder(const std::string &path);

// At most `limit` bytes from the start.
std::error_code read_file_start(const std::string &path, size_t limit, std::string &content);
std::error_code read_whole_file(const std::string &path, std::string &content);
// The file stands complete under its name or is what it was before. A device or a pipe is written to.
std::error_code replace_file(const std::string &path, std::string_view content);
// Adds to the end of a file, in one piece unless the disk is full; makes the file when it is missing.
std::error_code append_to_file(const std::string &path, std::string_view content);

std::error_code make_folders(const std::string &path);
// A missing file is no failure. Folders are removed when they are empty; true when one was.
std::error_code remove_file(const std::string &path);
bool remove_empty_folder(const std::string &path);

// Columns of the terminal on standard error; 0 when it is none.
unsigned terminal_columns();

} // namespace kestrel
