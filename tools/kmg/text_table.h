#pragma once

// Rows of cells, printed with their columns aligned: numbers to the right, everything else to the left. Cells
// are ASCII, but for those of the last column.

#include <initializer_list>
#include <string>
#include <vector>

namespace kestrel {

class text_table_t {
  public:
    explicit text_table_t(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }

    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    bool empty() const { return rows_.size() == 1; }
    // One line per row, headings first, two blanks before and between columns; `row` is called with each
    // line.
    template <class F>
    void print(F &&row) const {
        const auto widths = column_widths();
        for (size_t i = 0; i < rows_.size(); ++i)
            row(i == 0, line(rows_[i], widths));
    }

  private:
    struct column_t {
        size_t width = 0;
        bool numbers = true;
    };
    std::vector<column_t> column_widths() const;
    static std::string line(const std::vector<std::string> &cells, const std::vector<column_t> &columns);

    std::vector<std::vector<std::string>> rows_;
};

} // namespace kestrel
