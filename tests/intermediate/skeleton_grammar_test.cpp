#include "tests/support/model_text.h"
#include "tests/support/parsed_text.h"

#include <gtest/gtest.h>

namespace kestrel {

static const std::string two_bone_skeleton = R"(Header {
	FormatVersion: 1
	Source: "test"
	Type: "Skeleton"
	Name: "two"
}
Global {
	BoneCount: 2
}
Bones {
	0 ( Name: "root" Parent: ""
		Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 )
	)
	1 ( Name: "arm" Parent: "root"
		Matrix: ( 2.0 0.0 0.0 4.0 0.0 2.0 0.0 6.0 0.0 0.0 2.0 8.0 0.0 0.0 0.0 1.0 )
	)
}
)";

TEST(skeleton_grammar, a_skeleton_is_kept_as_written) {
    const parsed_skeleton_t parsed(two_bone_skeleton);
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_EQ(parsed.messages, "");
    const kis_t &skeleton = *parsed.root;
    EXPECT_EQ(skeleton.header->type.view(), "Skeleton");
    EXPECT_EQ(skeleton.global->bone_count, 2u);
    EXPECT_EQ(skeleton.hash, 0u);
    ASSERT_EQ(skeleton.bones->bones().size(), 2u);
    const kis_bone_t &arm = skeleton.bones->bones()[1];
    EXPECT_EQ(arm.name.view(), "arm");
    EXPECT_EQ(arm.parent.view(), "root");
    EXPECT_EQ(arm.matrix[7], 6.0f);
    EXPECT_EQ(arm.inverse, (std::array{0.5f, 0.0f, 0.0f, -2.0f, 0.0f, 0.5f, 0.0f, -3.0f, 0.0f, 0.0f, 0.5f,
                                       -4.0f, 0.0f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(skeleton.bones->find("arm"), 1u);
    EXPECT_EQ(skeleton.bones->find("Arm"), std::nullopt);
}

TEST(skeleton_grammar, one_fault_one_message) {
    const struct {
        const char *from;
        const char *to;
        const char *message;
    } cases[] = {
        {"BoneCount: 2", "BoneCount: 3", "f:17: incorrect number of bones in Skeleton [ token '}' ]"},
        {"BoneCount: 2", "BoneCount: 1", "f:17: incorrect number of bones in Skeleton [ token '}' ]"},
        {"BoneCount: 2", "BoneCount: 4294967295",
         "f:17: incorrect number of bones in Skeleton [ token '}' ]"},
        {"BoneCount: 2", "PieceCount: 2", "f:8: syntax error [ token 'PieceCount' ]"},
        {"1 ( Name", "2 ( Name", "f:16: inconsistent Skeleton bone order [ token ')' ]"},
        {"0 ( Name", "1 ( Name", "f:13: inconsistent Skeleton bone order [ token ')' ]"},
        {"( 1.0 0.0", "( 1 0.0", "f:12: syntax error [ token '1' ]"},
        {"( 1.0 0.0", "( 1.0 1.0 0.0", "f:12: syntax error [ token '1.0' ]"},
        {"( 1.0 0.0", "( 1.0", "f:12: syntax error [ token ')' ]"},
        {"Name: \"arm\" Parent: \"root\"", "Parent: \"root\" Name: \"arm\"",
         "f:14: syntax error [ token 'Parent' ]"},
        {"Parent: \"root\"", "", "f:15: syntax error [ token 'Matrix' ]"},
        {"\"arm\"", "\"\"\"arm\"\"\"", "f:14: syntax error [ token '\"\"\"' ]"},
        {"1.0 )\n\t)\n}\n", "1.0 )\n\t)\n}\nBones", "f:18: syntax error [ token 'Bones' ]"},
        {"1.0 )\n\t)\n}\n", "1.0 )\n\t)\n", "f:17: syntax error [ token '' ]"},
    };
    for (const auto &each : cases) {
        const parsed_skeleton_t parsed(edited(two_bone_skeleton, each.from, each.to));
        EXPECT_FALSE(parsed.root) << each.to;
        EXPECT_EQ(parsed.messages, "E: " + std::string(each.message) + "\n") << each.to;
    }
    const size_t bones = two_bone_skeleton.find("\t0 (");
    EXPECT_EQ(parsed_skeleton_t(two_bone_skeleton.substr(0, bones) + "}").messages,
              "E: f:11: syntax error [ token '}' ]\n");
}

TEST(skeleton_grammar, another_version_is_reported_and_read_all_the_same) {
    const parsed_skeleton_t parsed(edited(two_bone_skeleton, "FormatVersion: 1", "FormatVersion: 2"));
    EXPECT_EQ(parsed.messages, "E: f:6: unsupported FormatVersion [ token '}' ]\n");
    ASSERT_TRUE(parsed.root);
    EXPECT_EQ(parsed.root->bones->bones().size(), 2u);
}

TEST(skeleton_grammar, models_and_skeletons_are_not_taken_for_each_other) {
    EXPECT_EQ(parsed_skeleton_t(one_triangle_model).messages,
              "E: f:6: unsupported FormatVersion [ token '}' ]\n"
              "E: f:8: syntax error [ token 'VertexCount' ]\n");
    EXPECT_EQ(parsed_model_t(two_bone_skeleton).messages,
              "E: f:6: unsupported FormatVersion [ token '}' ]\n");
}

TEST(skeleton_grammar, the_first_of_two_bones_with_one_name_is_found) {
    const parsed_skeleton_t parsed(edited(two_bone_skeleton, "\"arm\"", "\"root\""));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_EQ(parsed.root->bones->bones().size(), 2u);
    EXPECT_EQ(parsed.root->bones->find("root"), 0u);
}

TEST(skeleton_grammar, parents_are_not_looked_up) {
    EXPECT_TRUE(parsed_skeleton_t(edited(two_bone_skeleton, "Parent: \"root\"", "Parent: \"nobody\"")).root);
    EXPECT_TRUE(parsed_skeleton_t(edited(two_bone_skeleton, "Parent: \"\"", "Parent: \"arm\"")).root);
}

TEST(skeleton_grammar, a_matrix_without_an_inverse_is_warned_of) {
    const parsed_skeleton_t parsed(edited(two_bone_skeleton, "2.0 0.0 0.0 4.0", "0.0 0.0 0.0 4.0"));
    EXPECT_EQ(parsed.messages, "W: [kis] f: bone 'arm' has a matrix without an inverse\n");
    ASSERT_TRUE(parsed.root);
    // By hand: what is left of the matrix without its first row and one column each.
    EXPECT_EQ(parsed.root->bones->bones()[1].inverse,
              (std::array{4.0f, 0.0f, 0.0f, -16.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f,
                          0.0f, 0.0f, 0.0f}));
}

TEST(skeleton_grammar, every_one_of_many_bones_is_found) {
    constexpr uint32_t count = 5000;
    const size_t begin = two_bone_skeleton.find("\t0 (");
    const std::string matrix = "Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 ) ";
    std::string text = edited(two_bone_skeleton.substr(0, begin), "2\n", std::to_string(count) + "\n");
    for (uint32_t i = 0; i < count; ++i)
        text +=
            std::to_string(i) + " ( Name: \"bone" + std::to_string(i) + "\" Parent: \"\" " + matrix + ")\n";
    const parsed_skeleton_t parsed(text + "}");
    ASSERT_TRUE(parsed.root) << parsed.messages.substr(0, 200);
    for (uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(parsed.root->bones->find("bone" + std::to_string(i)), i);
}

} // namespace kestrel
