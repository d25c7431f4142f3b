#pragma once

// Runs code in a child process: for what ends a process or writes to its streams.

#include <functional>
#include <string>

namespace kestrel {

struct child_run_t {
    int status; // exit status, or 128 + the signal that ended it
    std::string output;
    std::string errors;
};

// The child ends with status 0 when the code returns. No other thread may run meanwhile.
child_run_t run_in_child(const std::function<void()> &code);

} // namespace kestrel
