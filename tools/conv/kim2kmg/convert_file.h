#pragma once

// The road of one input file: text model in, geometry file and dependency file out.
//
// Contract: false means that the file failed, at least one error has been reported, and no output of it is
// left. The input name is a path inside the asset tree; the output has the same path with the extension
// ".kmg" in the cache store, its dependency file the same path in the dependency store.

#include "kcore/ufs/rcfs_device.h"
#include "tools/conv/kim2kmg/options.h"

namespace kestrel {

bool convert_file(rcfs_device_t &device, const char *input_name, const option_flags_t &options);

} // namespace kestrel
