#include "tools/kmg/affine.h"
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
        : pool_(file.string_pool()), offset_(file.header().string_pool_offset), findings_(findings) {
        collect();
    }

    // Marks the string as used; false when none begins there.
    bool use(uint32_t offset) {
        const auto at = std::lower_bound(starts_.begin(), starts_.end(), offset);
        if (at == starts_.end() || *at != offset)
            return false;
        used_[static_cast<size_t>(at - starts_.begin())] = true;
        return true;
    }
    void report_unused() const {
        for (size_t i = 0; i < starts_.size(); ++i)
            if (!used_[i])
                findings_.add(finding_code_t::pool_unused, place(starts_[i]),
                              "no locator refers to this string");
    }
    void report_repeated() const {
        std::vector<uint32_t> sorted = starts_;
        std::sort(sorted.begin(), sorted.end(), [&](uint32_t a, uint32_t b) {
            const int order = text(a).compare(text(b));
            return order != 0 ? order < 0 : a < b;
        });
        for (size_t i = 1; i < sorted.size(); ++i)
            if (text(sorted[i]) == text(sorted[i - 1]))
                findings_.add(finding_code_t::pool_repeated, place(sorted[i]),
                              concat("repeats the string at ", sorted[i - 1], " of the pool"));
    }

  private:
    void collect() {
        size_t next = 0;
        while (next < pool_.size() && pool_[next] != '\0') {
            const size_t end = pool_.find('\0', next);
            starts_.push_back(static_cast<uint32_t>(next));
            if (end == std::string_view::npos) {
                findings_.add(finding_code_t::pool_text, place(next), "the last string has no end");
                next = pool_.size();
            } else
                next = end + 1;
        }
        used_.resize(starts_.size());
        if (pool_.find_first_not_of('\0', next) != std::string_view::npos)
            findings_.add(finding_code_t::pool_text, place(next),
                          "an empty string, or padding that is not zero");
        else if (pool_.size() - next >= kmg_section_alignment)
            findings_.add(finding_code_t::pool_text, place(next),
                          concat(pool_.size() - next, " bytes of padding, at most 3 are needed"));
    }
    std::string_view text(uint32_t start) const {
        const std::string_view rest = pool_.substr(start);
        return rest.substr(0, rest.find('\0'));
    }
    kmg_place_t place(size_t at) const { return {kmg_record_kind_t::pool, 0, offset_ + uint64_t{at}}; }

    std::string_view pool_;
    uint32_t offset_;
    kmg_findings_t &findings_;
    std::vector<uint32_t> starts_;
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
    pool.report_repeated();
    pool.report_unused();
}

} // namespace kestrel
