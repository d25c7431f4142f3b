#include "tools/conv/kim2kmg/passes/passes.h"

#include "tests/support/captured_messages.h"
#include "tests/support/padded_text.h"
#include "tests/support/plain_model.h"
#include "tools/conv/intermediate/parse_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace kestrel {

namespace {

// Everything that is drawn at each vertex: the bytes of all streams and of its weights.
std::vector<std::string> vertex_contents(const plain_model_t &model, size_t p) {
    const plain_piece_t &piece = model.pieces[p];
    std::vector<std::string> contents(piece.vertex_count);
    for (const plain_stream_t &stream : piece.streams)
        for (size_t v = 0; v < contents.size(); ++v)
            contents[v] += stream.items[v];
    if (!model.piece_skins.empty())
        for (const plain_skin_item_t &item : model.piece_skins[p].items)
            for (const uint32_t vertex : item.vertices)
                for (const auto &[bone, weight] : item.weights)
                    contents[vertex] += std::to_string(bone) + bytes_of({weight});
    return contents;
}

using drawn_triangle_t = std::array<std::string, 3>;

// By content, in any order; without those that draw nothing since two corners are the same.
std::vector<drawn_triangle_t> drawn_triangles(const plain_model_t &model, size_t p) {
    const auto contents = vertex_contents(model, p);
    std::vector<drawn_triangle_t> drawn;
    for (const auto &[a, b, c] : model.pieces[p].triangles)
        if (contents[a] != contents[b] && contents[b] != contents[c] && contents[c] != contents[a])
            drawn.push_back({contents[a], contents[b], contents[c]});
    std::sort(drawn.begin(), drawn.end());
    return drawn;
}

bool first_uses_ascend(const plain_piece_t &piece) {
    uint32_t next = 0;
    for (const plain_triangle_t &triangle : piece.triangles)
        for (const uint32_t corner : triangle)
            if (corner > next || (next += corner == next, false))
                return false;
    return next == piece.vertex_count;
}

// Vertices that an LRU cache of 32 has to transform.
size_t count_transformed(const plain_piece_t &piece) {
    std::vector<uint32_t> cache; // the most recent one last
    size_t transformed = 0;
    for (const plain_triangle_t &triangle : piece.triangles)
        for (const uint32_t corner : triangle) {
            transformed += std::erase(cache, corner) == 0;
            cache.push_back(corner);
            if (cache.size() > 32)
                cache.erase(cache.begin());
        }
    return transformed;
}

class sample_mesh : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(sample_mesh, draws_the_same_with_fewer_transformed_vertices) {
    captured_messages_t captured;
    owner_list_t owners;
    std::ifstream file(GetParam(), std::ios::binary);
    const padded_text_t text(std::string(std::istreambuf_iterator<char>(file), {}));
    kim_t *const model = parse_model_text(text.view(), "sample", owners);
    ASSERT_TRUE(model) << captured.text();

    const plain_model_t before = plain_copy(*model);
    optimize_for_vertex_cache(*model, false);
    const plain_model_t after = plain_copy(*model);
    if (model->skin) {
        EXPECT_TRUE(after == before);
        EXPECT_EQ(captured.text(), "");
        return;
    }
    captured.clear();
    optimize_for_vertex_cache(*model, true);
    const plain_model_t again = plain_copy(*model);
    EXPECT_EQ(captured.text(), "");

    ASSERT_EQ(after.pieces.size(), before.pieces.size());
    for (size_t p = 0; p < after.pieces.size(); ++p) {
        EXPECT_TRUE(drawn_triangles(after, p) == drawn_triangles(before, p)) << "piece " << p;
        EXPECT_TRUE(drawn_triangles(again, p) == drawn_triangles(before, p)) << "piece " << p;
        EXPECT_TRUE(first_uses_ascend(after.pieces[p])) << "piece " << p;
        EXPECT_TRUE(first_uses_ascend(again.pieces[p])) << "piece " << p;
        auto contents = vertex_contents(after, p);
        std::sort(contents.begin(), contents.end());
        EXPECT_EQ(std::adjacent_find(contents.begin(), contents.end()), contents.end()) << "piece " << p;
        EXPECT_LE(count_transformed(after.pieces[p]), count_transformed(before.pieces[p])) << "piece " << p;
    }
}

std::vector<std::filesystem::path> sample_files() {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(KIM2KMG_SAMPLES))
        if (entry.path().extension() == ".kim")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

INSTANTIATE_TEST_SUITE_P(samples, sample_mesh, testing::ValuesIn(sample_files()),
                         [](const auto &each) { return each.param.stem().string(); });

} // namespace

} // namespace kestrel
