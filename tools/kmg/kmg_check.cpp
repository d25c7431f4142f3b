#include "tools/kmg/kmg_check.h"

#include "tools/kmg/kmg_checks.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr finding_kind_t kinds[] = {
#define KMG_FINDING_KIND(code, severity, meaning) {#code, severity_t::severity, meaning},
    KMG_FINDINGS(KMG_FINDING_KIND)
#undef KMG_FINDING_KIND
};

finding_code_t code_of(kmg_fault_code_t code) {
    constexpr finding_code_t codes[] = {
        finding_code_t::file_too_short, finding_code_t::file_too_long, finding_code_t::signature,
        finding_code_t::count,          finding_code_t::section,       finding_code_t::piece_layout,
        finding_code_t::part_range,     finding_code_t::bone_parent,
    };
    return codes[static_cast<size_t>(code)];
}

} // namespace

std::span<const finding_kind_t> finding_kinds() {
    return kinds;
}

const finding_kind_t &kind_of(finding_code_t code) {
    return kinds[static_cast<size_t>(code)];
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
    tally_t &tally = tallies_[static_cast<size_t>(code)];
    const bool kept = tally.at_record < limit_ && tally.kept < file_limit_;
    if (kept) {
        ++tally.at_record;
        ++tally.kept;
    } else
        (tally.at_record == limit_ && limit_ != 0 ? tally.of_record : tally.of_file).add(place);
    return kept;
}

void kmg_findings_t::end_record() {
    for (size_t code = 0; code < finding_code_count; ++code) {
        tally_t &tally = tallies_[code];
        if (const auto &[more, first] = tally.of_record; more != 0)
            kept_.push_back({static_cast<finding_code_t>(code), first,
                             concat(more, " more at this ", name_of(kind_), ", this one the first"), more});
        tally.of_record = {};
        tally.at_record = 0;
    }
}

std::vector<kmg_finding_t> kmg_findings_t::take() {
    end_record();
    for (size_t code = 0; code < finding_code_count; ++code)
        if (const auto &[more, first] = tallies_[code].of_file; more != 0)
            kept_.push_back({static_cast<finding_code_t>(code), first,
                             concat(more, " more in the file, this one the first"), more});
    return std::move(kept_);
}

std::vector<kmg_finding_t> check_kmg(std::span<const std::byte> file, uint32_t limit,
                                     std::string_view skeleton) {
    kmg_findings_t findings(limit);
    bool sound = true;
    find_structure_faults(file, [&](const kmg_fault_t &fault) {
        sound = false;
        findings.add(code_of(fault.code), {fault.kind, fault.index, fault.byte},
                     [&] { return text_of(fault); });
    });
    if (sound) {
        const auto reader = kmg_reader_t::open(file);
        check_bones(*reader, skeleton, findings);
        check_parts_and_locators(*reader, findings);
        check_pieces(*reader, findings);
    }
    return findings.take();
}

finding_counts_t count_findings(std::span<const kmg_finding_t> findings) {
    finding_counts_t counts;
    for (const kmg_finding_t &finding : findings)
        counts.add(kind_of(finding.code).severity, std::max(finding.more, 1u));
    return counts;
}

bool has_error(std::span<const kmg_finding_t> findings) {
    return count_findings(findings).errors != 0;
}

} // namespace kestrel
