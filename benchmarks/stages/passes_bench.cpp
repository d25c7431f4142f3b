// The geometry passes, and for the vertex cache what a library of such passes needs and what the same steps
// cost when they are taken literally.

#include "benchmarks/stages/inputs.h"
#include "benchmarks/stages/measure.h"
#include "tests/kim2kmg/passes/literal_vertex_cache.h"
#include "tools/conv/kim2kmg/passes/passes.h"

#ifdef KIM2KMG_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif
#include <optional>

using namespace kestrel;

namespace {

template <class pass_t>
void run_pass(benchmark::State &state, input_t input, pass_t pass) {
    std::optional<parsed_model_t> parsed;
    for (auto _ : state) {
        state.PauseTiming();
        parsed.emplace(input);
        state.ResumeTiming();
        pass(*parsed->model);
        state.PauseTiming();
        parsed.reset();
        state.ResumeTiming();
    }
}

void vertex_cache(benchmark::State &state, input_t input) {
    run_pass(state, input, [](kim_t &model) { optimize_for_vertex_cache(model, false); });
}
MEASURE_WITH(vertex_cache, "passes/vertex_cache", input_t::bit_patterns);
MEASURE_WITH(vertex_cache, "passes/vertex_cache_skinned", input_t::piece_skinned);
MEASURE_WITH(vertex_cache, "passes/vertex_cache_small", input_t::small);

void discard(benchmark::State &state) {
    run_pass(state, input_t::bit_patterns, [](kim_t &model) { discard_degenerated_triangles(model); });
}
MEASURE(discard, "passes/discard");

void merge(benchmark::State &state) {
    run_pass(state, input_t::bit_patterns, [](kim_t &model) { merge_part_pieces(model); });
}
MEASURE(merge, "passes/merge");

void literal(benchmark::State &state) {
    const parsed_model_t parsed(input_t::small);
    for (auto _ : state)
        for (const kix_piece_t *piece : parsed.model->pieces)
            benchmark::DoNotOptimize(
                literal_vertex_cache_order(piece->triangles->items_as<triangle_t>(), piece->vertex_count));
}
MEASURE(literal, "limit/literal_vertex_cache_small");

#ifdef KIM2KMG_MESHOPTIMIZER
// A piece as that library wants it.
struct mesh_t {
    std::vector<float> vertices; // interleaved
    std::vector<unsigned> indices;
    size_t vertex_count;
    size_t stride = 0; // in bytes
};

std::vector<mesh_t> meshes_of(const kim_t &model) {
    std::vector<mesh_t> meshes;
    for (const kix_piece_t *piece : model.pieces) {
        mesh_t &mesh = meshes.emplace_back();
        mesh.vertex_count = piece->vertex_count;
        for (const kix_stream_t *stream : piece->streams)
            mesh.stride += stream->item_size();
        for (uint32_t vertex = 0; vertex < piece->vertex_count; ++vertex) {
            for (const kix_stream_t *stream : piece->streams) {
                const auto *item = reinterpret_cast<const float *>(stream->item(vertex).data());
                mesh.vertices.insert(mesh.vertices.end(), item, item + stream->item_size() / sizeof(float));
            }
        }
        for (const auto &[corners] : piece->triangles->items_as<triangle_t>())
            mesh.indices.insert(mesh.indices.end(), corners, corners + 3);
    }
    return meshes;
}

void meshoptimizer(benchmark::State &state) {
    const std::vector<mesh_t> meshes = meshes_of(*parsed_model_t(input_t::bit_patterns).model);
    std::vector<unsigned> remap(grid_t::most_piece_vertices);
    std::vector<unsigned> indices;
    std::vector<float> vertices;
    for (const mesh_t &mesh : meshes) {
        indices.resize(std::max(indices.size(), mesh.indices.size()));
        vertices.resize(std::max(vertices.size(), mesh.vertices.size()));
    }
    for (auto _ : state) {
        for (const mesh_t &mesh : meshes) {
            const size_t count = mesh.indices.size();
            meshopt_generateVertexRemap(remap.data(), mesh.indices.data(), count, mesh.vertices.data(),
                                        mesh.vertex_count, mesh.stride);
            meshopt_optimizeVertexCache(indices.data(), mesh.indices.data(), count, mesh.vertex_count);
            meshopt_optimizeVertexFetch(vertices.data(), indices.data(), count, mesh.vertices.data(),
                                        mesh.vertex_count, mesh.stride);
        }
    }
}
MEASURE(meshoptimizer, "limit/meshoptimizer");
#endif

} // namespace
