// Model to geometry file in memory, and that to disk.

#include "benchmarks/stages/inputs.h"
#include "benchmarks/stages/measure.h"
#include "benchmarks/stages/scratch_tree.h"
#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"
#include "tools/conv/kim2kmg/writer/piece_skinning.h"

#include <cstring>
#include <optional>

using namespace kestrel;

namespace {

void write_geometry(benchmark::State &state, input_t input) {
    const parsed_model_t parsed(input);
    std::optional<mem_file_t> geometry;
    size_t bytes = 0;
    for (auto _ : state) {
        geometry.emplace();
        if (!kmg_write(*parsed.model, parsed.skeleton, false, *geometry))
            state.SkipWithError("cannot be written");
        state.PauseTiming();
        bytes = geometry->get_size();
        geometry.reset();
        state.ResumeTiming();
    }
    count_bytes(state, bytes);
}
MEASURE_WITH(write_geometry, "write/plain", input_t::bit_patterns);
MEASURE_WITH(write_geometry, "write/skin", input_t::skinned);
MEASURE_WITH(write_geometry, "write/piece_skins", input_t::piece_skinned);

void skinning(benchmark::State &state, input_t input) {
    const parsed_model_t parsed(input);
    for (auto _ : state) {
        skin_binding_t binding;
        if (!binding.build(*parsed.model, parsed.skeleton))
            state.SkipWithError("cannot be bound");
        for (const kix_piece_t *piece : parsed.model->pieces) {
            vertex_order_t order;
            if (!binding.skin_piece(*piece, order))
                state.SkipWithError("cannot be skinned");
        }
    }
}
MEASURE_WITH(skinning, "skinning/skin", input_t::skinned);
MEASURE_WITH(skinning, "skinning/piece_skins", input_t::piece_skinned);

// A geometry file as large as that of the grid.
constexpr size_t geometry_size = size_t{48} << 20;

void copy_geometry(benchmark::State &state) {
    const scratch_tree_t tree;
    mem_file_t geometry;
    geometry.write(std::vector<std::byte>(geometry_size, std::byte{1}));
    for (auto _ : state) {
        const auto file = file_system()->system_device.open((tree.base() / "copy").c_str(),
                                                            fs_open_mode_t::create_truncate);
        if (!file || !fs_copy(file.get(), &geometry))
            state.SkipWithError("cannot be copied");
    }
    count_bytes(state, geometry_size);
}
MEASURE(copy_geometry, "write/copy_to_disk");

void write_at_once(benchmark::State &state) {
    const scratch_tree_t tree;
    const std::vector<std::byte> geometry(geometry_size, std::byte{1});
    for (auto _ : state) {
        const auto file = file_system()->system_device.open((tree.base() / "copy").c_str(),
                                                            fs_open_mode_t::create_truncate);
        if (!file || !file->write(geometry))
            state.SkipWithError("cannot be written");
    }
    count_bytes(state, geometry_size);
}
MEASURE(write_at_once, "limit/write_to_disk");

void copy_in_memory(benchmark::State &state) {
    const std::vector<std::byte> geometry(geometry_size, std::byte{1});
    std::vector<std::byte> copy(geometry_size);
    for (auto _ : state) {
        std::memcpy(copy.data(), geometry.data(), geometry_size);
        benchmark::ClobberMemory();
    }
    count_bytes(state, geometry_size);
}
MEASURE(copy_in_memory, "limit/copy_geometry");

} // namespace
