#pragma once

// Text for people: values of a geometry file, tables.

#include "tools/kmg/concat.h"
#include "tools/kmg/kmg_reader.h"

#include <functional>
#include <vector>

namespace kestrel {

// Takes text piece by piece, so that none of it need be held.
using text_sink_t = std::function<void(std::string_view)>;

// Numbers, separated by blanks.
template <class T>
std::string values_text(const T &value) {
    return concat(value);
}
template <class T, size_t N>
std::string values_text(const std::array<T, N> &values) {
    std::string text;
    for (const T value : values) {
        if (!text.empty())
            text += ' ';
        append(text, value);
    }
    return text;
}
// The same for people: five digits, and zero for what is a millionth of the largest.
std::string short_text(std::span<const float> values);

// The name that a token of a file stands for; of a value that is no token, as many characters as it has.
std::string token_text(uint64_t value);
// Does packing the token's name give the value again?
bool is_token(uint64_t value);
// "bone 3 'hips'", or "bone 3" when it has no name.
std::string named(kmg_record_kind_t kind, size_t index, uint64_t name);

// In single quotes, with everything but printable ASCII escaped: a file must not speak to a terminal.
std::string quoted(std::string_view text);

bool is_utf8(std::string_view text);
// The text with U+FFFD for every byte that is not UTF-8.
std::string valid_utf8(std::string_view text);

// "0, 2-5, 9" of numbers in ascending order.
std::string list_text(std::span<const uint32_t> ascending);

// Rows of cells, printed with their columns aligned: numbers to the right, everything else to the left. Cells
// are ASCII, but for those of the last column.
class text_table_t {
  public:
    explicit text_table_t(const std::vector<std::string> &headings);

    void add(const std::vector<std::string> &cells);
    bool empty() const { return rows_ == 0; }
    // One line per row, headings first, two blanks before and between columns.
    template <class F>
    void print(F &&row) const {
        for (size_t at = 0, line = 0; at < cells_.size(); ++line)
            row(line == 0, next_line(at));
    }

  private:
    struct column_t {
        size_t width = 0;
        bool numbers = true;
    };
    std::string next_line(size_t &at) const;

    std::string cells_; // of all rows, each ended by a NUL
    std::vector<column_t> columns_;
    size_t rows_ = 0;
};

} // namespace kestrel
