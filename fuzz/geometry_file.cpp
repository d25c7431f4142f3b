// Any bytes as a geometry file. The checker finds an error, or everything else can make use of the file.

#include "fuzz/check.h"
#include "fuzz/target.h"
#include "tools/gltf/gltf_export.h"
#include "tools/kmg/kmg_check.h"
#include "tools/kmg/kmg_csv.h"
#include "tools/kmg/kmg_json.h"
#include "tools/kmg/kmg_print.h"

#include <algorithm>

namespace kestrel {

static size_t lines(const std::string &text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

static void show_in_every_way(const kmg_reader_t &file) {
    promise(!print_file("a.kmg", file, {.colour = true}).empty(), "a file is printed");
    promise(diff_kmg(file, file).empty(), "a file does not differ from itself");
    kmg_json_t json;
    json.add_file("a.kmg", file);
    promise(json.text().ends_with("}\n"), "a file is written as JSON");
    for (const kmg_piece_t piece : file.pieces()) {
        promise(lines(vertices_csv(file, piece)) == 1 + piece.vertex_count, "every vertex is dumped");
        promise(lines(indices_csv(file, piece)) == 1 + piece.index_count / 3, "every triangle is dumped");
    }
}

void fuzz_geometry_file(fuzz_input_t input) {
    const auto bytes = std::as_bytes(input);
    const auto findings = check_kmg(bytes);
    print_findings("a.kmg", findings, {});
    const auto file = kmg_reader_t::open(bytes);
    promise(file || has_error(findings), "what the reader refuses is an error");
    if (file)
        show_in_every_way(*file);
    if (!has_error(findings))
        promise(export_glb(*file, "a").starts_with("glTF"), "a file without errors becomes glTF");
}

} // namespace kestrel
