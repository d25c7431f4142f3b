#pragma once

// The conversion of input files: text model in, geometry file and dependency file out.
//
// An input name is a path inside the asset tree; the output has the same path with the extension ".kmg" in
// the cache store, its dependency file the output's path in the dependency store.
//
// Contract: false means that the file failed and that at least one error has been reported. What fails before
// the output is created (the name, the sources, an old output that cannot be removed) leaves output and
// dependency file of an earlier run as they are; what fails later leaves neither. Nothing is thrown: memory
// that runs out fails the file.

#include "kcore/ufs/rcfs_device.h"
#include "tools/conv/kim2kmg/options.h"

namespace kestrel {

bool convert_file(rcfs_device_t &device, const char *input_name, const option_flags_t &options);

// Converts one file after the other in the asset tree BASE/ROOT; gives how many failed. Needs a started file
// system.
size_t convert_files(std::string_view base_directory, std::string_view root, const option_flags_t &options,
                     std::span<char *const> input_names);

} // namespace kestrel
