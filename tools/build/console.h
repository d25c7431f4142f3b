#pragma once

// What the user sees: text on standard output, complaints on standard error, and on a terminal one line of
// progress below them, which every other text pushes on.

#include <string>
#include <string_view>
#include <system_error>

namespace kestrel {

// Each a line of its own, on standard error.
void say_error(std::string_view text);
void say_error(std::string_view what, const std::error_code &why);
void say_warning(std::string_view text);
void say(std::string_view text);

// Text as it is, with its line ends.
void put_output(std::string_view text);
void put_errors(std::string_view text);

// Replaces the line of progress, cut to the terminal's width. Nothing happens where there is no terminal.
void show_progress(const std::string &line);
void clear_progress();
bool has_terminal();

// Names for messages: bytes that would confuse a terminal are shown as \x...
std::string printable(std::string_view name);

} // namespace kestrel
