#include "tools/kmg/kmg_findings.h"

#include "tools/kmg/kmg_text.h"

namespace kestrel {

// In the order of finding_code_t.
static constexpr finding_kind_t kinds[] = {
    {"file_too_short", severity_t::error},
    {"file_too_long", severity_t::error},
    {"signature", severity_t::error},
    {"count", severity_t::error},
    {"section", severity_t::error},
    {"piece_layout", severity_t::error},
    {"part_range", severity_t::error},
    {"bone_parent", severity_t::error},
    {"not_finite", severity_t::error},
    {"token", severity_t::error},
    {"name_empty", severity_t::note},
    {"name_repeated", severity_t::note},
    {"bone_inverse", severity_t::error},
    {"bone_singular", severity_t::warning},
    {"bone_rotation", severity_t::error},
    {"bone_sign", severity_t::error},
    {"bone_local", severity_t::error},
    {"bone_reserved", severity_t::warning},
    {"locator_unlisted", severity_t::note},
    {"locator_stray", severity_t::warning},
    {"locator_scale", severity_t::error},
    {"locator_rotation", severity_t::warning},
    {"locator_hookup", severity_t::error},
    {"pool_text", severity_t::error},
    {"pool_repeated", severity_t::warning},
    {"pool_unused", severity_t::note},
    {"box", severity_t::error},
    {"box_loose", severity_t::warning},
    {"sphere", severity_t::error},
    {"texture_map", severity_t::error},
    {"index", severity_t::error},
    {"index_padding", severity_t::warning},
    {"vertex_unused", severity_t::note},
    {"triangle_degenerate", severity_t::note},
    {"triangle_duplicate", severity_t::note},
    {"bone_index", severity_t::error},
    {"weights_below", severity_t::error},
    {"weights_above", severity_t::warning},
    {"normal_length", severity_t::note},
    {"tangent_length", severity_t::note},
    {"tangent_sign", severity_t::note},
};
static_assert(std::size(kinds) == finding_code_count);

const finding_kind_t &kind_of(finding_code_t code) {
    return kinds[static_cast<size_t>(code)];
}

std::string_view name_of(severity_t severity) {
    switch (severity) {
    case severity_t::note:
        return "note";
    case severity_t::warning:
        return "warning";
    case severity_t::error:
        return "error";
    }
    return "";
}

std::string to_text(const kmg_place_t &place) {
    std::string text = to_text(place.kind, place.index);
    if (place.vertex)
        append(text, concat(", vertex ", *place.vertex));
    if (place.triangle)
        append(text, concat(", triangle ", *place.triangle));
    return concat(text, " (byte ", place.byte, ")");
}

bool kmg_findings_t::wants(finding_code_t code, const kmg_place_t &place) {
    if (place.kind != kind_ || place.index != index_) {
        end_record();
        kind_ = place.kind;
        index_ = place.index;
    }
    uint32_t &count = counts_[static_cast<size_t>(code)];
    return ++count <= limit_;
}

void kmg_findings_t::end_record() {
    for (size_t code = 0; code < finding_code_count; ++code) {
        if (counts_[code] > limit_) {
            const uint32_t more = counts_[code] - limit_;
            kept_.push_back(
                {static_cast<finding_code_t>(code), {kind_, index_}, concat(more, " more"), more});
        }
        counts_[code] = 0;
    }
}

std::vector<kmg_finding_t> kmg_findings_t::take() {
    end_record();
    return std::move(kept_);
}

} // namespace kestrel
