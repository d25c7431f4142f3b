#pragma once

// Text that can be changed: one interface over strings that grow (string_dyn_t) and strings of fixed capacity
// (string_local_t).
//
// Contract: an operation that changes the text gives true when all of it fitted. What does not fit is cut,
// never an error message: the longest prefix that fits stays, NUL-terminated. data[length] is always NUL, and
// no other byte is: a text ends at its first NUL.

#include "kcore/strings/format.h"
#include "kcore/strings/string.h"

#include <cstdarg>

namespace kestrel {

class mstring_t : public string {
  public:
    mstring_t(const mstring_t &) = delete;
    mstring_t &operator=(const mstring_t &) = delete;
    virtual ~mstring_t() = default;

    virtual bool can_grow() const = 0;
    // Makes room for `wanted` bytes, the NUL included, if it can; gives the capacity.
    virtual uint32_t reserve(uint64_t wanted) = 0;
    virtual void release_storage() = 0;

    uint32_t capacity() const { return capacity_; }

    bool assign(std::string_view text) { return write_at(0, text); }
    bool assign(const char *text) { return write_at(0, text ? std::string_view(text) : std::string_view()); }
    bool assign(const string &other) { return write_at(0, other.view()); }
    // The bytes [from, min(to, length of other)) of another string.
    bool assign_range(const string &other, uint32_t from, uint32_t to);
    bool append(std::string_view text) { return write_at(length_, text); }
    // Replaces everything from `position` (at most the length) on.
    bool write_at(uint32_t position, std::string_view text);
    void clear() { cut(0); }
    void cut(uint32_t length);
    void replace_all(char from, char to);

    // Printf-formatted text, conventions of format.h; the arguments must not be this string's own text. A bad
    // format cuts the string at `position`.
    bool format_at(uint32_t position, const char *format, va_list arguments);
    template <class... A>
    bool assign_formatted(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
        return format_variadic(0, format.text, arguments...);
    }
    template <class... A>
    bool append_formatted(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
        return format_variadic(length_, format.text, arguments...);
    }

    // The UTF-8 form of one code point (at most 0x1FFFFF); whole or not at all. 0 appends nothing.
    bool append_code_point(uint32_t code_point);

  protected:
    mstring_t() = default;

    uint32_t capacity_ = 0;

  private:
    bool format_variadic(uint32_t position, const char *format, ...);
};

} // namespace kestrel
