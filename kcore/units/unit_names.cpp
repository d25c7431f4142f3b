#include "kcore/units/unit_names.h"

#include "kcore/collections/array.h"
#include "kcore/strings/string_local.h"
#include "kcore/strings/token.h"
#include "kcore/thread/rw_lock.h"

namespace kestrel {

namespace {

constexpr uint32_t rows_per_table = 1u << 16;
constexpr uint32_t table_shift = 20;
constexpr uint32_t last_table = (1u << 11) - 1;

using row_t = array_dyn_t<token_t>;

struct tables_t {
    thread::rw_lock_t lock;
    array_dyn_t<array_dyn_t<row_t>> tables; // table 1 first
    array_dyn_t<uint32_t> free;             // handles of released rows

    row_t &row_of(uint32_t handle) {
        return tables[(handle >> table_shift) - 1][handle & (rows_per_table - 1)];
    }
    uint32_t take_row();
};

tables_t &names() {
    static tables_t tables;
    return tables;
}

// The handle of an empty row; nameless when there is none.
uint32_t tables_t::take_row() {
    if (!free.empty()) {
        const uint32_t handle = free.back();
        free.pop_back();
        return handle;
    }
    const bool full = tables.empty() || tables.back().size() == rows_per_table;
    if (full && (tables.size() == last_table || !tables.emplace_back()))
        return unit_names_t::nameless;
    if (!tables.back().emplace_back())
        return unit_names_t::nameless;
    return static_cast<uint32_t>(tables.size() << table_shift | (tables.back().size() - 1));
}

bool parse_name(std::string_view name, row_t &row) {
    for (;;) {
        const size_t end = name.find('.');
        const auto token = token_t::from_string(name.substr(0, end));
        if (!token || *token == token_t() || !row.push_back(*token))
            return false;
        if (end == std::string_view::npos)
            return true;
        name.remove_prefix(end + 1);
    }
}

} // namespace

uint32_t unit_names_t::add(std::string_view name) {
    row_t row;
    if (!parse_name(name, row))
        return nameless;
    const std::unique_lock guard(names().lock);
    const uint32_t handle = names().take_row();
    if (handle != nameless)
        names().row_of(handle) = std::move(row);
    return handle;
}

// A row that cannot be noted as free is lost.
void unit_names_t::release(uint32_t handle) {
    const std::unique_lock guard(names().lock);
    names().row_of(handle).release();
    names().free.push_back(handle);
}

bool unit_names_t::get_text(uint32_t handle, mstring_t &text) {
    const std::shared_lock guard(names().lock);
    text.clear();
    bool whole = true;
    for (const token_t &token : names().row_of(handle)) {
        string_local_t<token_t::max_length + 1> part;
        token.to_string(part);
        whole = (text.empty() || text.append(".")) && text.append(part.view()) && whole;
    }
    return whole;
}

bool nameless_unit_text(uintptr_t address, mstring_t &text) {
    string_local_t<24> groups;
    for (int shift = 48; shift >= 0; shift -= 16) {
        const auto group = static_cast<uint32_t>(address >> shift & 0xFFFF);
        if (!groups.empty())
            groups.append_formatted(".%04x", group);
        else if (group != 0 || shift == 0)
            groups.assign_formatted("%x", group);
    }
    return text.assign_formatted("_nameless.%s", groups.c_str());
}

} // namespace kestrel
