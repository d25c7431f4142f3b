#include "tools/build/console.h"

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
    progress_is_shown = true;
}

void clear_progress() {
    if (progress_is_shown)
        std::fputs("\r\x1b[K", stderr);
    progress_is_shown = false;
}

std::string printable(std::string_view name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            text += c;
            continue;
        }
        constexpr char digits[] = "0123456789abcdef";
        text += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    }
    return text;
}

} // namespace kestrel
