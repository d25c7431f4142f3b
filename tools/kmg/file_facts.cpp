#include "tools/kmg/file_facts.h"

#include <algorithm>

namespace kestrel {

std::array<section_t, 8> sections_of(const kmg_header_t &header) {
    return {{{"header", 0, kmg_header_t::size},
             {"bones", header.bones_offset, uint64_t{header.bone_count} * kmg_bone_data_t::size},
             {"parts", header.parts_offset, uint64_t{header.part_count} * kmg_part_t::size},
             {"locators", header.locators_offset, uint64_t{header.locator_count} * kmg_locator_t::size},
             {"pieces", header.pieces_offset, uint64_t{header.piece_count} * kmg_piece_t::size},
             {"string_pool", header.string_pool_offset, header.string_pool_size},
             {"vertex_data", header.vertex_data_offset, header.vertex_data_size},
             {"index_data", header.index_data_offset, header.index_data_size}}};
}

std::vector<pool_string_t> strings_of(std::string_view pool) {
    std::vector<pool_string_t> strings;
    for (size_t next = 0; next < pool.size() && pool[next] != '\0';) {
        const size_t end = std::min(pool.find('\0', next), pool.size());
        strings.push_back({static_cast<uint32_t>(next), pool.substr(next, end - next)});
        next = end + 1;
    }
    return strings;
}

model_totals_t totals_of(const kmg_reader_t &file) {
    model_totals_t totals;
    for (const kmg_piece_t piece : file.pieces()) {
        totals.vertices += piece.vertex_count;
        totals.triangles += piece.index_count / 3;
    }
    return totals;
}

} // namespace kestrel
