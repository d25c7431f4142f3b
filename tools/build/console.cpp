#include "tools/build/console.h"

#include "kcore/strings/utf.h"
#include "tools/build/platform/files.h"

#include <cstdio>

namespace kestrel {

static bool progress_is_shown = false;

void put_output(std::string_view text) {
    clear_progress();
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void put_errors(std::string_view text) {
    clear_progress();
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

static void say_line(std::string_view kind, std::string_view text) {
    put_errors("kimbuild: " + std::string(kind) + std::string(text) + "\n");
}

void say_error(std::string_view text) {
    say_line("error: ", text);
}

void say_error(std::string_view what, const std::error_code &why) {
    say_error(std::string(what) + ": " + why.message());
}

void say_warning(std::string_view text) {
    say_line("warning: ", text);
}

void say(std::string_view text) {
    say_line("", text);
}

bool has_terminal() {
    static const bool found = terminal_columns() > 0;
    return found;
}

void show_progress(const std::string &line) {
    if (!has_terminal())
        return;
    const std::string shown = line.substr(0, terminal_columns() - 1);
    std::fprintf(stderr, "\r%s\x1b[K", shown.c_str());
    std::fflush(stderr);
    progress_is_shown = true;
}

void clear_progress() {
    if (progress_is_shown)
        std::fputs("\r\x1b[K", stderr);
    progress_is_shown = false;
    std::fflush(stderr);
}

std::string printable(std::string_view name) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    while (!name.empty()) {
        const auto first = static_cast<unsigned char>(name[0]);
        const auto decoded = decode_utf8(name);
        const size_t length = decoded ? decoded->length : 1;
        if (!decoded || first < 0x20 || first == 0x7F)
            text += {'\\', 'x', digits[first >> 4], digits[first & 15]};
        else
            text += name.substr(0, length);
        name.remove_prefix(length);
    }
    return text;
}

} // namespace kestrel
