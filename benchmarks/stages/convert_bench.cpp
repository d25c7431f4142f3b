// The whole road of one file, from disk to disk, and its first step.

#include "benchmarks/stages/inputs.h"
#include "benchmarks/stages/measure.h"
#include "benchmarks/stages/scratch_tree.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/convert_file.h"

using namespace kestrel;

namespace {

bool read_through_window(file_t &file) {
    text_window_t window(file, text_window_t::usual_size);
    while (!window.is_last())
        window.move_to(window.end());
    return !window.failed();
}

void read(benchmark::State &state) {
    const scratch_tree_t tree;
    const std::string_view text = text_of(input_t::bit_patterns);
    tree.add("grid.kim", text);
    for (auto _ : state) {
        const auto file =
            file_system()->system_device.open((tree.base() / "grid.kim").c_str(), fs_open_mode_t::read);
        if (!file || !read_through_window(*file))
            state.SkipWithError("cannot be read");
    }
    count_bytes(state, text.size());
}
MEASURE(read, "read/bit_patterns");

void convert(benchmark::State &state, input_t input, const option_flags_t &options) {
    const scratch_tree_t tree;
    const std::string_view text = text_of(input);
    tree.add("p/grid.kim", text);
    text_writer_t skeleton;
    write_skeleton(model_style_t().bones, skeleton);
    tree.add("p/grid.kis", skeleton.buffer());
    rcfs_device_t device(*file_system(), tree.base().c_str(), "p");
    for (auto _ : state)
        if (!convert_file(device, "/grid.kim", options))
            state.SkipWithError("does not convert");
    count_bytes(state, text.size());
}
constexpr option_flags_t no_passes{};
constexpr option_flags_t vertex_cache{.optimize_for_vertex_cache = true};
MEASURE_WITH(convert, "convert/bit_patterns", input_t::bit_patterns, no_passes);
MEASURE_WITH(convert, "convert/bit_patterns_vertex_cache", input_t::bit_patterns, vertex_cache);
MEASURE_WITH(convert, "convert/decimals", input_t::decimals, no_passes);
MEASURE_WITH(convert, "convert/skin", input_t::skinned, no_passes);
MEASURE_WITH(convert, "convert/piece_skins", input_t::piece_skinned, no_passes);
MEASURE_WITH(convert, "convert/piece_skins_vertex_cache", input_t::piece_skinned, vertex_cache);

} // namespace
