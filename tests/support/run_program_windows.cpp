#include "kcore/strings/platform/wide_text_windows.h"
#include "tests/support/asset_tree.h"

#include <windows.h>

namespace kestrel {

namespace fs = std::filesystem;

// What is no UTF-8 has its like in half of a surrogate pair.
static std::wstring wide(const std::string &text) {
    return text.empty() || !utf8_to_wide(text).empty() ? utf8_to_wide(text) : L"\xDC00";
}

// As the system's own division of a command line wants it.
static std::wstring quoted(const std::string &argument) {
    std::wstring text = L"\"";
    size_t backslashes = 0;
    for (const wchar_t unit : wide(argument)) {
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        if (unit == L'"')
            text += L'\\';
        text += unit;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

static HANDLE create_for_child(const fs::path &path) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
}

program_run_t run_program(const std::string &program, const std::vector<std::string> &arguments,
                          const fs::path &folder) {
    const fs::path output = folder / "stdout.txt", errors = folder / "stderr.txt";
    std::wstring line = quoted(program);
    for (const std::string &argument : arguments)
        line += L" " + quoted(argument);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = create_for_child(output);
    start.hStdError = create_for_child(errors);
    PROCESS_INFORMATION child{};
    DWORD status = 127;
    if (CreateProcessW(fs::path(program).c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                       folder.c_str(), &start, &child)) {
        WaitForSingleObject(child.hProcess, INFINITE);
        GetExitCodeProcess(child.hProcess, &status);
        CloseHandle(child.hProcess);
        CloseHandle(child.hThread);
    }
    CloseHandle(start.hStdOutput);
    CloseHandle(start.hStdError);
    return {static_cast<int>(status), read_whole_file(output), read_whole_file(errors)};
}

} // namespace kestrel
