#pragma once

// What the core library asks the operating system about its own process.

#include "kcore/strings/string.h"

namespace kestrel {

// The running program's full path as the operating system writes it; false when it is not known or does not
// fit.
bool get_executable_path(mstring_t &path);

// Makes the standard streams safe and cheap to write to, whatever the caller of the program left of them. One
// that is closed is opened on nothing, so that no file of the program gets its number and then the messages.
// Writing where nobody reads any more, or beyond a limit on file sizes, becomes an error of that write
// instead of a signal that ends the process in the middle of its work. A line of an error is one write,
// however many pieces it is printed in.
void secure_standard_streams();

} // namespace kestrel
