#include "tools/kmg/kmg_print.h"

#include "tools/kmg/kmg_facts.h"
#include "tools/kmg/vertex_cache_statistics.h"

#include <algorithm>
#include <map>

namespace kestrel {

namespace {

constexpr std::string_view bold = "1", faint = "2";

// "FILE: sound, with warnings (0 errors, 1 warning, 3 notes)".
std::string verdict_text(std::string_view name, const finding_counts_t &found, print_style_t style) {
    const severity_t worst = found.errors != 0     ? severity_t::error
                             : found.warnings != 0 ? severity_t::warning
                                                   : severity_t::note;
    const std::string_view verdict = found.errors != 0     ? "not sound"
                                     : found.warnings != 0 ? "sound, with warnings"
                                                           : "sound";
    return concat(name, ": ", coloured(style, worst, verdict), " (", to_text(found), ")\n");
}

std::string name_or_dash(uint64_t token) {
    return token == 0 ? "-" : token_text(token);
}

// "-", "3" or "3-7".
std::string range_text(uint64_t first, uint64_t count) {
    if (count == 0)
        return "-";
    return count == 1 ? concat(first) : concat(first, "-", first + count - 1);
}

std::string count_or_dash(size_t count) {
    return count == 0 ? "-" : concat(count);
}

class file_printer_t {
  public:
    file_printer_t(const kmg_reader_t &file, print_style_t style, const text_sink_t &sink)
        : file_(file), style_(style), sink_(sink) {}

    void print(std::string_view name, const finding_counts_t &found) {
        sink_(verdict_text(styled(style_, bold, name), found, style_));
        print_summary();
        if (style_.all)
            print_sections();
        print_parts();
        print_locators();
        print_pieces();
        if (style_.all)
            print_vertex_caches();
        print_piece_bounds();
        print_texture_coordinates();
        print_vertex_layouts();
        print_bones();
        print_strings();
    }

  private:
    void print_summary();
    void print_sections();
    void print_parts();
    void print_locators();
    void print_pieces();
    void print_vertex_caches();
    void print_piece_bounds();
    void print_texture_coordinates();
    void print_vertex_layouts();
    void print_bones();
    void print_bone(uint32_t index, const std::string &indent, bool root, bool last);
    void print_strings();

    void line(std::string_view text) { sink_(concat(text, "\n")); }
    void heading(std::string_view text) { line(concat("\n", styled(style_, bold, text))); }
    void print_table(std::string_view title, const text_table_t &table) {
        if (table.empty() && !style_.all)
            return;
        heading(title);
        if (table.empty())
            return line("  none");
        table.print([&](bool is_heading, const std::string &row) {
            line(is_heading ? styled(style_, faint, row) : row);
        });
    }

    const kmg_reader_t &file_;
    const print_style_t style_;
    const text_sink_t &sink_;
    bone_set_t moving_;                           // bones that move a vertex
    std::vector<std::vector<uint32_t>> children_; // of each bone
};

void file_printer_t::print_summary() {
    const kmg_header_t &header = file_.header();
    const model_totals_t totals = totals_of(file_);
    line(concat("  ", file_.bytes().size(), " bytes: ", counted_t{header.part_count, "part"}, ", ",
                counted_t{header.piece_count, "piece"}, ", ",
                counted_t{totals.vertices, "vertex", "vertices"}, ", ",
                counted_t{totals.triangles, "triangle"}, ", ", counted_t{header.bone_count, "bone"}, ", ",
                counted_t{header.locator_count, "locator"}));
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
                   concat(fixed_t{100 * share, 1}, "%"), bar});
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
    text_table_t table(
        {"#", "part", "material", "vertices", "copies", "unused", "triangles", "stride", "colour", "bones"});
    const auto parts = parts_of_pieces(file_);
    for (uint32_t i = 0; i < file_.header().piece_count; ++i) {
        const kmg_piece_t piece = file_.pieces()[i];
        const kmg_piece_data_t data = file_.data_of(piece);
        const std::vector<bool> used = used_vertices(piece, data);
        const auto unused = std::count(used.begin(), used.end(), false);
        const auto colours = range_of(data.colours);
        const bone_set_t bones = bones_used(data);
        moving_ |= bones;
        table.add({concat(i), name_or_dash(file_.parts()[parts[i]].name), concat(piece.material),
                   concat(piece.vertex_count), count_or_dash(copied_vertices(file_, piece).size()),
                   count_or_dash(static_cast<size_t>(unused)), concat(piece.index_count / 3),
                   concat(piece.vertex_stride),
                   colours.is_constant() ? values_text(colours.minimum) : "varies",
                   bones.any() ? list_text(members_of(bones, bones.size())) : "-"});
    }
    print_table("Pieces", table);
}

void file_printer_t::print_vertex_caches() {
    text_table_t table({"#", "ACMR 16", "ATVR 16", "ACMR 32", "ATVR 32"});
    for (uint32_t i = 0; i < file_.header().piece_count; ++i) {
        const kmg_piece_t piece = file_.pieces()[i];
        std::vector<std::string> row{concat(i)};
        for (const size_t entries : vertex_cache_sizes) {
            const auto statistics = measure_vertex_cache(file_.data_of(piece).indices, piece.vertex_count,
                                                         vertex_cache_kind_t::fifo, entries);
            row.push_back(concat(fixed_t{statistics.acmr(), 3}));
            row.push_back(concat(fixed_t{statistics.atvr(), 3}));
        }
        table.add(row);
    }
    print_table("Vertex caches", table);
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

void file_printer_t::print_texture_coordinates() {
    text_table_t table({"#", "channel", "slots", "u", "v"});
    for (uint32_t i = 0; i < file_.header().piece_count; ++i) {
        const kmg_piece_t piece = file_.pieces()[i];
        const kmg_piece_data_t data = file_.data_of(piece);
        for (uint32_t channel = 0; channel < piece.uv_channel_count; ++channel) {
            std::vector<uint32_t> slots;
            for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot)
                if (channel_of_slot(piece, slot) == channel)
                    slots.push_back(slot);
            const auto range = range_of(data.uv_channels[channel]);
            const auto component = [&](size_t c) {
                return range.empty ? "-"
                                   : concat(rounded_t{static_cast<double>(range.minimum[c]), 4}, " to ",
                                            rounded_t{static_cast<double>(range.maximum[c]), 4});
            };
            table.add({concat(i), concat("uv", channel), slots.empty() ? "-" : list_text(slots), component(0),
                       component(1)});
        }
    }
    print_table("Texture coordinates", table);
}

// What pieces have in common, each with the pieces that have it.
void file_printer_t::print_vertex_layouts() {
    if (file_.pieces().empty())
        return;
    std::map<std::string, std::vector<uint32_t>> layouts;
    for (uint32_t i = 0; i < file_.header().piece_count; ++i) {
        const kmg_piece_t piece = file_.pieces()[i];
        std::string text = concat(piece.vertex_stride, " bytes:");
        for (const vertex_field_t &field : vertex_fields(piece))
            append(text, concat(" ", field.name, " +", field.offset));
        layouts[text].push_back(i);
    }
    heading("Vertex layouts");
    for (const auto &[layout, pieces] : layouts)
        line(concat("  ", layout, styled(style_, faint, concat("   pieces ", list_text(pieces)))));
}

void file_printer_t::print_bones() {
    const uint32_t count = file_.header().bone_count;
    if (count == 0)
        return;
    uint32_t lost = 0;
    children_.assign(count, {});
    std::vector<uint32_t> roots;
    for (uint32_t i = 0; i < count; ++i) {
        const kmg_bone_data_t bone = file_.bones()[i];
        lost += has_lost_its_name(bone.name, i);
        (bone.parent == kmg_no_parent ? roots : children_[bone.parent]).push_back(i);
    }
    heading("Bones");
    if (lost != 0)
        line(concat("  ", lost, " of ", count, " have lost their names, which are no tokens"));
    if (const auto idle = members_of(~moving_, count); !idle.empty())
        line(concat("  ", idle.size(), " of ", count, " move no vertex: ", list_text(idle)));
    for (const uint32_t root : roots)
        print_bone(root, "  ", true, true);
}

// Parents come before their children, so this goes as deep as there are bones at most: 255.
void file_printer_t::print_bone(uint32_t index, const std::string &indent, bool root, bool last) {
    const kmg_bone_data_t bone = file_.bones()[index];
    const std::string branch = root ? "" : last ? "└─ " : "├─ ";
    std::string transform =
        concat("at ", short_text(kmg_float3_t{bone.matrix[3], bone.matrix[7], bone.matrix[11]}),
               "  translation ", short_text(bone.translation), "  rotation ", short_text(bone.rotation));
    if (const std::string scale = short_text(bone.scale); scale != "1 1 1")
        append(transform, concat("  scale ", scale, " along ", short_text(bone.stretch_rotation)));
    if (bone.sign < 0)
        append(transform, "  mirrored");
    line(concat(indent, branch, name_or_dash(bone.name),
                styled(style_, faint, concat(" #", index, "  ", transform))));
    const std::string deeper = root ? indent : indent + (last ? "   " : "│  ");
    for (size_t i = 0; i < children_[index].size(); ++i)
        print_bone(children_[index][i], deeper, false, i + 1 == children_[index].size());
}

// Line by line and not as a table, which would hold millions of short strings many times over.
void file_printer_t::print_strings() {
    const size_t width =
        std::max(std::string_view("offset").size(), concat(file_.string_pool().size()).size());
    if (file_.string_pool().empty() && !style_.all)
        return;
    heading("String pool");
    if (file_.string_pool().empty())
        return line("  none");
    line(styled(style_, faint, concat("  ", std::string(width - 6, ' '), "offset  text")));
    for_each_string(file_.string_pool(), [&](uint32_t offset, std::string_view text) {
        const std::string number = concat(offset);
        line(concat("  ", std::string(width - number.size(), ' '), number, "  ", quoted(text)));
    });
}

} // namespace

void print_file(std::string_view name, const kmg_reader_t &file, const finding_counts_t &found,
                print_style_t style, const text_sink_t &sink) {
    file_printer_t(file, style, sink).print(name, found);
}

void print_findings(std::string_view name, std::span<const kmg_finding_t> findings, print_style_t style,
                    const text_sink_t &sink) {
    for (const kmg_finding_t &finding : findings) {
        const finding_kind_t &kind = kind_of(finding.code);
        sink(concat(name, ": ", coloured(style, kind.severity, name_of(kind.severity)), ": ",
                    to_text(finding.place), ": ", finding.text, " [", kind.name, "]\n"));
    }
    sink(verdict_text(name, count_findings(findings), style));
}

} // namespace kestrel
