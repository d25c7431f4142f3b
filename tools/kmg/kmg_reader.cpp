#include "tools/kmg/kmg_reader.h"

#include <algorithm>

namespace kestrel {

namespace {

using report_t = std::function<void(const kmg_fault_t &)>;

// Elements that lie one behind the other, each with a start and a size of its own that the file tells twice:
// an element has to end where the next one starts, the last one at `end`, or before it if something may be
// left over. When they do not agree, the start of the next one is to blame if with another start it would fit
// between its neighbours; otherwise the size.
template <class Start, class Size, class WrongStart, class WrongSize>
void check_chain(size_t count, uint64_t begin, uint64_t end, bool left_over, Start &&start, Size &&size,
                 WrongStart &&wrong_start, WrongSize &&wrong_size) {
    const auto start_or_end = [&](size_t i) { return i < count ? uint64_t{start(i)} : end; };
    if (count > 0 && start(0) != begin)
        wrong_start(0, begin);
    uint64_t at = begin;
    for (size_t i = 0; i < count; ++i) {
        const uint64_t behind = at + size(i);
        const uint64_t next = start_or_end(i + 1);
        const bool last = i + 1 == count;
        const auto next_fits_at = [&](uint64_t start_of_next) {
            const uint64_t end_of_next = start_of_next + size(i + 1);
            return end_of_next == start_or_end(i + 2);
        };
        if (next == behind || (last && left_over && behind < end))
            at = behind;
        else if (!last && (next < at || next_fits_at(behind) ||
                           (left_over && i + 2 == count && !next_fits_at(next)))) {
            wrong_start(i + 1, behind);
            at = behind;
        } else {
            wrong_size(i, at, next);
            at = std::max(at, next);
        }
    }
}

class structure_check_t {
  public:
    structure_check_t(std::span<const std::byte> file, const report_t &report)
        : file_(file), report_(report) {}

    void run() {
        if (!check_signature() || !check_sections() || !check_counts())
            return;
        check_bones();
        if (check_parts())
            check_pieces();
    }

  private:
    bool check_signature();
    bool check_sections();
    void report_section_size(size_t section, uint64_t at, uint64_t next);
    bool index_size_follows_from_pieces() const;
    bool check_counts();
    void check_bones();
    bool check_parts();
    void check_part_range(uint32_t kmg_part_t::*first, uint32_t kmg_part_t::*count, const uint32_t &total);
    void check_pieces();
    bool check_piece_counts(const kmg_piece_t &piece, const kmg_fault_t &where);
    void check_piece_layouts();
    void check_index_ranges();

    void report(const kmg_fault_t &fault) {
        sound_ = false;
        report_(fault);
    }
    // Reports a member of the record, which begins at the place.
    template <class R, class T>
    void report_member(const kmg_fault_t &where, const R &record, const T &member, const char *wanted,
                       uint64_t expected) {
        const record_field_t field = field_of(record, member);
        report({where.code, where.kind, where.index, where.byte + field.offset, field.name, member, wanted,
                expected});
    }
    template <class R>
    bool require(bool holds, const kmg_fault_t &where, const R &record, const auto &member,
                 const char *wanted, uint64_t expected) {
        if (!holds)
            report_member(where, record, member, wanted, expected);
        return holds;
    }
    void report_file_size(kmg_fault_code_t code, uint64_t expected) {
        report({code, kmg_record_kind_t::file, 0, std::min<uint64_t>(file_.size(), expected), "size",
                file_.size(), "expected", expected});
    }

    kmg_fault_t header_place(kmg_fault_code_t code) const { return {code, kmg_record_kind_t::header}; }
    kmg_fault_t part_place(size_t i) const {
        return {kmg_fault_code_t::part_range, kmg_record_kind_t::part, static_cast<uint32_t>(i),
                header_.parts_offset + uint64_t{i} * kmg_part_t::size};
    }
    kmg_fault_t piece_place(kmg_fault_code_t code, size_t i) const {
        return {code, kmg_record_kind_t::piece, static_cast<uint32_t>(i),
                header_.pieces_offset + uint64_t{i} * kmg_piece_t::size};
    }
    template <class R>
    R record_at(uint64_t byte) const {
        return unpack<R>(std::span<const std::byte, R::size>(file_.data() + byte, R::size));
    }
    kmg_part_t part(size_t i) const { return record_at<kmg_part_t>(part_place(i).byte); }
    kmg_piece_t piece(size_t i) const { return record_at<kmg_piece_t>(piece_place({}, i).byte); }

    std::span<const std::byte> file_;
    const report_t &report_;
    kmg_header_t header_;
    bool sound_ = true;
};

bool structure_check_t::check_signature() {
    if (file_.size() >= sizeof(uint32_t)) {
        little_endian::get(file_.data(), header_.signature);
        if (!require(header_.signature == kmg_signature, header_place(kmg_fault_code_t::signature), header_,
                     header_.signature, "expected", kmg_signature))
            return false;
    }
    if (file_.size() < kmg_header_t::size)
        report_file_size(kmg_fault_code_t::file_too_short, kmg_header_t::size);
    else
        header_ = unpack<kmg_header_t>(file_.first<kmg_header_t::size>());
    return sound_;
}

// The sections behind the header, with what decides how large each is.
struct section_fields_t {
    uint32_t kmg_header_t::*offset;
    uint32_t kmg_header_t::*amount; // records, or bytes
    uint32_t unit;                  // bytes of a record
};
constexpr section_fields_t section_fields[] = {
    {&kmg_header_t::bones_offset, &kmg_header_t::bone_count, kmg_bone_data_t::size},
    {&kmg_header_t::parts_offset, &kmg_header_t::part_count, kmg_part_t::size},
    {&kmg_header_t::locators_offset, &kmg_header_t::locator_count, kmg_locator_t::size},
    {&kmg_header_t::pieces_offset, &kmg_header_t::piece_count, kmg_piece_t::size},
    {&kmg_header_t::string_pool_offset, &kmg_header_t::string_pool_size, 1},
    {&kmg_header_t::vertex_data_offset, &kmg_header_t::vertex_data_size, 1},
    {&kmg_header_t::index_data_offset, &kmg_header_t::index_data_size, 1},
};

bool structure_check_t::check_sections() {
    const auto start = [&](size_t i) { return header_.*section_fields[i].offset; };
    const auto size = [&](size_t i) {
        return uint64_t{header_.*section_fields[i].amount} * section_fields[i].unit;
    };
    check_chain(
        std::size(section_fields), kmg_header_t::size, file_.size(), false, start, size,
        [&](size_t i, uint64_t expected) {
            report_member(header_place(kmg_fault_code_t::section), header_, header_.*section_fields[i].offset,
                          "expected", expected);
        },
        [&](size_t i, uint64_t at, uint64_t next) { report_section_size(i, at, next); });
    for (const auto &size_field :
         {&kmg_header_t::string_pool_size, &kmg_header_t::vertex_data_size, &kmg_header_t::index_data_size})
        if (sound_)
            require(header_.*size_field % kmg_section_alignment == 0, header_place(kmg_fault_code_t::section),
                    header_, header_.*size_field, "expected", aligned_section_size(header_.*size_field));
    // Offsets end where their 32 bits do.
    if (sound_ && file_.size() > kmg_absent)
        report_file_size(kmg_fault_code_t::file_too_long, kmg_absent);
    return sound_;
}

void structure_check_t::report_section_size(size_t section, uint64_t at, uint64_t next) {
    const section_fields_t &fields = section_fields[section];
    const uint32_t &amount = header_.*fields.amount;
    const bool last = section + 1 == std::size(section_fields);
    if (last && (next < at || index_size_follows_from_pieces())) {
        const uint64_t expected = at + amount;
        report_file_size(file_.size() > expected ? kmg_fault_code_t::file_too_long
                                                 : kmg_fault_code_t::file_too_short,
                         expected);
    } else if (fields.unit == 1)
        report_member(header_place(kmg_fault_code_t::section), header_, amount, "the file leaves room for",
                      next - std::min(at, next));
    else
        report_member(header_place(kmg_fault_code_t::count), header_, amount, "the sections leave room for",
                      (next - std::min(at, next)) / fields.unit);
}

// Does the last piece's index data end where the header says that the section does?
bool structure_check_t::index_size_follows_from_pieces() const {
    const uint64_t pieces_end = header_.pieces_offset + uint64_t{header_.piece_count} * kmg_piece_t::size;
    if (header_.piece_count == 0)
        return header_.index_data_size == 0;
    if (pieces_end > file_.size())
        return true;
    const kmg_piece_t last = piece(header_.piece_count - 1);
    return last.index_offset + aligned_section_size(uint64_t{last.index_count} * sizeof(uint16_t)) ==
           uint64_t{header_.index_data_offset} + header_.index_data_size;
}

bool structure_check_t::check_counts() {
    const kmg_fault_t where = header_place(kmg_fault_code_t::count);
    require(header_.part_count != 0, where, header_, header_.part_count, "expected at least", 1);
    require(header_.bone_count <= kmg_max_bones, where, header_, header_.bone_count, "expected at most",
            kmg_max_bones);
    const uint32_t influences = header_.bone_count != 0 ? kmg_max_influences : 0;
    require(header_.influence_count == influences, where, header_, header_.influence_count, "expected",
            influences);
    return sound_;
}

void structure_check_t::check_bones() {
    for (uint32_t i = 0; i < header_.bone_count; ++i) {
        const kmg_fault_t where{kmg_fault_code_t::bone_parent, kmg_record_kind_t::bone, i,
                                header_.bones_offset + uint64_t{i} * kmg_bone_data_t::size};
        const auto bone = record_at<kmg_bone_data_t>(where.byte);
        require(bone.parent < i || bone.parent == kmg_no_parent, where, bone, bone.parent,
                "expected an earlier bone or", kmg_no_parent);
    }
}

bool structure_check_t::check_parts() {
    check_part_range(&kmg_part_t::first_piece, &kmg_part_t::piece_count, header_.piece_count);
    check_part_range(&kmg_part_t::first_locator, &kmg_part_t::locator_count, header_.locator_count);
    return sound_;
}

// Parts share out pieces, and locators, one after the other. Locators may be left over.
void structure_check_t::check_part_range(uint32_t kmg_part_t::*first, uint32_t kmg_part_t::*count,
                                         const uint32_t &total) {
    const bool left_over = &total == &header_.locator_count;
    check_chain(
        header_.part_count, 0, total, left_over, [&](size_t i) { return part(i).*first; },
        [&](size_t i) { return part(i).*count; },
        [&](size_t i, uint64_t expected) {
            const kmg_part_t record = part(i);
            report_member(part_place(i), record, record.*first, "expected", expected);
        },
        [&](size_t i, uint64_t at, uint64_t next) {
            const kmg_part_t record = part(i);
            report_member(part_place(i), record, record.*count,
                          i + 1 < header_.part_count ? "the next part leaves room for"
                                                     : "the file leaves room for",
                          next - std::min(at, next));
        });
}

// The piece's stride and offsets as they follow from what its vertices hold, when its data begin at the given
// byte.
kmg_piece_t laid_out(const kmg_piece_t &piece, uint64_t vertices, bool tangents, bool factors,
                     uint32_t uv_channels, bool skinned) {
    kmg_piece_t result = piece;
    uint64_t next = vertices;
    const auto place_field = [&](uint32_t &offset, bool present, uint32_t size) {
        offset = present ? static_cast<uint32_t>(next) : kmg_absent;
        next += present ? size : 0;
    };
    result.uv_channel_count = uv_channels;
    place_field(result.position_offset, true, sizeof(kmg_float3_t));
    place_field(result.normal_offset, true, sizeof(kmg_float3_t));
    place_field(result.tangent_offset, tangents, sizeof(kmg_float4_t));
    place_field(result.colour_offset, true, sizeof(kmg_bytes4_t));
    place_field(result.factor_offset, factors, sizeof(kmg_bytes4_t));
    place_field(result.uv_offset, uv_channels != 0, uv_channels * uint32_t{sizeof(kmg_float2_t)});
    place_field(result.bone_index_offset, skinned, sizeof(kmg_bytes4_t));
    place_field(result.bone_weight_offset, skinned, sizeof(kmg_bytes4_t));
    result.vertex_stride = static_cast<uint32_t>(next - vertices);
    return result;
}

// Calls differs(offset, name, found, wanted) for each number in which the two records differ.
void compare(const kmg_piece_t &found, const kmg_piece_t &wanted, auto &&differs) {
    std::array<std::byte, kmg_piece_t::size> bytes;
    pack(found, std::span(bytes));
    kmg_piece_t::visit(wanted, [&](size_t offset, const char *name, const auto &value) {
        if constexpr (std::is_same_v<decltype(value), const uint32_t &>) {
            uint32_t held;
            little_endian::get(bytes.data() + offset, held);
            if (held != value)
                differs(offset, name, held, value);
        }
    });
}

// The layout that the record comes closest to. What its vertices hold is told by the number of UV channels
// and by whether tangents and factors are absent; another one is assumed when less would be wrong then, and
// the vertices of that size would fill their room.
kmg_piece_t likely_layout(const kmg_piece_t &piece, uint64_t vertices, uint64_t room, bool skinned) {
    const bool tangents = piece.tangent_offset != kmg_absent;
    const bool factors = piece.factor_offset != kmg_absent;
    kmg_piece_t best;
    size_t least = SIZE_MAX;
    const auto consider = [&](bool with_tangents, bool with_factors, uint32_t channels) {
        const kmg_piece_t layout = laid_out(piece, vertices, with_tangents, with_factors, channels, skinned);
        size_t wrong = uint64_t{layout.vertex_stride} * piece.vertex_count != room;
        compare(piece, layout, [&](auto...) { ++wrong; });
        if (wrong < least) {
            least = wrong;
            best = layout;
        }
    };
    consider(tangents, factors, std::min(piece.uv_channel_count, kmg_max_uv_channels));
    if (least == 0)
        return best;
    for (uint32_t channels = 0; channels <= kmg_max_uv_channels; ++channels)
        consider(tangents, factors, channels);
    consider(!tangents, factors, piece.uv_channel_count % (kmg_max_uv_channels + 1));
    consider(tangents, !factors, piece.uv_channel_count % (kmg_max_uv_channels + 1));
    return best;
}

// Where the piece's vertices begin, as two of its first three fields have it.
uint64_t vertex_start(const kmg_piece_t &piece) {
    const uint32_t tangent = piece.tangent_offset != kmg_absent ? sizeof(kmg_float4_t) : 0;
    const uint32_t by_normal = piece.normal_offset - uint32_t{sizeof(kmg_float3_t)};
    const uint32_t by_colour = piece.colour_offset - 2 * uint32_t{sizeof(kmg_float3_t)} - tangent;
    return by_normal == by_colour ? by_normal : piece.position_offset;
}

bool structure_check_t::check_piece_counts(const kmg_piece_t &piece, const kmg_fault_t &where) {
    return require(piece.index_count % 3 == 0, where, piece, piece.index_count, "expected a multiple of",
                   3) &&
           require(piece.vertex_count != 0, where, piece, piece.vertex_count, "expected at least", 1) &&
           require(piece.vertex_count <= kmg_max_piece_vertices, where, piece, piece.vertex_count,
                   "expected at most", kmg_max_piece_vertices);
}

void structure_check_t::check_pieces() {
    for (size_t i = 0; i < header_.piece_count; ++i)
        check_piece_counts(piece(i), piece_place(kmg_fault_code_t::count, i));
    if (sound_)
        check_piece_layouts();
    if (sound_)
        check_index_ranges();
}

void structure_check_t::check_piece_layouts() {
    const uint64_t end = uint64_t{header_.vertex_data_offset} + header_.vertex_data_size;
    uint64_t at = header_.vertex_data_offset;
    for (size_t i = 0; i < header_.piece_count; ++i) {
        const kmg_piece_t found = piece(i);
        const uint64_t next = i + 1 < header_.piece_count ? vertex_start(piece(i + 1)) : end;
        const uint64_t room = next - std::min(at, next);
        const kmg_piece_t wanted = likely_layout(found, at, room, header_.bone_count != 0);
        compare(found, wanted, [&](size_t offset, const char *name, uint32_t held, uint32_t expected) {
            const kmg_fault_t where = piece_place(kmg_fault_code_t::piece_layout, i);
            report(
                {where.code, where.kind, where.index, where.byte + offset, name, held, "expected", expected});
        });
        if (sound_)
            require(uint64_t{found.vertex_stride} * found.vertex_count == room,
                    piece_place(kmg_fault_code_t::count, i), found, found.vertex_count,
                    "the vertex data leave room for", room / wanted.vertex_stride);
        // Where the pieces behind a misplaced one begin is anybody's guess.
        if (!sound_)
            return;
        at = next;
    }
    require(at == end, header_place(kmg_fault_code_t::section), header_, header_.vertex_data_size, "expected",
            at - header_.vertex_data_offset);
}

void structure_check_t::check_index_ranges() {
    const auto size = [&](size_t i) {
        return aligned_section_size(uint64_t{piece(i).index_count} * sizeof(uint16_t));
    };
    const auto wrong_start = [&](size_t i, uint64_t expected) {
        const kmg_piece_t record = piece(i);
        report_member(piece_place(kmg_fault_code_t::piece_layout, i), record, record.index_offset, "expected",
                      expected);
    };
    const auto wrong_size = [&](size_t i, uint64_t at, uint64_t next) {
        const kmg_piece_t record = piece(i);
        report_member(piece_place(kmg_fault_code_t::count, i), record, record.index_count,
                      "the index data leave room for",
                      (next - std::min(at, next)) / sizeof(uint16_t) / 3 * 3);
    };
    const uint64_t begin = header_.index_data_offset;
    check_chain(
        header_.piece_count, begin, begin + header_.index_data_size, false,
        [&](size_t i) { return piece(i).index_offset; }, size, wrong_start, wrong_size);
    if (header_.piece_count == 0)
        require(header_.index_data_size == 0, header_place(kmg_fault_code_t::section), header_,
                header_.index_data_size, "expected", 0);
}

void append_number(std::string &text, uint64_t number, const char *field) {
    const bool is_offset = std::string_view(field).ends_with("_offset");
    text += is_offset && number == kmg_absent ? "absent" : std::to_string(number);
}

std::string signature_text(uint64_t found) {
    constexpr uint32_t dependency_file = 0x73726576; // "vers" of "version:"
    if (found == dependency_file)
        return "not a geometry file but a dependency file";
    std::string text = "not a geometry file: begins with bytes";
    for (size_t i = 0; i < sizeof(uint32_t); ++i) {
        constexpr const char *digits = "0123456789ABCDEF";
        text += ' ';
        text += digits[found >> (8 * i + 4) & 0xF];
        text += digits[found >> (8 * i) & 0xF];
    }
    text += ", expected 15 67 6D 4B";
    return text;
}

} // namespace

const char *name_of(kmg_record_kind_t kind) {
    constexpr const char *names[] = {"file", "header", "pool", "bone", "part", "locator", "piece"};
    return names[static_cast<size_t>(kind)];
}

std::string to_text(kmg_record_kind_t kind, uint32_t index) {
    std::string text = name_of(kind);
    if (kind >= kmg_record_kind_t::bone) {
        text += ' ';
        text += std::to_string(index);
    }
    return text;
}

std::string text_of(const kmg_fault_t &fault) {
    if (fault.code == kmg_fault_code_t::signature)
        return signature_text(fault.found);
    std::string text = fault.field;
    text += " is ";
    append_number(text, fault.found, fault.field);
    text += ", ";
    text += fault.wanted;
    text += ' ';
    append_number(text, fault.expected, fault.field);
    return text;
}

std::string to_text(const kmg_fault_t &fault) {
    std::string text = to_text(fault.kind, fault.index);
    text += " (byte ";
    text += std::to_string(fault.byte);
    text += "): ";
    text += text_of(fault);
    return text;
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
