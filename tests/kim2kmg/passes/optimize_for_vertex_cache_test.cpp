#include "tests/kim2kmg/passes/literal_vertex_cache.h"
#include "tests/support/captured_messages.h"
#include "tests/support/mesh_model.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include <algorithm>
#include <random>

namespace kestrel {

namespace {

// Triangles around a few hubs, which are the first vertices: fans, loose triangles and patches, the same
// again and again; and triangles between any vertices.
class random_triangles_t {
  public:
    explicit random_triangles_t(uint32_t seed) : random_(seed) {}

    std::vector<triangle_t> make() {
        hubs_ = next_ = 2 + below(3);
        kind_ = below(12);
        shared_ = next_;
        next_ += 4;
        for (const uint32_t count = 20 + below(one_in(8) ? 1200 : 200); triangles_.size() < count;)
            extend(kind_ == 8 ? below(7) : kind_, below(hubs_));
        if (one_in(4))
            for (uint32_t i = below(10); i > 0; --i)
                triangles_.push_back(triangles_[below(static_cast<uint32_t>(triangles_.size()))]);
        if (one_in(2))
            std::shuffle(triangles_.begin(), triangles_.end(), random_);
        return triangles_;
    }
    uint32_t vertex_count() const { return next_; }

  private:
    uint32_t below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }
    bool one_in(uint32_t n) { return below(n) == 0; }

    void add(uint32_t a, uint32_t b, uint32_t c) {
        if (a != b && b != c && c != a)
            triangles_.push_back({{a, b, c}});
        next_ = std::max({next_, a + 1, b + 1, c + 1});
    }
    void add_grid(uint32_t columns, uint32_t rows) {
        const uint32_t first = next_;
        for (uint32_t y = 0; y < rows; ++y)
            for (uint32_t x = 0; x < columns; ++x) {
                const uint32_t a = first + y * (columns + 1) + x, b = a + columns + 1;
                add(a, a + 1, b);
                add(a + 1, b + 1, b);
            }
    }

    void extend(uint32_t kind, uint32_t hub) {
        const uint32_t first = next_;
        switch (kind) {
        case 0: // a fan
            for (uint32_t i = 1 + below(60); i > 0; --i)
                add(hub, next_, next_ + 1);
            break;
        case 1: // between two hubs
            add(hub, (hub + 1) % hubs_, next_ - below(2));
            break;
        case 2: // a patch that touches a hub here and there, often large enough to push it out of the cache
            add_grid(1 + below(9), 1 + below(5));
            for (uint32_t i = below(8); i > 0; --i)
                add(hub, first + below(next_ - first), first + below(next_ - first));
            break;
        case 3: // few vertices
            add(hub, next_ + below(3), next_ + 3 + below(3));
            break;
        case 4: // patches that are all the same and that a hub sees along a side
            add_grid(5, 6);
            for (uint32_t i = 0; i < 5; ++i)
                add(0, first + i, first + i + 1);
            break;
        case 5: // loose patches that push a hub out of the cache and leave some of its triangles behind
            add_grid(6 + below(4), 5 + below(5));
            for (uint32_t i = below(40); i > 0; --i)
                add(hub, first + below(10), shared_ + below(4));
            break;
        case 6: // loose
            add(next_, next_ + 1, next_ + 2);
            break;
        default: // any vertices; now and then a hub has better triangles left when grouping is given up
            add(below(60), below(60), below(60));
        }
    }

    std::mt19937 random_;
    std::vector<triangle_t> triangles_;
    uint32_t hubs_ = 0, shared_ = 0, next_ = 0, kind_ = 0;
};

} // namespace

// Grouping the triangles of hubs, giving that up before or in the middle of the work, and never doing so must
// all give the same order. Calling vertices of a few triangles hubs shows it on small meshes.
TEST(vertex_cache_order, is_the_literal_one_however_triangles_are_grouped) {
    for (uint32_t seed = 0; seed < 300; ++seed) {
        random_triangles_t random(seed);
        const std::vector<triangle_t> triangles = random.make();
        const auto expected = literal_vertex_cache_order(triangles, random.vertex_count());
        ASSERT_EQ(expected.size(), triangles.size());
        // The larger the groups must be, the earlier they are given up.
        for (const uint32_t group_size : {1000u, 0u, 1u, 2u, 3u, 5u, 8u})
            for (const uint32_t use_count : {65u, 2u, 3u, 4u, 5u, 6u, 10u}) {
                vertex_cache_order_t order({use_count, group_size});
                ASSERT_TRUE(std::ranges::equal(order.run(triangles, random.vertex_count()), expected))
                    << "seed " << seed << ", hubs from " << use_count << ", groups of " << group_size;
            }
    }
}

TEST(optimize_for_vertex_cache, merged_and_dropped_by_hand) {
    // Vertices 1, 3 and 6 are the same, and so are 2 and 5; vertex 7 is not used, 0 equals 7 but for the sign
    // of a zero.
    const mesh_t before = {
        {{0.0f, 0, 0}, {1, 0, 0}, {0, 1.5f, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1.5f, 0}, {1, 0, 0}, {-0.0f, 0, 0}},
        {{1, 6, 4}, {3, 4, 5}, {0, 1, 2}}};
    for (const bool verbose : {true, false}) {
        const captured_messages_t captured;
        const mesh_model_t meshes({before});
        optimize_for_vertex_cache(meshes.model, verbose);
        // The first of two triangles that score the same comes first, as it was written.
        EXPECT_EQ(meshes.mesh(0),
                  (mesh_t{{{1, 0, 0}, {1, 1, 0}, {0, 1.5f, 0}, {0.0f, 0, 0}}, {{0, 1, 2}, {3, 0, 2}}}));
        const std::string merged =
            "I: [kim2kmg] m.kim: reduced number of vertices by 4 from 8 to 4 in piece 0 using "
            "material 'paint' with effect 'rvk2.dif'\n";
        const std::string places = "I: [kim2kmg] m.kim:    1.000000, 0.000000, 0.000000\n"
                                   "I: [kim2kmg] m.kim:    0.000000, 1.500000, 0.000000\n";
        const std::string dropped =
            "I: [kim2kmg] m.kim: reduced number of triangles from 3 to 2 in piece 0 using "
            "material 'paint' with effect 'rvk2.dif'\n";
        EXPECT_EQ(captured.text(), merged + (verbose ? places : "") + dropped);
    }
}

TEST(optimize_for_vertex_cache, leaves_alone_what_is_not_for_it) {
    const std::vector<std::array<float, 3>> same(4, {0, 0, 0});
    const mesh_t good{same, {{0, 1, 2}}};
    const struct {
        mesh_t mesh;
        void (*change)(mesh_model_t &);
    } cases[] = {
        {{same, {}}, [](mesh_model_t &) {}},
        {{{}, {{0, 0, 0}}}, [](mesh_model_t &) {}},
        {{same, {{0, 1, 2}, {1, 2, 4}}}, [](mesh_model_t &) {}},
        {{same, {{0xFFFFFFFF, 1, 2}}}, [](mesh_model_t &) {}},
        // A piece skin of fewer vertices than the piece has, and a skin of the whole model.
        {good,
         [](mesh_model_t &made) {
             made.model.piece_skins.push_back(made.owners.create<kim_piece_skin_t>());
         }},
        {good, [](mesh_model_t &made) { made.model.skin = made.owners.create<kim_skin_t>(); }},
    };
    for (const auto &[mesh, change] : cases) {
        const captured_messages_t captured;
        mesh_model_t meshes({mesh});
        change(meshes);
        optimize_for_vertex_cache(meshes.model, true);
        EXPECT_EQ(meshes.mesh(0), mesh);
        EXPECT_EQ(captured.text(), "");
    }
}

} // namespace kestrel
