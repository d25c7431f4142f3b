#pragma once

// The dependency file of an output: the same path as the output's, in the dependency store.
//
//   version:VERSION CR LF
//   PRIMARY SOURCE CR LF
//   DEPENDENCY CR LF         one line each, in the record's order
//
// Paths are written byte for byte, without quoting: one that holds a blank is not read back whole.

#include "kcore/dependencies/dependency_record.h"
#include "kcore/ufs/rcfs_device.h"

#include <string_view>

namespace kestrel {

// True when the whole file has been written and closed. No file stays behind otherwise.
bool write_dependency_file(rcfs_device_t &device, const dependency_record_t &record,
                           std::string_view output_path);

// False without a message when there is no such file; what is wrong with one that is there is reported. The
// record changes only when all went well.
bool read_dependency_file(rcfs_device_t &device, dependency_record_t &record, std::string_view output_path);

// The text of a dependency file; the path is for messages.
bool parse_dependency_text(std::string_view text, dependency_record_t &record, std::string_view output_path);

} // namespace kestrel
