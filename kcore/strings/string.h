#pragma once

// Text that can be read: NUL-terminated bytes, UTF-8 where they are not ASCII. Does not own the bytes by
// itself.

#include <cstdint>
#include <string_view>

namespace kestrel {

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

} // namespace kestrel
