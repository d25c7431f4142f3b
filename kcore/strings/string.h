#pragma once

// Text: NUL-terminated bytes, UTF-8 where they are not ASCII.
//
// `string` is text that can be read, mstring_t text that can be changed; of the latter there are strings that
// grow (string_dyn_t) and strings of fixed capacity (string_local_t).
//
// Contract: an operation that changes the text gives true when all of it fitted. What does not fit is cut,
// never an error message: the longest prefix that fits stays. A string_dyn_t throws std::bad_alloc instead
// when it cannot grow. data[length] is always NUL, and no other byte is: a text ends at its first NUL.

#include "kcore/strings/format.h"

#include <cstdarg>
#include <cstdint>
#include <string_view>
#include <utility>

namespace kestrel {

// Does not own the bytes by itself.
class string {
  public:
    const char *c_str() const { return data_; }
    uint32_t length() const { return length_; }
    bool empty() const { return length_ == 0; }
    std::string_view view() const { return {data_, length_}; }

    // The byte at `index`, which may equal the length (the NUL); beyond it is fatal.
    char get_character_byte(uint32_t index) const;

    // Positions of the first or last byte that is, or is not, in `set`; -1 when there is none.
    int64_t find_last_of(std::string_view set) const;
    int64_t find_first_not_of(std::string_view set, uint32_t from) const;
    int64_t find_last_not_of(std::string_view set, uint32_t from) const;

  protected:
    ~string() = default;

    char *data_ = nullptr;
    uint32_t length_ = 0;
};

// Characters that trimming removes.
inline constexpr std::string_view blank_characters = " \t\n\r\f";
// Characters that separate folders in a path as a user may write it.
inline constexpr std::string_view path_separators = "/\\";

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

// On the heap; capacities are multiples of 16 and at least double.
class string_dyn_t final : public mstring_t {
  public:
    string_dyn_t() { point_to_empty(); }
    explicit string_dyn_t(std::string_view text) : string_dyn_t() { assign(text); }
    string_dyn_t(const char *format, va_list arguments) : string_dyn_t() { format_at(0, format, arguments); }
    string_dyn_t(string_dyn_t &&other) noexcept : string_dyn_t() { swap(other); }
    string_dyn_t &operator=(string_dyn_t &&other) noexcept {
        swap(other);
        return *this;
    }
    ~string_dyn_t() override { release_storage(); }

    bool can_grow() const override { return true; }
    uint32_t reserve(uint64_t wanted) override;
    void release_storage() override;

    void swap(string_dyn_t &other) noexcept {
        std::swap(data_, other.data_);
        std::swap(length_, other.length_);
        std::swap(capacity_, other.capacity_);
    }

  private:
    void point_to_empty();
};

// In place: N - 1 bytes of text at most.
template <uint32_t N>
class string_local_t final : public mstring_t {
    static_assert(N > 0);

  public:
    string_local_t() {
        data_ = buffer_;
        capacity_ = N;
        buffer_[0] = '\0';
    }
    explicit string_local_t(std::string_view text) : string_local_t() { assign(text); }
    string_local_t(const string_local_t &other) : string_local_t(other.view()) {}
    string_local_t &operator=(const string_local_t &other) {
        assign(other);
        return *this;
    }

    bool can_grow() const override { return false; }
    uint32_t reserve(uint64_t) override { return N; }
    void release_storage() override {
        buffer_[0] = '\0';
        length_ = 0;
    }

  private:
    char buffer_[N];
};

// The capacity used throughout: names, tags and paths hold at most 255 bytes.
using name_t = string_local_t<256>;

} // namespace kestrel
