#pragma once

// Where the running program lies.

#include "kcore/strings/mstring.h"

namespace kestrel {

// The full path as the operating system writes it; false when it is not known or does not fit.
bool get_executable_path(mstring_t &path);

} // namespace kestrel
