#include "tools/kmg/kmg_reader.h"

#include <algorithm>

namespace kestrel {

namespace {

// The record as the layout makes it has its fields where the file has other values: reports each of those.
// All fields that the layout decides are u32.
template <class R>
bool report_differences(const kmg_fault_t &where, std::span<const std::byte> file, const R &expected,
                        const std::function<void(const kmg_fault_t &)> &report) {
    bool same = true;
    R::visit(expected, [&](size_t offset, const char *name, const auto &wanted) {
        if constexpr (std::is_same_v<decltype(wanted), const uint32_t &>) {
            uint32_t found;
            little_endian::get(file.data() + where.byte + offset, found);
            if (found == wanted)
                return;
            same = false;
            report(
                {where.code, where.kind, where.index, where.byte + offset, name, found, "expected", wanted});
        }
    });
    return same;
}

class structure_check_t {
  public:
    structure_check_t(std::span<const std::byte> file, const std::function<void(const kmg_fault_t &)> &report)
        : file_(file), report_(report) {}

    void run() {
        if (!check_start() || !check_counts() || !check_sections())
            return;
        check_bones();
        check_parts();
        check_pieces();
    }

  private:
    bool check_start();
    bool check_counts();
    bool check_sections();
    void check_bones();
    void check_parts();
    void check_pieces();
    bool check_piece_counts(const kmg_fault_t &where, const kmg_piece_t &piece);
    void report_size(uint64_t expected);

    // Reports the member of the record, which begins at the place, when what is said of it does not hold.
    template <class R, class T>
    bool require(bool holds, const kmg_fault_t &where, const R &record, const T &member, const char *wanted,
                 uint64_t expected) {
        if (!holds) {
            const record_field_t field = field_of(record, member);
            report_({where.code, where.kind, where.index, where.byte + field.offset, field.name, member,
                     wanted, expected});
        }
        return holds;
    }
    template <class R>
    bool require_equal(const kmg_fault_t &where, const R &record, const uint32_t &member, uint64_t expected) {
        return require(member == expected, where, record, member, "expected", expected);
    }
    template <class R>
    bool require_at_most(const kmg_fault_t &where, const R &record, const uint32_t &member, uint64_t limit) {
        return require(member <= limit, where, record, member, "at most", limit);
    }
    template <class R>
    bool require_some(const kmg_fault_t &where, const R &record, const uint32_t &member) {
        return require(member != 0, where, record, member, "at least", 1);
    }

    template <class R>
    kmg_fault_t place(kmg_fault_code_t code, kmg_record_kind_t kind, uint32_t section, uint32_t index) const {
        return {code, kind, index, section + uint64_t{index} * R::size};
    }
    template <class R>
    R record_at(const kmg_fault_t &where) const {
        return unpack<R>(std::span<const std::byte, R::size>(file_.data() + where.byte, R::size));
    }

    std::span<const std::byte> file_;
    const std::function<void(const kmg_fault_t &)> &report_;
    kmg_header_t header_;
};

bool structure_check_t::check_start() {
    if (file_.size() < kmg_header_t::size) {
        report_size(kmg_header_t::size);
        return false;
    }
    header_ = unpack<kmg_header_t>(file_.first<kmg_header_t::size>());
    const kmg_fault_t where{kmg_fault_code_t::signature, kmg_record_kind_t::header};
    return require_equal(where, header_, header_.signature, kmg_signature);
}

bool structure_check_t::check_counts() {
    const kmg_fault_t where{kmg_fault_code_t::count, kmg_record_kind_t::header};
    const bool parts = require_some(where, header_, header_.part_count);
    const bool bones = require_at_most(where, header_, header_.bone_count, kmg_max_bones);
    const uint32_t influences = header_.bone_count != 0 ? kmg_max_influences : 0;
    return require_equal(where, header_, header_.influence_count, influences) && parts && bones;
}

bool structure_check_t::check_sections() {
    kmg_header_t expected = header_;
    uint64_t end = kmg_header_t::size;
    const auto place_section = [&](uint32_t &offset, uint64_t size) {
        offset = static_cast<uint32_t>(end);
        end += size;
    };
    for (uint32_t *size : {&expected.string_pool_size, &expected.vertex_data_size, &expected.index_data_size})
        *size = static_cast<uint32_t>(aligned_section_size(*size));
    place_section(expected.bones_offset, uint64_t{header_.bone_count} * kmg_bone_data_t::size);
    place_section(expected.parts_offset, uint64_t{header_.part_count} * kmg_part_t::size);
    place_section(expected.locators_offset, uint64_t{header_.locator_count} * kmg_locator_t::size);
    place_section(expected.pieces_offset, uint64_t{header_.piece_count} * kmg_piece_t::size);
    place_section(expected.string_pool_offset, header_.string_pool_size);
    place_section(expected.vertex_data_offset, header_.vertex_data_size);
    place_section(expected.index_data_offset, header_.index_data_size);
    const kmg_fault_t where{kmg_fault_code_t::section, kmg_record_kind_t::header};
    if (!report_differences(where, file_, expected, report_))
        return false;
    // No section wrapped around in its 32 bits only if the last one did not.
    const bool right = end == file_.size() && end <= kmg_absent;
    if (!right)
        report_size(end);
    return right;
}

void structure_check_t::report_size(uint64_t expected) {
    using enum kmg_fault_code_t;
    const uint64_t size = file_.size();
    report_({size > expected ? file_too_long : file_too_short, kmg_record_kind_t::file, 0,
             std::min(size, expected), "size", size, "expected", expected});
}

void structure_check_t::check_bones() {
    for (uint32_t i = 0; i < header_.bone_count; ++i) {
        const auto where = place<kmg_bone_data_t>(kmg_fault_code_t::bone_parent, kmg_record_kind_t::bone,
                                                  header_.bones_offset, i);
        const auto bone = record_at<kmg_bone_data_t>(where);
        require(bone.parent < i || bone.parent == kmg_no_parent, where, bone, bone.parent,
                "expected an earlier bone or", kmg_no_parent);
    }
}

void structure_check_t::check_parts() {
    uint64_t pieces = 0, locators = 0;
    const auto part_place = [&](uint32_t i) {
        return place<kmg_part_t>(kmg_fault_code_t::part_range, kmg_record_kind_t::part, header_.parts_offset,
                                 i);
    };
    for (uint32_t i = 0; i < header_.part_count; ++i) {
        const kmg_fault_t where = part_place(i);
        const auto part = record_at<kmg_part_t>(where);
        const uint64_t pieces_left = header_.piece_count - pieces;
        const uint64_t locators_left = header_.locator_count - locators;
        // Whatever comes behind a wrong range follows from it.
        if (!require_equal(where, part, part.first_piece, pieces) ||
            !require_equal(where, part, part.first_locator, locators) ||
            !require_at_most(where, part, part.piece_count, pieces_left) ||
            !require_at_most(where, part, part.locator_count, locators_left))
            return;
        pieces += part.piece_count;
        locators += part.locator_count;
    }
    const kmg_fault_t where{kmg_fault_code_t::part_range, kmg_record_kind_t::header};
    require_equal(where, header_, header_.piece_count, pieces);
}

bool structure_check_t::check_piece_counts(const kmg_fault_t &where, const kmg_piece_t &piece) {
    return require_equal(where, piece, piece.index_count, piece.index_count / 3 * 3) &&
           require_some(where, piece, piece.vertex_count) &&
           require_at_most(where, piece, piece.vertex_count, kmg_max_piece_vertices) &&
           require_at_most(where, piece, piece.uv_channel_count, kmg_max_uv_channels);
}

// The piece's stride and offsets as they follow from what its vertices hold, when its data begin at the given
// bytes. Tangent and factor are held when their offsets are not absent; every other field is certain.
kmg_piece_t laid_out(const kmg_piece_t &piece, uint64_t vertices, uint64_t indices, bool skinned) {
    kmg_piece_t result = piece;
    uint64_t next = vertices;
    const auto place_field = [&](uint32_t &offset, bool present, uint32_t size) {
        offset = present ? static_cast<uint32_t>(next) : kmg_absent;
        next += present ? size : 0;
    };
    place_field(result.position_offset, true, sizeof(kmg_float3_t));
    place_field(result.normal_offset, true, sizeof(kmg_float3_t));
    place_field(result.tangent_offset, piece.tangent_offset != kmg_absent, sizeof(kmg_float4_t));
    place_field(result.colour_offset, true, sizeof(kmg_bytes4_t));
    place_field(result.factor_offset, piece.factor_offset != kmg_absent, sizeof(kmg_bytes4_t));
    place_field(result.uv_offset, piece.uv_channel_count != 0,
                piece.uv_channel_count * static_cast<uint32_t>(sizeof(kmg_float2_t)));
    place_field(result.bone_index_offset, skinned, sizeof(kmg_bytes4_t));
    place_field(result.bone_weight_offset, skinned, sizeof(kmg_bytes4_t));
    result.vertex_stride = static_cast<uint32_t>(next - vertices);
    result.index_offset = static_cast<uint32_t>(indices);
    return result;
}

void structure_check_t::check_pieces() {
    uint64_t vertices_end = header_.vertex_data_offset;
    uint64_t indices_end = header_.index_data_offset;
    for (uint32_t i = 0; i < header_.piece_count; ++i) {
        const auto where =
            place<kmg_piece_t>(kmg_fault_code_t::count, kmg_record_kind_t::piece, header_.pieces_offset, i);
        const auto piece = record_at<kmg_piece_t>(where);
        if (!check_piece_counts(where, piece))
            return;
        const kmg_piece_t expected = laid_out(piece, vertices_end, indices_end, header_.bone_count != 0);
        kmg_fault_t layout = where;
        layout.code = kmg_fault_code_t::piece_layout;
        const uint64_t vertex_room = (header_.index_data_offset - vertices_end) / expected.vertex_stride;
        const uint64_t index_room = (file_.size() - indices_end) / sizeof(uint16_t);
        // Where the pieces behind a misplaced one begin is anybody's guess.
        if (!report_differences(layout, file_, expected, report_) ||
            !require_at_most(where, piece, piece.vertex_count, vertex_room) ||
            !require_at_most(where, piece, piece.index_count, index_room))
            return;
        vertices_end += uint64_t{expected.vertex_stride} * piece.vertex_count;
        indices_end += aligned_section_size(uint64_t{piece.index_count} * sizeof(uint16_t));
    }
    const kmg_fault_t where{kmg_fault_code_t::section, kmg_record_kind_t::header};
    require_equal(where, header_, header_.vertex_data_size, vertices_end - header_.vertex_data_offset);
    require_equal(where, header_, header_.index_data_size, indices_end - header_.index_data_offset);
}

} // namespace

const char *name_of(kmg_record_kind_t kind) {
    switch (kind) {
    case kmg_record_kind_t::file:
        return "file";
    case kmg_record_kind_t::header:
        return "header";
    case kmg_record_kind_t::pool:
        return "pool";
    case kmg_record_kind_t::bone:
        return "bone";
    case kmg_record_kind_t::part:
        return "part";
    case kmg_record_kind_t::locator:
        return "locator";
    case kmg_record_kind_t::piece:
        return "piece";
    }
    return "";
}

std::string to_text(const kmg_fault_t &fault) {
    std::string text = name_of(fault.kind);
    if (fault.kind >= kmg_record_kind_t::bone)
        text += " " + std::to_string(fault.index);
    return text + ": " + fault.field + " at byte " + std::to_string(fault.byte) + " is " +
           std::to_string(fault.found) + ", " + fault.wanted + " " + std::to_string(fault.expected);
}

void find_structure_faults(std::span<const std::byte> file,
                           const std::function<void(const kmg_fault_t &)> &report) {
    structure_check_t(file, report).run();
}

std::optional<kmg_reader_t> kmg_reader_t::open(std::span<const std::byte> file, kmg_fault_t *first_fault) {
    bool sound = true;
    find_structure_faults(file, [&](const kmg_fault_t &fault) {
        if (sound && first_fault)
            *first_fault = fault;
        sound = false;
    });
    if (!sound)
        return std::nullopt;
    return kmg_reader_t(file);
}

kmg_reader_t::kmg_reader_t(std::span<const std::byte> file)
    : file_(file), header_(unpack<kmg_header_t>(file.first<kmg_header_t::size>())) {}

std::string_view kmg_reader_t::string_pool() const {
    return {reinterpret_cast<const char *>(file_.data()) + header_.string_pool_offset,
            header_.string_pool_size};
}

kmg_piece_data_t kmg_reader_t::data_of(const kmg_piece_t &piece) const {
    kmg_piece_data_t data;
    data.positions = stream<kmg_float3_t>(piece, piece.position_offset);
    data.normals = stream<kmg_float3_t>(piece, piece.normal_offset);
    data.tangents = stream<kmg_float4_t>(piece, piece.tangent_offset);
    data.colours = stream<kmg_bytes4_t>(piece, piece.colour_offset);
    data.factors = stream<kmg_bytes4_t>(piece, piece.factor_offset);
    for (uint32_t channel = 0; channel < piece.uv_channel_count; ++channel)
        data.uv_channels[channel] = stream<kmg_float2_t>(
            piece, piece.uv_offset + channel * static_cast<uint32_t>(sizeof(kmg_float2_t)));
    data.bone_indices = stream<kmg_bytes4_t>(piece, piece.bone_index_offset);
    data.bone_weights = stream<kmg_bytes4_t>(piece, piece.bone_weight_offset);
    data.indices = {file_.data() + piece.index_offset, sizeof(uint16_t), piece.index_count};
    return data;
}

std::optional<std::string_view> kmg_reader_t::hookup_of(const kmg_locator_t &locator) const {
    const std::string_view pool = string_pool();
    if (locator.hookup >= pool.size())
        return std::nullopt;
    const std::string_view rest = pool.substr(locator.hookup);
    return rest.substr(0, rest.find('\0'));
}

} // namespace kestrel
