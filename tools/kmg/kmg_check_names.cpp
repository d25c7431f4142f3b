#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_checks.h"

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
        for_each_string(pool_, [&](uint32_t offset, std::string_view) { offsets_.push_back(offset); });
        used_.resize(offsets_.size());
    }

    // Marks the string as used; false when none begins there.
    bool use(uint32_t offset) {
        const auto at = std::lower_bound(offsets_.begin(), offsets_.end(), offset);
        if (at == offsets_.end() || *at != offset)
            return false;
        used_[static_cast<size_t>(at - offsets_.begin())] = true;
        return true;
    }
    void check_texts() const {
        for (size_t i = 0; i < offsets_.size(); ++i) {
            if (!used_[i])
                findings_.add(finding_code_t::pool_unused, place(offsets_[i]),
                              [&] { return concat("no locator refers to ", quoted(text(offsets_[i]))); });
            if (!is_utf8(text(offsets_[i])))
                findings_.add(finding_code_t::pool_utf8, place(offsets_[i]),
                              [&] { return concat(quoted(text(offsets_[i])), " is not UTF-8"); });
        }
    }
    void check_end() const {
        const size_t end = offsets_.empty() ? 0 : offsets_.back() + text(offsets_.back()).size() + 1;
        if (end > pool_.size())
            findings_.add(finding_code_t::pool_text, place(offsets_.back()),
                          concat("the last string, ", quoted(text(offsets_.back())), ", has no end"));
        else if (const size_t stray = pool_.find_first_not_of('\0', end); stray != std::string_view::npos)
            findings_.add(finding_code_t::pool_text, place(stray),
                          "an empty string, or padding that is not zero");
        else if (pool_.size() - end >= kmg_section_alignment)
            findings_.add(finding_code_t::pool_text, place(end),
                          concat(pool_.size() - end, " bytes of padding, at most 3 are needed"));
    }
    void check_repeated() {
        std::vector<uint32_t> sorted = offsets_;
        std::sort(sorted.begin(), sorted.end(), [&](uint32_t a, uint32_t b) {
            const int order = text(a).compare(text(b));
            return order != 0 ? order < 0 : a < b;
        });
        for (size_t i = 1; i < sorted.size(); ++i)
            if (text(sorted[i]) == text(sorted[i - 1]))
                findings_.add(finding_code_t::pool_repeated, place(sorted[i]), [&] {
                    return concat("repeats the string at ", sorted[i - 1], " of the pool, ",
                                  quoted(text(sorted[i])));
                });
    }

  private:
    kmg_place_t place(size_t at) const { return {kmg_record_kind_t::pool, 0, offset_ + uint64_t{at}}; }
    std::string_view text(uint32_t offset) const {
        return pool_.substr(offset, std::min(pool_.find('\0', offset), pool_.size()) - offset);
    }

    std::string_view pool_;
    uint32_t offset_;
    kmg_findings_t &findings_;
    std::vector<uint32_t> offsets_;
    std::vector<bool> used_;
};

// How far the position lies outside the box, and the box's diagonal.
struct distance_t {
    double outside = 0, diagonal = 0;
};
distance_t distance_from(const kmg_box_t &box, const kmg_float3_t &position) {
    std::array<double, 3> outside{}, extent{};
    for (size_t i = 0; i < 3; ++i) {
        const double low = static_cast<double>(box.minimum[i]), high = static_cast<double>(box.maximum[i]);
        const double at = static_cast<double>(position[i]);
        outside[i] = std::max({0.0, low - at, at - high});
        extent[i] = high - low;
    }
    return {length(outside), length(extent)};
}

class locator_check_t {
  public:
    locator_check_t(const kmg_reader_t &file, kmg_findings_t &findings)
        : file_(file), pool_(file, findings), findings_(findings) {}

    void run() {
        const size_t listed = listed_locators(file_);
        for (size_t i = 0; i < file_.locators().size(); ++i) {
            const auto place =
                place_of(kmg_record_kind_t::locator, file_.header().locators_offset, kmg_locator_t::size, i);
            if (i < listed)
                check(file_.locators()[i], place);
            else
                check_unlisted(i == listed, place);
        }
        check_repeated_names(file_.locators(), listed, kmg_record_kind_t::locator,
                             file_.header().locators_offset, findings_);
        pool_.check_texts();
        pool_.check_end();
        pool_.check_repeated();
    }

  private:
    void check(const kmg_locator_t &locator, const kmg_place_t &place);
    void check_unlisted(bool first, const kmg_place_t &place);

    const kmg_reader_t &file_;
    pool_check_t pool_;
    kmg_findings_t &findings_;
};

void locator_check_t::check(const kmg_locator_t &locator, const kmg_place_t &place) {
    const auto report = [&](finding_code_t code, const auto &member, auto &&make_text) {
        findings_.add(code, place_of_field(place, locator, member), make_text);
    };
    check_name(locator.name, place, findings_);
    check_reals(locator, place, findings_);
    if (locator.hookup != kmg_absent && !pool_.use(locator.hookup))
        report(finding_code_t::locator_hookup, locator.hookup,
               [&] { return concat("no string of the pool begins at ", locator.hookup); });
    if (all_finite(locator.scale) && locator.scale != 1)
        report(finding_code_t::locator_scale, locator.scale,
               [&] { return concat("scale is ", locator.scale, ", expected 1"); });
    const double l = length(locator.rotation);
    if (all_finite(locator.rotation) && !(std::abs(l - 1) <= quaternion_tolerance))
        report(finding_code_t::locator_rotation, locator.rotation,
               [&] { return concat("rotation has length ", static_cast<float>(l), ", expected 1"); });
    const distance_t far = distance_from(file_.header().box, locator.position);
    if (all_finite(locator.position) && far.diagonal > 0 && far.outside > far.diagonal)
        report(finding_code_t::locator_far, locator.position, [&] {
            return concat("position ", short_text(locator.position), " lies ", rounded_t{far.outside, 3},
                          " outside the model's box, whose diagonal is ", rounded_t{far.diagonal, 3});
        });
}

// The writer leaves the records of locators that no part lists as they were: all zero.
void locator_check_t::check_unlisted(bool first, const kmg_place_t &place) {
    const auto record = file_.bytes().subspan(place.byte, kmg_locator_t::size);
    const bool empty =
        std::all_of(record.begin(), record.end(), [](std::byte byte) { return byte == std::byte{}; });
    if (empty)
        return findings_.add(finding_code_t::locator_unlisted, place, "belongs to no part");
    findings_.add(finding_code_t::locator_stray, place, "belongs to no part, yet is not empty");
    if (!first)
        return;
    const uint32_t last = file_.header().part_count - 1;
    const kmg_part_t part = file_.parts()[last];
    const auto part_place =
        place_of(kmg_record_kind_t::part, file_.header().parts_offset, kmg_part_t::size, last);
    findings_.add(finding_code_t::locator_stray, place_of_field(part_place, part, part.locator_count),
                  concat("locator_count is ", part.locator_count, ", yet ", to_text(place.kind, place.index),
                         " behind the part's last one is not empty"));
}

} // namespace

void check_name(uint64_t name, const kmg_place_t &place, kmg_findings_t &findings) {
    if (!is_token(name))
        findings.add(finding_code_t::token, place,
                     [&] { return concat("name ", hex_t{name}, " is no token"); });
    else if (name == 0)
        findings.add(finding_code_t::name_empty, place, "has no name");
}

void check_parts_and_locators(const kmg_reader_t &file, kmg_findings_t &findings) {
    const kmg_header_t &header = file.header();
    for (size_t i = 0; i < file.parts().size(); ++i)
        check_name(file.parts()[i].name,
                   place_of(kmg_record_kind_t::part, header.parts_offset, kmg_part_t::size, i), findings);
    check_repeated_names(file.parts(), file.parts().size(), kmg_record_kind_t::part, header.parts_offset,
                         findings);
    locator_check_t(file, findings).run();
}

} // namespace kestrel
