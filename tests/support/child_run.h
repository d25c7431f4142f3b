#pragma once

// Runs code in a child process: for what ends a process or writes to its streams.

#include <functional>
#include <string>

namespace kestrel {

// Of a process that ended itself because its own rules are broken.
#ifdef _WIN32
constexpr int abnormal_end_status = static_cast<int>(0xC0000025);
#else
constexpr int abnormal_end_status = 128 + 6; // SIGABRT
#endif

struct child_run_t {
    int status; // exit status, or abnormal_end_status and the like
    std::string output;
    std::string errors;
};

// The child ends with status 0 when the code returns. No other thread may run meanwhile.
child_run_t run_in_child(const std::function<void()> &code);

} // namespace kestrel
