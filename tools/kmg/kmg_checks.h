#pragma once

// The checks of a file whose structure is sound, by section. Called by check_kmg.

#include "tools/kmg/concat.h"
#include "tools/kmg/kmg_findings.h"

#include <cmath>
#include <concepts>

namespace kestrel {

void check_bones(const kmg_reader_t &file, kmg_findings_t &findings);
// Names of parts and locators, the locators themselves and the strings they refer to.
void check_parts_and_locators(const kmg_reader_t &file, kmg_findings_t &findings);
void check_pieces(const kmg_reader_t &file, kmg_findings_t &findings);

inline kmg_place_t place_of(kmg_record_kind_t kind, uint32_t section, size_t record_size, size_t index) {
    return {kind, static_cast<uint32_t>(index), section + uint64_t{index} * record_size};
}

// The place of one member of a record that lies at the place.
template <class R, class T>
kmg_place_t place_of_field(const kmg_place_t &place, const R &record, const T &member) {
    kmg_place_t field = place;
    field.byte += field_of(record, member).offset;
    return field;
}

template <size_t N>
bool all_finite(const std::array<float, N> &values) {
    for (const float value : values)
        if (!std::isfinite(value))
            return false;
    return true;
}
bool all_finite(std::same_as<float> auto value) {
    return std::isfinite(value);
}

// Every real of a record; the record lies at the place. Gives whether all are finite.
template <class R>
bool check_reals(const R &record, const kmg_place_t &place, kmg_findings_t &findings) {
    bool finite = true;
    R::visit(record, [&](size_t offset, const char *name, const auto &member) {
        if constexpr (requires { all_finite(member); })
            if (!all_finite(member)) {
                kmg_place_t at = place;
                at.byte += offset;
                findings.add(finding_code_t::not_finite, at, concat(name, " is not a finite number"));
                finite = false;
            }
    });
    return finite;
}

void check_name(uint64_t name, const kmg_place_t &place, kmg_findings_t &findings);

// Names that another record of the section has, too; one finding for each record after the first.
class repeated_names_t {
  public:
    void add(uint64_t name, const kmg_place_t &place) { names_.push_back({name, place}); }
    void report(kmg_findings_t &findings);

  private:
    struct named_place_t {
        uint64_t name;
        kmg_place_t place;
    };
    std::vector<named_place_t> names_;
};

} // namespace kestrel
