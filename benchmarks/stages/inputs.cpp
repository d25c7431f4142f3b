#include "benchmarks/stages/inputs.h"

#include "kcore/core/core.h"
#include "tools/conv/intermediate/parse_file.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>

namespace kestrel {

namespace {

// Like the converter.
[[maybe_unused]] const bool keeps_freed_memory = (keep_freed_memory(), true);

[[noreturn]] void give_up(const char *what) {
    std::fprintf(stderr, "benchmark: %s\n", what);
    std::exit(1);
}

std::string grid_text(uint64_t vertices, const model_style_t &style) {
    text_writer_t out;
    write_model(*grid_t::plan(vertices, 0), style, out);
    return std::string(out.buffer());
}

std::string sample_text() {
    std::ifstream stream(KIM2KMG_SAMPLES "/model/actor/knight.kim", std::ios::binary);
    if (!stream)
        give_up("cannot read the samples");
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string make_text(input_t input) {
    switch (input) {
    case input_t::bit_patterns:
        return grid_text(grid_vertices, {});
    case input_t::decimals:
        return grid_text(grid_vertices, {.numbers = number_style_t::six_decimals});
    case input_t::skinned:
        return grid_text(skinned_grid_vertices, {.skin = skin_style_t::model});
    case input_t::piece_skinned:
        return grid_text(skinned_grid_vertices, {.skin = skin_style_t::pieces});
    case input_t::small:
        return grid_text(small_grid_vertices, {});
    case input_t::sample:
        return sample_text();
    }
    return {};
}

} // namespace

std::string_view text_of(input_t input) {
    static std::optional<input_t> kept;
    static std::string text;
    if (kept != input) {
        text.clear();
        text = make_text(input);
        kept = input;
    }
    return text;
}

std::string_view flat_decimals() {
    static const std::string text = [] {
        const parsed_model_t parsed(input_t::bit_patterns);
        text_writer_t out;
        for (const kix_piece_t *piece : parsed.model->pieces) {
            for (const kix_stream_t *stream : piece->streams) {
                const auto *values = reinterpret_cast<const float *>(stream->bytes().data());
                for (size_t i = 0; i < stream->bytes().size() / sizeof(float); ++i) {
                    out.decimal(values[i]);
                    out.text(" ");
                }
            }
        }
        return std::string(out.buffer());
    }();
    return text;
}

parsed_model_t::parsed_model_t(input_t input) : model(parse_model_text(text_of(input), "grid.kim", owners)) {
    if (!model)
        give_up("the model does not parse");
    if (!model->has_skinning())
        return;
    text_writer_t out;
    write_skeleton(model_style_t().bones, out);
    skeleton = parse_skeleton_text(out.buffer(), "grid.kis", owners);
    if (!skeleton)
        give_up("the skeleton does not parse");
}

} // namespace kestrel
