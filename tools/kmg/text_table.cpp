#include "tools/kmg/text_table.h"

#include <algorithm>

namespace kestrel {

static bool is_number(const std::string &cell) {
    return cell.find_first_not_of("0123456789.%+-e") == std::string::npos;
}

std::vector<text_table_t::column_t> text_table_t::column_widths() const {
    std::vector<column_t> columns(rows_.front().size());
    for (const auto &row : rows_)
        for (size_t c = 0; c < row.size() && c < columns.size(); ++c) {
            columns[c].width = std::max(columns[c].width, row[c].size());
            if (&row != &rows_.front())
                columns[c].numbers = columns[c].numbers && is_number(row[c]);
        }
    return columns;
}

std::string text_table_t::line(const std::vector<std::string> &cells, const std::vector<column_t> &columns) {
    std::string text;
    for (size_t c = 0; c < cells.size(); ++c) {
        const std::string gap(columns[c].width - cells[c].size(), ' ');
        text += "  " + (columns[c].numbers ? gap + cells[c] : cells[c] + gap);
    }
    return text.erase(text.find_last_not_of(' ') + 1);
}

} // namespace kestrel
