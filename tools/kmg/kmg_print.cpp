#include "tools/kmg/kmg_print.h"

#include "tools/kmg/file_facts.h"
#include "tools/kmg/kmg_text.h"
#include "tools/kmg/piece_facts.h"
#include "tools/kmg/text_table.h"
#include "tools/kmg/token_text.h"
#include "tools/kmg/vertex_cache_statistics.h"

#include <algorithm>
#include <map>

namespace kestrel {

namespace {

constexpr std::string_view bold = "1", faint = "2", red = "31", yellow = "33", green = "32";

std::string name_or_dash(uint64_t token) {
    return token == 0 ? "-" : token_text(token);
}

// "-", "3" or "3-7".
std::string range_text(uint64_t first, uint64_t count) {
    if (count == 0)
        return "-";
    return count == 1 ? concat(first) : concat(first, "-", first + count - 1);
}

class file_printer_t {
  public:
    file_printer_t(const kmg_reader_t &file, print_style_t style) : file_(file), style_(style) {}

    std::string print(std::string_view name) {
        print_summary(name);
        print_sections();
        print_parts();
        print_locators();
        print_pieces();
        print_piece_bounds();
        print_vertex_layouts();
        print_texture_coordinates();
        print_bones();
        print_strings();
        return std::move(text_);
    }

  private:
    void print_summary(std::string_view name);
    void print_sections();
    void print_parts();
    void print_locators();
    void print_pieces();
    void print_piece_bounds();
    void print_vertex_layouts();
    void print_texture_coordinates();
    void print_bones();
    void print_bone(uint32_t index, const std::string &indent, bool root, bool last);
    void print_strings();

    void line(std::string_view text) {
        text_ += text;
        text_ += '\n';
    }
    std::string styled(std::string_view code, std::string_view text) const {
        return style_.colour ? concat("\x1b[", code, "m", text, "\x1b[0m") : std::string(text);
    }
    void heading(std::string_view text) { line(concat("\n", styled(bold, text))); }
    void print_table(std::string_view title, const text_table_t &table) {
        if (table.empty())
            return;
        heading(title);
        table.print(
            [&](bool is_heading, const std::string &row) { line(is_heading ? styled(faint, row) : row); });
    }
    // What pieces have in common, each with the pieces that have it.
    void print_groups(std::string_view title, auto &&describe) {
        if (file_.pieces().empty())
            return;
        std::map<std::string, std::vector<uint32_t>> groups;
        for (uint32_t i = 0; i < file_.header().piece_count; ++i)
            groups[describe(file_.pieces()[i])].push_back(i);
        heading(title);
        for (const auto &[description, pieces] : groups)
            line(concat("  ", description, styled(faint, concat("   pieces ", list_text(pieces)))));
    }
    static std::string list_text(const std::vector<uint32_t> &sorted);

    const kmg_reader_t &file_;
    print_style_t style_;
    std::string text_;
    std::vector<std::vector<uint32_t>> children_; // of each bone
};

// "0-3, 7".
std::string file_printer_t::list_text(const std::vector<uint32_t> &sorted) {
    std::string text;
    for (size_t i = 0; i < sorted.size();) {
        size_t end = i + 1;
        while (end < sorted.size() && sorted[end] == sorted[end - 1] + 1)
            ++end;
        append(text, concat(text.empty() ? "" : ", ", range_text(sorted[i], end - i)));
        i = end;
    }
    return text;
}

void file_printer_t::print_summary(std::string_view name) {
    const kmg_header_t &header = file_.header();
    const model_totals_t totals = totals_of(file_);
    line(styled(bold, name));
    line(concat("  ", file_.bytes().size(), " bytes: ", header.part_count, " parts, ", header.piece_count,
                " pieces, ", totals.vertices, " vertices, ", totals.triangles, " triangles, ",
                header.bone_count, " bones, ", header.locator_count, " locators"));
    if (header.skeleton_hash != 0)
        line(concat("  skeleton  hash ", hex_t{header.skeleton_hash}, ", ", header.influence_count,
                    " influences per vertex"));
    if (totals.vertices == 0)
        return line("  no vertices, so no bounds");
    kmg_float3_t extent;
    for (size_t i = 0; i < 3; ++i)
        extent[i] = header.box.maximum[i] - header.box.minimum[i];
    line(concat("  box       ", short_text(header.box.minimum), "  to  ", short_text(header.box.maximum),
                "  (extent ", short_text(extent), ")"));
    line(concat("  sphere    centre ", short_text(header.sphere.centre), "  radius ",
                short_text({&header.sphere.radius, 1})));
}

void file_printer_t::print_sections() {
    constexpr double bar_length = 40;
    text_table_t table({"section", "offset", "bytes", "share", ""});
    for (const section_t &section : sections_of(file_.header())) {
        const double share = static_cast<double>(section.size) / static_cast<double>(file_.bytes().size());
        std::string bar;
        // Something, however little, shows.
        for (double length = 0; length < share * bar_length; ++length)
            bar += "█";
        table.add({section.name, concat(section.offset), concat(section.size),
                   concat(fixed_t{100 * share, 1}, "%"), std::move(bar)});
    }
    print_table("Sections", table);
}

void file_printer_t::print_parts() {
    text_table_t table({"#", "name", "pieces", "locators"});
    for (size_t i = 0; i < file_.parts().size(); ++i) {
        const kmg_part_t part = file_.parts()[i];
        table.add({concat(i), name_or_dash(part.name), range_text(part.first_piece, part.piece_count),
                   range_text(part.first_locator, part.locator_count)});
    }
    print_table("Parts", table);
}

void file_printer_t::print_locators() {
    text_table_t table({"#", "name", "position", "rotation w x y z", "hookup"});
    for (size_t i = 0; i < file_.locators().size(); ++i) {
        const kmg_locator_t locator = file_.locators()[i];
        const auto hookup = file_.hookup_of(locator);
        table.add({concat(i), name_or_dash(locator.name), short_text(locator.position),
                   short_text(locator.rotation), hookup ? quoted(*hookup) : "-"});
    }
    print_table("Locators", table);
}

void file_printer_t::print_pieces() {
    text_table_t table({"#", "part", "material", "vertices", "triangles", "stride", "indices", "ACMR 16",
                        "ATVR 16", "ACMR 32", "ATVR 32"});
    const auto parts = parts_of_pieces(file_);
    for (uint32_t i = 0; i < file_.header().piece_count; ++i) {
        const kmg_piece_t piece = file_.pieces()[i];
        const kmg_piece_data_t data = file_.data_of(piece);
        const auto range = index_range(data.indices);
        std::vector<std::string> row{concat(i),
                                     name_or_dash(file_.parts()[parts[i]].name),
                                     concat(piece.material),
                                     concat(piece.vertex_count),
                                     concat(piece.index_count / 3),
                                     concat(piece.vertex_stride),
                                     range ? concat(range->first, "-", range->last) : "-"};
        for (const size_t entries : vertex_cache_sizes) {
            const auto statistics =
                measure_vertex_cache(data.indices, piece.vertex_count, vertex_cache_kind_t::fifo, entries);
            row.push_back(concat(fixed_t{statistics.acmr(), 3}));
            row.push_back(concat(fixed_t{statistics.atvr(), 3}));
        }
        table.add(std::move(row));
    }
    print_table("Pieces", table);
}

void file_printer_t::print_piece_bounds() {
    text_table_t table({"#", "box minimum", "box maximum", "sphere centre", "radius"});
    for (uint32_t i = 0; i < file_.header().piece_count; ++i) {
        const kmg_piece_t piece = file_.pieces()[i];
        table.add({concat(i), short_text(piece.box.minimum), short_text(piece.box.maximum),
                   short_text(piece.sphere.centre), short_text({&piece.sphere.radius, 1})});
    }
    print_table("Bounds of the pieces", table);
}

void file_printer_t::print_vertex_layouts() {
    print_groups("Vertex layouts", [](const kmg_piece_t &piece) {
        std::string text = concat(piece.vertex_stride, " bytes:");
        for (const vertex_field_t &field : vertex_fields(piece))
            append(text, concat(" ", field.name, " +", field.offset));
        return text;
    });
}

void file_printer_t::print_texture_coordinates() {
    print_groups("Texture coordinates", [](const kmg_piece_t &piece) {
        std::string text;
        for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot)
            if (const auto channel = channel_of_slot(piece, slot))
                append(text, concat(text.empty() ? "" : ", ", "slot ", slot, " from uv", *channel));
        return concat(hex_t{piece.texture_coordinate_map}, ": ", text.empty() ? "none" : text);
    });
}

void file_printer_t::print_bones() {
    const uint32_t count = file_.header().bone_count;
    if (count == 0)
        return;
    heading("Bones");
    children_.assign(count, {});
    std::vector<uint32_t> roots;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t parent = file_.bones()[i].parent;
        (parent == kmg_no_parent ? roots : children_[parent]).push_back(i);
    }
    for (const uint32_t root : roots)
        print_bone(root, "  ", true, true);
}

// Parents come before their children, so this goes as deep as there are bones at most: 255.
void file_printer_t::print_bone(uint32_t index, const std::string &indent, bool root, bool last) {
    const kmg_bone_data_t bone = file_.bones()[index];
    const std::string branch = root ? "" : last ? "└─ " : "├─ ";
    std::string transform =
        concat("translation ", short_text(bone.translation), "  rotation ", short_text(bone.rotation));
    if (const std::string scale = short_text(bone.scale); scale != "1 1 1")
        append(transform, concat("  scale ", scale, " along ", short_text(bone.stretch_rotation)));
    if (bone.sign < 0)
        append(transform, "  mirrored");
    line(
        concat(indent, branch, name_or_dash(bone.name), styled(faint, concat(" #", index, "  ", transform))));
    const std::string deeper = root ? indent : indent + (last ? "   " : "│  ");
    for (size_t i = 0; i < children_[index].size(); ++i)
        print_bone(children_[index][i], deeper, false, i + 1 == children_[index].size());
}

void file_printer_t::print_strings() {
    text_table_t table({"offset", "text"});
    for (const pool_string_t &string : strings_of(file_.string_pool()))
        table.add({concat(string.offset), quoted(string.text)});
    print_table("String pool", table);
}

} // namespace

std::string print_file(std::string_view name, const kmg_reader_t &file, print_style_t style) {
    return file_printer_t(file, style).print(name);
}

std::string print_findings(std::string_view name, std::span<const kmg_finding_t> findings,
                           print_style_t style) {
    const auto styled = [&](severity_t severity, std::string_view text) {
        const std::string_view code = severity == severity_t::error     ? red
                                      : severity == severity_t::warning ? yellow
                                                                        : green;
        return style.colour ? concat("\x1b[", code, "m", text, "\x1b[0m") : std::string(text);
    };
    std::string text;
    size_t counts[3] = {};
    for (const kmg_finding_t &finding : findings) {
        const finding_kind_t &kind = kind_of(finding.code);
        append(text, concat(name, ": ", styled(kind.severity, name_of(kind.severity)), ": ",
                            to_text(finding.place), ": ", finding.text, " [", kind.name, "]\n"));
        counts[static_cast<size_t>(kind.severity)] += std::max(finding.more, 1u);
    }
    const auto [notes, warnings, errors] = counts;
    const std::string verdict = errors != 0     ? styled(severity_t::error, "not sound")
                                : warnings != 0 ? styled(severity_t::warning, "sound, with warnings")
                                                : styled(severity_t::note, "sound");
    append(text, concat(name, ": ", verdict, " (", errors, " errors, ", warnings, " warnings, ", notes,
                        " notes)\n"));
    return text;
}

std::string print_differences(std::span<const kmg_difference_t> differences) {
    std::string text;
    for (const kmg_difference_t &difference : differences)
        append(text, concat(to_text(difference), "\n"));
    return text;
}

} // namespace kestrel
