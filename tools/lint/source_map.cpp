#include "tools/lint/source_map.h"

#include <algorithm>

namespace kestrel {

static constexpr size_t most_skipped_runs = 1024;
static constexpr size_t most_shown = 24;

std::span<const source_map_t::mark_t> source_map_t::marks_of(token_kind_t keyword, size_t nth) const {
    const auto found = paragraphs_.find(keyword);
    if (found == paragraphs_.end() || nth >= found->second.size())
        return {};
    const auto first = marks_.begin() + found->second[nth];
    return {first, std::find_if(first + 1, marks_.end(), [](const mark_t &mark) { return mark.opens; })};
}

text_place_t source_map_t::paragraph(token_kind_t keyword, size_t nth) const {
    return nth_field(keyword, nth, 0);
}

text_place_t source_map_t::field(token_kind_t keyword, size_t nth, token_kind_t field) const {
    const auto marks = marks_of(keyword, nth);
    for (const mark_t &mark : marks)
        if (mark.keyword == field)
            return {mark.offset};
    return marks.empty() ? text_place_t{} : text_place_t{marks.front().offset};
}

text_place_t source_map_t::nth_field(token_kind_t keyword, size_t nth, size_t field) const {
    const auto found = paragraphs_.find(keyword);
    if (found == paragraphs_.end() || nth >= found->second.size())
        return {};
    return {marks_[std::min(found->second[nth] + field, marks_.size() - 1)].offset};
}

source_map_t::items_t source_map_t::items(token_kind_t keyword, size_t nth) const {
    for (const mark_t &mark : marks_of(keyword, nth))
        if (mark.keyword == token_kind_t::none)
            return {mark.offset, mark.kind, mark.count};
    return {};
}

void source_map_t::on_paragraph(token_kind_t keyword, uint64_t offset) {
    paragraphs_[keyword].push_back(static_cast<uint32_t>(marks_.size()));
    marks_.push_back({offset, keyword, token_kind_t::none, 0, true});
}

void source_map_t::on_field(token_kind_t keyword, uint64_t offset) {
    if (keyword != "WEIGHTS"_kw && keyword != "CLONES"_kw && keyword != "VERTEXINDICES"_kw)
        marks_.push_back({offset, keyword, token_kind_t::none, 0, false});
}

void source_map_t::on_items(uint64_t first, token_kind_t kind, uint32_t count) {
    marks_.push_back({first, token_kind_t::none, kind, static_cast<uint8_t>(count), false});
    if (!refusals_.empty() && refusals_.back().offset >= first && refusals_.back().first_item == 0)
        refusals_.back().first_item = first;
}

void source_map_t::on_skipped_byte(char byte, uint64_t offset) {
    if (!skipped_.empty() && skipped_.back().offset + skipped_.back().length == offset) {
        ++skipped_.back().length;
        if (skipped_.back().start.size() < most_shown)
            skipped_.back().start += byte;
    } else if (skipped_.size() < most_skipped_runs)
        skipped_.push_back({offset, 1, std::string(1, byte)});
    else
        ++further_skipped_;
}

void source_map_t::on_token_fault(token_fault_t fault, uint64_t offset) {
    token_faults_.push_back({fault, offset});
}

void source_map_t::on_missed_token(token_kind_t wanted, uint64_t offset) {
    if (offset != missed_at_)
        missed_.clear();
    missed_at_ = offset;
    if (std::find(missed_.begin(), missed_.end(), wanted) == missed_.end())
        missed_.push_back(wanted);
}

bool source_map_t::on_refusal(const parse_refusal_t &refusal) {
    refusals_.push_back({refusal, missed_at_ == refusal.offset ? missed_ : std::vector<token_kind_t>(), 0});
    return may_go_on_after(refusal.message);
}

} // namespace kestrel
