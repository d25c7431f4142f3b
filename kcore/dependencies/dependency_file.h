#pragma once

// What an output was made from, in memory and in a file.
//
// The file has the output's own path, in the dependency store:
//
//   version:VERSION CR LF
//   PRIMARY SOURCE CR LF
//   DEPENDENCY CR LF         one line each, in the record's order
//
// Paths are written byte for byte, without quoting: one that holds a blank is not read back whole.

#include "kcore/collections/array.h"
#include "kcore/strings/string.h"
#include "kcore/ufs/rcfs_device.h"

#include <span>
#include <string_view>

namespace kestrel {

// The version of a conversion and its sources: virtual paths, the primary one first. Adding out of order is
// reported and done all the same; adding gives false, changing nothing, when the memory cannot be had.
class dependency_record_t {
  public:
    void set_version(std::string_view version) { version_.assign(version); }
    bool set_primary_source(std::string_view path);
    bool add_dependency(std::string_view path);

    const string_dyn_t &version() const { return version_; }
    std::span<const string_dyn_t> sources() const { return sources_.items(); }

  private:
    bool append(std::string_view path);

    string_dyn_t version_;
    array_dyn_t<string_dyn_t> sources_;
};

// True when the whole file has been written and closed. No file stays behind otherwise.
bool write_dependency_file(rcfs_device_t &device, const dependency_record_t &record,
                           std::string_view output_path);

// False without a message when there is no such file; what is wrong with one that is there is reported. The
// record changes only when all went well.
bool read_dependency_file(rcfs_device_t &device, dependency_record_t &record, std::string_view output_path);

// The text of a dependency file; the path is for messages.
bool parse_dependency_text(std::string_view text, dependency_record_t &record, std::string_view output_path);

} // namespace kestrel
