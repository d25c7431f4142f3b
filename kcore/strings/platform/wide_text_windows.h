#pragma once

// Windows speaks UTF-16, everything here UTF-8: texts are converted where the system is called.

#include "kcore/strings/string.h"

#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace kestrel {

// Into the buffer, with a NUL. False when the text is not well-formed, holds a NUL or does not fit; then the
// buffer holds the empty text. Says nothing and takes no memory.
bool utf8_to_wide(std::string_view text, std::span<wchar_t> buffer);

// The same, of any length; empty instead of false.
std::wstring utf8_to_wide(std::string_view text);

// As utf16_to_utf8 of utf.h: says what is not well-formed, and stops at a NUL.
bool wide_to_utf8(std::span<const wchar_t> wide, mstring_t &text);

// Every unit comes through: a surrogate that stands alone becomes three bytes that are no valid UTF-8, so
// that whoever checks it notices.
std::string wide_to_bytes(std::wstring_view wide);

// Why the last call of the system failed, as the C library would say it.
std::error_code wide_call_error();

} // namespace kestrel
