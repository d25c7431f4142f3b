// The names of units: sequences of tokens, kept in tables of rows apart from the units. A unit has a handle:
//
//   bits 0 to 15    the row in its table
//   bits 20 to 30   the table, from 1 on, so that no name has the handle 0
//   bit 31          set once the name has been released
//
// Reading names shares the tables, adding and releasing has them alone.

#include "kcore/collections/array.h"
#include "kcore/strings/string.h"
#include "kcore/strings/token.h"
#include "kcore/units/unit.h"

#include <mutex>
#include <shared_mutex>

namespace kestrel {

static constexpr uint32_t nameless = 0;
static constexpr uint32_t rows_per_table = 1u << 16;
static constexpr uint32_t table_shift = 20;
static constexpr uint32_t last_table = (1u << 11) - 1;
static constexpr uint32_t released_mark = 1u << 31;

namespace {

using tokens_t = array_dyn_t<token_t>;

struct row_t {
    tokens_t tokens;
    uint32_t next_free = nameless; // of a row that waits for another name
};

struct tables_t {
    std::shared_mutex lock;
    array_dyn_t<array_dyn_t<row_t>> tables; // table 1 first
    uint32_t first_free = nameless;

    row_t &row_of(uint32_t handle) {
        return tables[(handle >> table_shift) - 1][handle & (rows_per_table - 1)];
    }
    uint32_t take_row();
};

// The handle of a row; nameless when there is none.
uint32_t tables_t::take_row() {
    if (first_free != nameless)
        return std::exchange(first_free, row_of(first_free).next_free);
    if (tables.empty() || tables.back().size() == rows_per_table) {
        if (tables.size() == last_table)
            return nameless;
        tables.emplace_back();
    }
    tables.back().emplace_back();
    return static_cast<uint32_t>(tables.size() << table_shift | (tables.back().size() - 1));
}

} // namespace

static tables_t &names() {
    static tables_t tables;
    return tables;
}

static bool parse_name(std::string_view name, tokens_t &tokens) {
    for (;;) {
        const size_t end = name.find('.');
        const auto token = token_t::from_string(name.substr(0, end));
        if (!token || *token == token_t())
            return false;
        tokens.push_back(*token);
        if (end == std::string_view::npos)
            return true;
        name.remove_prefix(end + 1);
    }
}

bool unit_t::has_name() const {
    return name_handle_ != nameless && !(name_handle_ & released_mark);
}

bool unit_t::set_name(std::string_view name) {
    tokens_t tokens;
    if (!parse_name(name, tokens))
        return false;
    uint32_t handle;
    {
        const std::unique_lock guard(names().lock);
        handle = names().take_row();
        if (handle == nameless)
            return false;
        names().row_of(handle).tokens = std::move(tokens);
    }
    release_name();
    name_handle_ = handle;
    return true;
}

void unit_t::release_name() {
    if (!has_name())
        return;
    const std::unique_lock guard(names().lock);
    row_t &row = names().row_of(name_handle_);
    row.tokens.release();
    row.next_free = std::exchange(names().first_free, name_handle_);
    name_handle_ |= released_mark;
}

bool unit_t::get_name_text(mstring_t &text) const {
    if (!has_name())
        return get_nameless_text(reinterpret_cast<uintptr_t>(this), text);
    const std::shared_lock guard(names().lock);
    text.clear();
    bool whole = true;
    for (const token_t &token : names().row_of(name_handle_).tokens) {
        string_local_t<token_t::max_length + 1> part;
        token.to_string(part);
        whole = (text.empty() || text.append(".")) && text.append(part.view()) && whole;
    }
    return whole;
}

bool unit_t::get_nameless_text(uintptr_t address, mstring_t &text) {
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
