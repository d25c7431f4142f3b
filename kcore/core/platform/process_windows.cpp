#include "kcore/core/platform/process.h"

#include "kcore/messages/message_system.h"
#include "kcore/strings/platform/wide_text_windows.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <io.h>
#include <vector>
#include <windows.h>

// The C library's own division of the command line, which its wide main gets.
extern "C" int __wgetmainargs(int *, wchar_t ***, wchar_t ***, int, int *);

namespace kestrel {

std::span<char *const> program_arguments(int, char **) {
    static std::deque<std::string> texts;
    static std::vector<char *> arguments;
    int count = 0, new_mode = 0;
    wchar_t **wide = nullptr, **environment = nullptr;
    constexpr int expands_no_wildcards = 0;
    __wgetmainargs(&count, &wide, &environment, expands_no_wildcards, &new_mode);
    while (arguments.size() < static_cast<size_t>(count))
        arguments.push_back(texts.emplace_back(wide_to_bytes(wide[arguments.size()])).data());
    return arguments;
}

bool get_executable_path(mstring_t &path) {
    std::array<wchar_t, 256> wide;
    const DWORD length = GetModuleFileNameW(nullptr, wide.data(), wide.size());
    return length > 0 && length < wide.size() && wide_to_utf8({wide.data(), length}, path);
}

static bool is_console(DWORD stream) {
    DWORD mode;
    return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

// A console shows texts in its user's code page unless it is told otherwise, and stays as it was told.
static void make_console_utf8() {
    static const UINT before = GetConsoleOutputCP();
    if (before == CP_UTF8 || !(is_console(STD_OUTPUT_HANDLE) || is_console(STD_ERROR_HANDLE)))
        return;
    SetConsoleOutputCP(CP_UTF8);
    std::atexit([] { SetConsoleOutputCP(before); });
}

// Consoles keep the buffers that they have: a person waits for what is printed there.
static void set_buffers() {
    static char errors[1 << 16], output[console_message_handler_t::output_buffer_size];
    if (!is_console(STD_ERROR_HANDLE))
        std::setvbuf(stderr, errors, _IOFBF, sizeof errors);
    if (!is_console(STD_OUTPUT_HANDLE))
        std::setvbuf(stdout, output, _IOFBF, sizeof output);
}

// Files of this system have no numbers that a closed stream could leave to them.
void secure_standard_streams() {
    for (std::FILE *const stream : {stdin, stdout, stderr})
        if (const int number = _fileno(stream); number >= 0)
            (void)_setmode(number, _O_BINARY);
    make_console_utf8();
    set_buffers();
}

} // namespace kestrel
