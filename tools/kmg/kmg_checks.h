#pragma once

// The checks of a file whose structure is sound, by section, and where they put what they find. Called by
// check_kmg.

#include "tools/kmg/kmg_check.h"
#include "tools/kmg/kmg_facts.h"
#include "tools/kmg/kmg_text.h"

#include <array>
#include <concepts>

namespace kestrel {

inline constexpr size_t finding_code_count = 0
#define KMG_COUNT_FINDING(code, severity, meaning) +1
    KMG_FINDINGS(KMG_COUNT_FINDING)
#undef KMG_COUNT_FINDING
    ;

// Collects findings. Of one code at one record, and of one code in the file, the first few are kept and the
// rest counted, so that a broken exporter buries neither everything else nor the memory. Findings of one
// record are added one after the other.
class kmg_findings_t {
  public:
    explicit kmg_findings_t(uint32_t limit) : limit_(limit), file_limit_(10 * uint64_t{limit}) {}

    void add(finding_code_t code, const kmg_place_t &place, std::string text) {
        if (wants(code, place))
            kept_.push_back({code, place, std::move(text)});
    }
    // The text is made only when it is kept.
    template <class F>
    requires std::is_invocable_r_v<std::string, F>
    void add(finding_code_t code, const kmg_place_t &place, F &&make_text) {
        if (wants(code, place))
            kept_.push_back({code, place, make_text()});
    }
    bool any() const { return !kept_.empty(); }
    std::vector<kmg_finding_t> take();

  private:
    struct left_out_t {
        uint32_t count = 0;
        kmg_place_t first;

        void add(const kmg_place_t &place) {
            if (count++ == 0)
                first = place;
        }
    };
    struct tally_t {
        uint32_t at_record = 0; // of the present record
        uint64_t kept = 0;
        left_out_t of_record, of_file;
    };

    bool wants(finding_code_t code, const kmg_place_t &place);
    void end_record();

    uint32_t limit_;
    uint64_t file_limit_;
    std::vector<kmg_finding_t> kept_;
    kmg_record_kind_t kind_ = kmg_record_kind_t::file;
    uint32_t index_ = 0;
    std::array<tally_t, finding_code_count> tallies_{};
};

void check_bones(const kmg_reader_t &file, std::string_view skeleton, kmg_findings_t &findings);
// Names of parts and locators, the locators themselves and the strings they refer to.
void check_parts_and_locators(const kmg_reader_t &file, kmg_findings_t &findings);
void check_pieces(const kmg_reader_t &file, kmg_findings_t &findings);

inline kmg_place_t place_of(kmg_record_kind_t kind, uint32_t section, size_t record_size, size_t index) {
    return {kind, static_cast<uint32_t>(index), section + uint64_t{index} * record_size};
}
inline constexpr kmg_place_t header_place{kmg_record_kind_t::header, 0, 0};

// The place of one member of a record that lies at the place.
template <class R, class T>
kmg_place_t place_of_field(const kmg_place_t &place, const R &record, const T &member) {
    kmg_place_t field = place;
    field.byte += field_of(record, member).offset;
    return field;
}

// A piece, what it holds, and the places in it.
struct piece_view_t {
    const kmg_reader_t &file;
    const kmg_piece_t piece;
    const kmg_piece_data_t data;
    const kmg_place_t place;

    piece_view_t(const kmg_reader_t &in, size_t index)
        : file(in), piece(in.pieces()[index]), data(in.data_of(piece)),
          place(place_of(kmg_record_kind_t::piece, in.header().pieces_offset, kmg_piece_t::size, index)) {}

    kmg_place_t at_field(const auto &member) const { return place_of_field(place, piece, member); }
    kmg_place_t at_vertex(uint32_t stream, size_t vertex) const {
        const uint64_t byte = stream + uint64_t{vertex} * piece.vertex_stride;
        return {place.kind, place.index, byte, static_cast<uint32_t>(vertex), {}};
    }
    kmg_place_t at_triangle(size_t triangle, size_t corner = 0) const {
        const uint64_t byte = piece.index_offset + (3 * uint64_t{triangle} + corner) * sizeof(uint16_t);
        return {place.kind, place.index, byte, {}, static_cast<uint32_t>(triangle)};
    }
    std::array<uint16_t, 3> corners(size_t triangle) const {
        return {data.indices[3 * triangle], data.indices[3 * triangle + 1], data.indices[3 * triangle + 2]};
    }
};
// Triangles and what they make of the vertices, in a piece whose corners are all vertices of it.
void check_mesh(const piece_view_t &view, kmg_findings_t &findings);

bool all_finite(std::same_as<float> auto value) {
    return std::isfinite(value);
}

// Every real of a record; the record lies at the place.
template <class R>
void check_reals(const R &record, const kmg_place_t &place, kmg_findings_t &findings) {
    R::visit(record, [&](size_t offset, const char *name, const auto &member) {
        if constexpr (requires { all_finite(member); })
            if (!all_finite(member)) {
                kmg_place_t at = place;
                at.byte += offset;
                findings.add(finding_code_t::not_finite, at,
                             [&] { return concat(name, " is ", values_text(member)); });
            }
    });
}

void check_name(uint64_t name, const kmg_place_t &place, kmg_findings_t &findings);
// Names that an earlier record of the section has, too. `records` have names and lie at the section's start.
template <class R>
void check_repeated_names(const kmg_view_t<R> &records, size_t count, kmg_record_kind_t kind,
                          uint32_t section, kmg_findings_t &findings) {
    struct named_t {
        uint64_t name;
        uint32_t index;
        auto operator<=>(const named_t &) const = default;
    };
    std::vector<named_t> names;
    names.reserve(count);
    for (uint32_t i = 0; i < count; ++i)
        names.push_back({records[i].name, i});
    std::sort(names.begin(), names.end());
    for (size_t i = 1; i < count; ++i)
        if (names[i].name == names[i - 1].name && names[i].name != 0)
            findings.add(finding_code_t::name_repeated, place_of(kind, section, R::size, names[i].index),
                         [&] {
                             return concat("has the name of ", to_text(kind, names[i - 1].index), ", '",
                                           token_text(names[i].name), "'");
                         });
}

} // namespace kestrel
