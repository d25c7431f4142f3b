#pragma once

// The directory that holds the asset trees: the program lies below it in BASE/bin/PLATFORM/.

#include "kcore/strings/mstring.h"

#include <string_view>

namespace kestrel {

// The running program's base directory; false, leaving the destination as it was, when its path is not known
// or has no "/bin/".
bool get_base_directory(mstring_t &destination);

// The path of a program before its last "/bin/", with "/" as the separator. At most 255 bytes.
bool get_base_directory_of(std::string_view program_path, mstring_t &destination);

} // namespace kestrel
