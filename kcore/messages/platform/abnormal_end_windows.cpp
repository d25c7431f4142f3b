#include "kcore/messages/platform/abnormal_end.h"

#include <windows.h>

namespace kestrel {

void end_abnormally() {
    constexpr DWORD noncontinuable_exception = 0xC0000025;
    // A build machine has nobody to close the system's window about it.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    RaiseException(noncontinuable_exception, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    TerminateProcess(GetCurrentProcess(), noncontinuable_exception);
    __builtin_unreachable();
}

} // namespace kestrel
