#pragma once

namespace kestrel {

// Ends the process at once, as the system ends one that has broken its own rules: nothing is unwound, no exit
// handler runs, and the status is none that a program gives itself. Another system's implementation stands
// beside abnormal_end_posix.cpp.
[[noreturn]] void end_abnormally();

} // namespace kestrel
