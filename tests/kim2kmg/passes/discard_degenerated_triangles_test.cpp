#include "tests/support/captured_messages.h"
#include "tests/support/mesh_model.h"
#include "tools/conv/kim2kmg/passes/passes.h"

#include <limits>

namespace kestrel {

using change_t = std::function<void(mesh_model_t &)>;

struct cleaned_t {
    explicit cleaned_t(
        const mesh_t &before, const change_t &change = [](mesh_model_t &) {}) {
        const captured_messages_t captured;
        mesh_model_t made({before});
        change(made);
        discard_degenerated_triangles(made.model);
        mesh = made.mesh(0);
        EXPECT_EQ(made.model.pieces[0]->triangles->capacity(), mesh.triangles.size());
        messages = captured.text();
    }

    mesh_t mesh;
    std::string messages;
};

TEST(discard_degenerated_triangles, tolerance) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const struct {
        std::array<float, 3> a, b, c;
        bool proper;
    } cases[] = {
        {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, true},
        {{0, 0, 0}, {0, 0, 3}, {0, 4, 0}, true},
        {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, false}, // on one line, each corner in the middle once
        {{1, 0, 0}, {2, 0, 0}, {0, 0, 0}, false},
        {{2, 0, 0}, {0, 0, 0}, {1, 0, 0}, false},
        {{5, 5, 5}, {5, 5, 5}, {5, 5, 5}, false},
        {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}, false},
        // The tolerance is absolute: a right triangle has half its circumference beyond its longest side by
        // (1 + 1 - sqrt 2) / 2 = 0.29 times its short ones.
        {{0, 0, 0}, {1e-5f, 0, 0}, {0, 1e-5f, 0}, false},
        {{0, 0, 0}, {3e-5f, 0, 0}, {0, 3e-5f, 0}, false}, // 0.88e-5
        {{0, 0, 0}, {4e-5f, 0, 0}, {0, 4e-5f, 0}, true},  // 1.17e-5
        {{0, 0, 0}, {1, 0, 0}, {nan, 1, 0}, false},
        {{0, 0, 0}, {1, 0, 0}, {0, infinity, 0}, false},  // infinity less infinity
        {{0, 0, 0}, {1e30f, 0, 0}, {0, 1e30f, 0}, false}, // the squares overflow
    };
    for (const auto &[a, b, c, proper] : cases)
        for (const bool forwards : {true, false}) {
            const mesh_t one{{a, b, c}, {{forwards ? 0u : 2u, 1, forwards ? 2u : 0u}}};
            EXPECT_EQ(cleaned_t(one).mesh.triangles.size(), proper) << a[0] << ' ' << b[0] << ' ' << c[0];
        }
}

// Vertices 0 to 2 span a triangle, 2 to 4 lie on a line.
static const mesh_t mixed = {
    {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 2, 0}, {0, 3, 0}},
    {{2, 3, 4}, {0, 1, 2}, {5, 5, 5}, {4, 3, 2}, {0xFFFFFFFF, 2, 3}, {1, 0, 2}, {3, 3, 3}}};

TEST(discard_degenerated_triangles, keeps_the_others_and_what_names_no_vertex_in_order) {
    const cleaned_t cleaned(mixed), again(cleaned.mesh);
    EXPECT_EQ(cleaned.mesh, (mesh_t{mixed.positions, {{0, 1, 2}, {5, 5, 5}, {0xFFFFFFFF, 2, 3}, {1, 0, 2}}}));
    EXPECT_EQ(cleaned.messages, "I: [kim2kmg] m.kim: removed 3 degenerated triangles from piece 7\n");
    EXPECT_EQ(again.mesh, cleaned.mesh);
    EXPECT_EQ(again.messages, "");
}

TEST(discard_degenerated_triangles, leaves_foliage_alone_and_reports_what_it_cannot_check) {
    const auto effect = [](const char *name) -> change_t {
        return [name](mesh_model_t &made) { made.model.materials[0]->effect.assign(name); };
    };
    for (const char *name : {"rvk2.leaves.oak", "rvk2.leaves.", "rvk2.dif.billb.grass"}) {
        EXPECT_EQ(cleaned_t(mixed, effect(name)).mesh, mixed) << name;
        EXPECT_EQ(cleaned_t(mixed, effect(name)).messages, "") << name;
    }
    for (const char *name : {"rvk2.leaves", "RVK2.leaves.oak", "rvk2.dif.billb", "x.rvk2.leaves.oak", ""})
        EXPECT_NE(cleaned_t(mixed, effect(name)).mesh, mixed) << name;
    // No such material: none of the foliage either.
    EXPECT_NE(cleaned_t(mixed, [](mesh_model_t &made) { made.model.pieces[0]->material = 1; }).mesh, mixed);

    const cleaned_t lower_case(
        mixed, [](mesh_model_t &made) { made.model.pieces[0]->streams[0]->tag.assign("_Position"); });
    EXPECT_EQ(lower_case.mesh, mixed);
    EXPECT_EQ(lower_case.messages,
              "E: [kim2kmg] m.kim: discard_degenerated_triangles could not find a float3 "
              "_POSITION stream in piece 7\n");
    const captured_messages_t captured;
    const mesh_model_t made({mixed, mixed});
    // The first stream of that name counts.
    made.model.pieces[0]->streams[0]->swap_storage(*made.model.pieces[0]->triangles);
    made.model.pieces[1]->triangles = nullptr;
    discard_degenerated_triangles(made.model);
    EXPECT_EQ(captured.text(), lower_case.messages + "E: [kim2kmg] m.kim: discard_degenerated_triangles "
                                                     "could not find a triangle stream in piece 7\n");
}

} // namespace kestrel
