// Skinned models that go wrong or only nearly right: exact messages, and outputs only where there should be
// one.

#include "tests/support/asset_tree.h"
#include "tests/support/model_text.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

const std::filesystem::path golden_folder = std::filesystem::path(KIM2KMG_TEST_DATA) / "golden";
const std::string good_model = read_whole_file(golden_folder / "skinned.kim");
const std::string good_skeleton = read_whole_file(golden_folder / "skinned.kis");

// The same skin as one Skin paragraph.
const std::string skin_paragraph = R"(Skin {
	StreamCount: 1
	SkinStream {
		Format: FLOAT3
		Tag: "_POSITION"
		ItemCount: 2
		TotalWeightCount: 3
		TotalCloneCount: 3
		0 ( ( 6.0 0.0 0.0 ) Weights: 2  0 0.5  1 0.5  Clones: 1  0 1 )
		1 ( ( 0.0 0.0 0.0 ) Weights: 1  0 1  Clones: 2  0 0  0 2 )
	}
}
)";
const std::string skin_model = [] {
    const std::string model = edited(good_model, "\tPieceSkinCount: 1\n", "");
    return model.substr(0, model.find("PieceSkin {")) + skin_paragraph;
}();

// Runs the conversion; "$" in expected lines stands for the project's folder.
struct skinned_run_t {
    skinned_run_t(const std::string &model, const std::string &skeleton) {
        tree.add_source("model/skinned.kim", model);
        tree.add_source("model/skinned.kis", skeleton);
        run = tree.run({"/model/skinned.kim", "-root", "project"});
        const std::string project = (canonical(tree.base()) / "project").generic_string();
        for (size_t at; (at = run.errors.find(project)) != std::string::npos;)
            run.errors.replace(at, project.size(), "$");
    }
    asset_tree_t tree;
    program_run_t run;
};

const std::string source = "<$ | >/model/skinned.kim";
const std::string skeleton_source = "<$ | >/model/skinned.kis";

TEST(skinned_conversion, what_is_refused_leaves_no_output) {
    const auto error = [](const std::string &message) { return "*** ERROR *** : " + message + "\r\n"; };
    const auto of_writer = [&](const std::string &message) {
        return error("[kim2kmg] " + message) +
               "*** WARNING *** : Expected rcfs_device_t::perform_conversion() "
               "to be true, but it is not.\r\n";
    };
    const auto of_model = [&](const std::string &message) { return of_writer(source + ": " + message); };
    const auto of_skeleton = [&](const std::string &message) {
        return of_writer(skeleton_source + ": " + message);
    };
    const std::string two_weights = "0 0.5  1 0.5", clones = "Clones: 2  0 0  0 2";
    const std::string cannot_parse = error("cannot parse /model/skinned.kis");
    const struct {
        std::string model;
        std::string skeleton;
        std::string errors;
    } cases[] = {
        {edited(good_model, "VertexIndices: 2  0 2", "VertexIndices: 2  0 0"), good_skeleton,
         of_model("vertex 2 of piece 0 has no skin")},
        {edited(edited(good_model, "VertexIndices: 2  0 2", "VertexIndices: 3  0 2 3"),
                "TotalVertexIndexCount: 3", "TotalVertexIndexCount: 4"),
         good_skeleton, of_model("skin item 1 names vertex 3 of piece 0, which has 3")},
        {edited(good_model, two_weights, "0 0.5  -1 0.5"), good_skeleton,
         of_model("skin item 0 uses bone 4294967295 of 2")},
        {edited(good_model, two_weights, "0 0.001  1 0.0"), good_skeleton,
         of_model("has at least one vertex with no influential bones")},
        {edited(good_model, "1 ( \"Hips.L\" )", "1 ( \"Hips\" )"), good_skeleton,
         of_model("cannot find mapping for kim bone 'Hips'")},
        {edited(skin_model, clones, "Clones: 2  0 0  1 2"), good_skeleton,
         of_model("vertex 2 of piece 0 has no skin")},
        {edited(skin_model, clones, "Clones: 2  0 0  0 -1"), good_skeleton,
         of_model("skin item 1 names vertex 4294967295 of piece 0, which has 3")},
        // Bones that do not hang together.
        {good_model, edited(good_skeleton, "Parent: \"Hips.L\"", "Parent: \"hips.l\""),
         of_skeleton("cannot match parent bone 'hips.l' with skeleton")},
        {good_model, edited(good_skeleton, "Parent: \"Hips.L\"", "Parent: \"Spine\""),
         of_skeleton("circular parentship ordering - bone: 'Spine' parent: 'Spine' index: 1")},
        {good_model, edited(good_skeleton, "Parent: \"\"", "Parent: \"Spine\""),
         of_skeleton("incorrect bone ordering - bone: 'Hips.L' (0) < parent: 'Spine' (1)")},
        // Skeletons that cannot be read.
        {edited(good_model, "skinned.kis", "none.kis"), "", error("/model/none.kis: failed to open")},
        {edited(good_model, "skinned.kis", ""), "",
         error("[fs] $/model/: not a regular file, or not supported by its file system") +
             error("/model/: failed to open")},
        {good_model, "", error(skeleton_source + ":1: syntax error [ token '' ]") + cannot_parse},
        {good_model, one_triangle_model,
         error(skeleton_source + ":6: unsupported FormatVersion [ token '}' ]") +
             error(skeleton_source + ":8: syntax error [ token 'VertexCount' ]") + cannot_parse},
    };
    for (const auto &each : cases) {
        const skinned_run_t refused(each.model, each.skeleton);
        EXPECT_EQ(refused.run.status, 1) << each.errors;
        EXPECT_EQ(refused.run.errors, each.errors);
        EXPECT_EQ(refused.tree.products(), std::vector<std::string>()) << each.errors;
    }
}

TEST(skinned_conversion, the_hash_is_that_of_the_path_as_given) {
    const asset_tree_t tree;
    tree.add_source("model/a.kim", edited(good_model, "skinned.kis", "../skel/s.kis"));
    tree.add_source("skel/s.kis", good_skeleton);
    const auto hash_field = [&] { return read_whole_file(tree.output("model/a.kmg")).substr(24, 8); };
    const auto run = [&](const std::string &name) { return tree.run({name, "-root", "project"}); };

    EXPECT_EQ(run("/model/a.kim").status, 0);
    const std::string absolute = hash_field();
    EXPECT_EQ(read_whole_file(tree.record("model/a.kmg")),
              "version:3\r\n/model/a.kim\r\n/model/../skel/s.kis\r\n");
    EXPECT_EQ(run("model/a.kim").status, 0);
    EXPECT_NE(hash_field(), absolute);
    // A path that climbs above its start cannot be resolved, and neither can its output be opened.
    const program_run_t climbing = run("/../project/model/a.kim");
    EXPECT_EQ(climbing.status, 1);
    EXPECT_TRUE(climbing.errors.starts_with("*** ERROR *** : [kis] Error computing skeleton hash! "
                                            "(/../project/model/../skel/s.kis)\r\n"));
}

} // namespace

} // namespace kestrel
