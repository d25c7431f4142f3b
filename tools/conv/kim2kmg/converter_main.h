#pragma once

// The run: checks the command line, opens the asset tree, converts the input files one after the other.

#include <span>

namespace kestrel {

// Gives the process's exit status: 1 for a bad command line, else the number of files that failed. At most
// 125 names fit before the "-root" that must stand among the first 128 arguments. Options come from the
// command line context; the input files are the process's own arguments after the first, up to the first that
// begins with "-".
int converter_main(std::span<char *const> arguments);

} // namespace kestrel
