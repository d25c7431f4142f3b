#pragma once

// The directory that holds the asset trees: the program lies below it in BASE/bin/PLATFORM/.

#include "kcore/strings/mstring.h"

namespace kestrel {

// The program's path before its last "/bin/", with "/" as the separator; false, leaving the destination as it
// was, when there is none or it does not fit.
bool get_base_directory(mstring_t &destination);

} // namespace kestrel
