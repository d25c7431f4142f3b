#include "tools/kmg/affine.h"
#include "tools/kmg/file_facts.h"
#include "tools/kmg/kmg_checks.h"
#include "tools/kmg/token_text.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr double quaternion_tolerance = 1e-4;

// The strings of the pool by their offsets, as the pool itself tells them: each ends with a NUL, and behind
// the last one stand at most three more.
class pool_check_t {
  public:
    pool_check_t(const kmg_reader_t &file, kmg_findings_t &findings)
        : pool_(file.string_pool()), offset_(file.header().string_pool_offset), findings_(findings),
          strings_(strings_of(pool_)), used_(strings_.size()) {}

    // Marks the string as used; false when none begins there.
    bool use(uint32_t offset) {
        const auto at =
            std::lower_bound(strings_.begin(), strings_.end(), offset,
                             [](const pool_string_t &string, uint32_t o) { return string.offset < o; });
        if (at == strings_.end() || at->offset != offset)
            return false;
        used_[static_cast<size_t>(at - strings_.begin())] = true;
        return true;
    }
    void check_ends() const {
        const size_t end = strings_.empty() ? 0 : strings_.back().offset + strings_.back().text.size() + 1;
        if (end > pool_.size())
            findings_.add(finding_code_t::pool_text, place(pool_.size()), "the last string has no end");
        else if (pool_.find_first_not_of('\0', end) != std::string_view::npos)
            findings_.add(finding_code_t::pool_text, place(end),
                          "an empty string, or padding that is not zero");
        else if (pool_.size() - end >= kmg_section_alignment)
            findings_.add(finding_code_t::pool_text, place(end),
                          concat(pool_.size() - end, " bytes of padding, at most 3 are needed"));
    }
    void check_unused() const {
        for (size_t i = 0; i < strings_.size(); ++i)
            if (!used_[i])
                findings_.add(finding_code_t::pool_unused, place(strings_[i].offset),
                              "no locator refers to this string");
    }
    void check_repeated() const {
        std::vector<pool_string_t> sorted = strings_;
        std::sort(sorted.begin(), sorted.end(), [](const pool_string_t &a, const pool_string_t &b) {
            const int order = a.text.compare(b.text);
            return order != 0 ? order < 0 : a.offset < b.offset;
        });
        for (size_t i = 1; i < sorted.size(); ++i)
            if (sorted[i].text == sorted[i - 1].text)
                findings_.add(finding_code_t::pool_repeated, place(sorted[i].offset),
                              concat("repeats the string at ", sorted[i - 1].offset, " of the pool"));
    }

  private:
    kmg_place_t place(size_t at) const { return {kmg_record_kind_t::pool, 0, offset_ + uint64_t{at}}; }

    std::string_view pool_;
    uint32_t offset_;
    kmg_findings_t &findings_;
    std::vector<pool_string_t> strings_;
    std::vector<bool> used_;
};

void check_locator(const kmg_locator_t &locator, const kmg_place_t &place, pool_check_t &pool,
                   kmg_findings_t &findings) {
    const auto report = [&](finding_code_t code, const auto &member, std::string text) {
        findings.add(code, place_of_field(place, locator, member), std::move(text));
    };
    check_name(locator.name, place, findings);
    if (locator.hookup != kmg_absent && !pool.use(locator.hookup))
        report(finding_code_t::locator_hookup, locator.hookup,
               concat("no string of the pool begins at ", locator.hookup));
    if (!check_reals(locator, place, findings))
        return;
    if (locator.scale != 1)
        report(finding_code_t::locator_scale, locator.scale,
               concat("scale is ", locator.scale, ", expected 1"));
    if (const double l = length(locator.rotation); std::abs(l - 1) > quaternion_tolerance)
        report(finding_code_t::locator_rotation, locator.rotation,
               concat("rotation has length ", static_cast<float>(l), ", expected 1"));
}

// The writer leaves the records of locators that no part lists as they were: all zero.
void check_unlisted(std::span<const std::byte> record, const kmg_place_t &place, kmg_findings_t &findings) {
    if (std::any_of(record.begin(), record.end(), [](std::byte byte) { return byte != std::byte{}; }))
        findings.add(finding_code_t::locator_stray, place, "belongs to no part, yet is not zero");
    else
        findings.add(finding_code_t::locator_unlisted, place, "belongs to no part");
}

} // namespace

void check_name(uint64_t name, const kmg_place_t &place, kmg_findings_t &findings) {
    if (!is_token(name))
        findings.add(finding_code_t::token, place, concat("name ", hex_t{name}, " is no token"));
    else if (name == 0)
        findings.add(finding_code_t::name_empty, place, "has no name");
}

void repeated_names_t::report(kmg_findings_t &findings) {
    std::sort(names_.begin(), names_.end(), [](const named_place_t &a, const named_place_t &b) {
        return a.name != b.name ? a.name < b.name : a.place.index < b.place.index;
    });
    for (size_t i = 1; i < names_.size(); ++i)
        if (names_[i].name == names_[i - 1].name && names_[i].name != 0)
            findings.add(finding_code_t::name_repeated, names_[i].place,
                         concat("has the name of ", name_of(names_[i].place.kind), " ",
                                names_[i - 1].place.index, ", '", token_text(names_[i].name), "'"));
}

void check_parts_and_locators(const kmg_reader_t &file, kmg_findings_t &findings) {
    repeated_names_t part_names, locator_names;
    size_t listed = 0;
    for (size_t i = 0; i < file.parts().size(); ++i) {
        const kmg_part_t part = file.parts()[i];
        const auto place = place_of(kmg_record_kind_t::part, file.header().parts_offset, kmg_part_t::size, i);
        check_name(part.name, place, findings);
        part_names.add(part.name, place);
        listed += part.locator_count;
    }
    part_names.report(findings);

    pool_check_t pool(file, findings);
    for (size_t i = 0; i < file.locators().size(); ++i) {
        const kmg_locator_t locator = file.locators()[i];
        const auto place =
            place_of(kmg_record_kind_t::locator, file.header().locators_offset, kmg_locator_t::size, i);
        if (i >= listed) {
            check_unlisted(file.bytes().subspan(place.byte, kmg_locator_t::size), place, findings);
            continue;
        }
        check_locator(locator, place, pool, findings);
        locator_names.add(locator.name, place);
    }
    locator_names.report(findings);
    pool.check_ends();
    pool.check_repeated();
    pool.check_unused();
}

} // namespace kestrel
