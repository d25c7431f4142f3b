#pragma once

// What a check of a geometry file found.
//
//   error    an engine must not load the file: its structure is broken, or its numbers are none
//   warning  loads, but will hardly look as meant; the fault lies in the source model
//   note     legitimate and worth knowing
//
// Codes are stable: scripts may match them. docs/inspect.md lists them.

#include "tools/kmg/kmg_reader.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

enum class severity_t : uint8_t { note, warning, error };

enum class finding_code_t : uint8_t {
    file_too_short,
    file_too_long,
    signature,
    count,
    section,
    piece_layout,
    part_range,
    bone_parent,
    not_finite,
    token,
    name_empty,
    name_repeated,
    bone_inverse,
    bone_singular,
    bone_rotation,
    bone_sign,
    bone_local,
    bone_reserved,
    locator_unlisted,
    locator_stray,
    locator_scale,
    locator_rotation,
    locator_hookup,
    pool_text,
    pool_repeated,
    pool_unused,
    box,
    box_loose,
    sphere,
    texture_map,
    index,
    index_padding,
    vertex_unused,
    triangle_degenerate,
    triangle_duplicate,
    bone_index,
    weights_below,
    weights_above,
    normal_length,
    tangent_length,
    tangent_sign,
};
inline constexpr size_t finding_code_count = static_cast<size_t>(finding_code_t::tangent_sign) + 1;

struct finding_kind_t {
    std::string_view name; // of the code
    severity_t severity;
};
const finding_kind_t &kind_of(finding_code_t code);
std::string_view name_of(severity_t severity);

// Where in the file: a record, and within a piece the vertex or triangle.
struct kmg_place_t {
    kmg_record_kind_t kind = kmg_record_kind_t::file;
    uint32_t index = 0; // of the record
    uint64_t byte = 0;
    std::optional<uint32_t> vertex{};
    std::optional<uint32_t> triangle{};
};

struct kmg_finding_t {
    finding_code_t code;
    kmg_place_t place;
    std::string text;
    uint32_t more = 0; // stands for so many findings of its code at its record that were left out
};

// "piece 3, vertex 12 (byte 4096)".
std::string to_text(const kmg_place_t &place);

// Collects findings. Of one code at one record the first few are kept and the rest counted, so that a broken
// exporter does not bury everything else; findings of one record are added one after the other.
class kmg_findings_t {
  public:
    static constexpr uint32_t no_limit = 0xFFFFFFFF;

    explicit kmg_findings_t(uint32_t limit) : limit_(limit) {}

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
    bool wants(finding_code_t code, const kmg_place_t &place);
    void end_record();

    uint32_t limit_;
    std::vector<kmg_finding_t> kept_;
    kmg_record_kind_t kind_ = kmg_record_kind_t::file;
    uint32_t index_ = 0;
    std::array<uint32_t, finding_code_count> counts_{}; // of the present record
};

} // namespace kestrel
