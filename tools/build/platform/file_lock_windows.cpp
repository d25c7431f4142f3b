#include "kcore/strings/platform/wide_text_windows.h"
#include "tools/build/platform/file_lock.h"

#include <windows.h>

namespace kestrel {

static HANDLE handle_of(intptr_t file) {
    return reinterpret_cast<HANDLE>(file);
}

lock_result_t file_lock_t::try_take(const std::string &path, lock_kind_t kind, std::error_code &error) {
    release();
    file_ = reinterpret_cast<intptr_t>(CreateFileW(utf8_to_wide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                                   nullptr, OPEN_ALWAYS, 0, nullptr));
    OVERLAPPED first_byte{};
    const DWORD exclusive = kind == lock_kind_t::exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0;
    if (is_held() &&
        LockFileEx(handle_of(file_), LOCKFILE_FAIL_IMMEDIATELY | exclusive, 0, 1, 0, &first_byte))
        return lock_result_t::taken;
    const DWORD reason = GetLastError();
    error = wide_call_error();
    release();
    return reason == ERROR_LOCK_VIOLATION || reason == ERROR_IO_PENDING ? lock_result_t::held_by_another
                                                                        : lock_result_t::not_possible;
}

void file_lock_t::release() {
    if (is_held())
        CloseHandle(handle_of(file_));
    file_ = -1;
}

} // namespace kestrel
