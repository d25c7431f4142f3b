#pragma once

// What the core library asks the operating system about its own process. Another system's implementation
// stands beside process_posix.cpp.

#include "kcore/strings/string.h"

#include <span>

namespace kestrel {

// The process's arguments, the program's name first, in UTF-8 whatever main was given. They live as long as
// the process. What the system holds that is no text comes as bytes that are no valid UTF-8.
std::span<char *const> program_arguments(int argument_count, char **arguments);

// The running program's full path as the operating system writes it; false when it is not known or does not
// fit.
bool get_executable_path(mstring_t &path);

// Makes the standard streams safe and cheap to write to, whatever the caller of the program left of them. One
// that is closed is opened on nothing, so that no file of the program gets its number and then the messages.
// Writing where nobody reads any more, or beyond a limit on file sizes, becomes an error of that write
// instead of a signal that ends the process in the middle of its work. A line of an error is one write,
// however many pieces it is printed in. The bytes are those that are printed: no line end is translated.
void secure_standard_streams();

} // namespace kestrel
