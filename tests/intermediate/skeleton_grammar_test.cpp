#include "tests/support/parsed_text.h"

#include <cmath>
#include <limits>

namespace kestrel {

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
    const fault_t faults[] = {
        {"BoneCount: 2", "BoneCount: 3", 17, "incorrect number of bones in Skeleton", "}"},
        {"BoneCount: 2", "BoneCount: 1", 17, "incorrect number of bones in Skeleton", "}"},
        {"BoneCount: 2", "BoneCount: 4294967295", 17, "incorrect number of bones in Skeleton", "}"},
        {"BoneCount: 2", "PieceCount: 2", 8, "syntax error", "PieceCount"},
        {"1 ( Name", "2 ( Name", 16, "inconsistent Skeleton bone order", ")"},
        {"0 ( Name", "1 ( Name", 13, "inconsistent Skeleton bone order", ")"},
        {"( 1.0 0.0", "( 1 0.0", 12, "syntax error", "1"},
        {"( 1.0 0.0", "( 1.0 1.0 0.0", 12, "syntax error", "1.0"},
        {"( 1.0 0.0", "( 1.0", 12, "syntax error", ")"},
        {"Name: \"arm\" Parent: \"root\"", "Parent: \"root\" Name: \"arm\"", 14, "syntax error", "Parent"},
        {"Parent: \"root\"", "", 15, "syntax error", "Matrix"},
        {"\"arm\"", "\"\"\"arm\"\"\"", 14, "syntax error", "\"\"\""},
        {"1.0 )\n\t)\n}\n", "1.0 )\n\t)\n}\nBones", 18, "syntax error", "Bones"},
        {"1.0 )\n\t)\n}\n", "1.0 )\n\t)\n", 17, "syntax error", ""},
        {"Bones {", "Bones { }", 10, "syntax error", "}"},
    };
    expect_faults<parsed_skeleton_t>(faults, two_bone_skeleton, [](const std::string &text) { return text; });
}

TEST(skeleton_grammar, another_version_is_reported_and_read_all_the_same) {
    const parsed_skeleton_t parsed(edited(two_bone_skeleton, "FormatVersion: 1", "FormatVersion: 2"));
    EXPECT_EQ(parsed.messages, "E: f:6: unsupported FormatVersion [ token '}' ]\n");
    EXPECT_TRUE(parsed.root);
}

TEST(skeleton_grammar, the_first_of_two_bones_with_one_name_is_found_and_parents_are_not_looked_up) {
    const parsed_skeleton_t parsed(
        edited(edited(two_bone_skeleton, "\"arm\"", "\"root\""), "Parent: \"\"", "Parent: \"nobody\""));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_EQ(parsed.root->bones->bones().size(), 2u);
    EXPECT_EQ(parsed.root->bones->find("root"), 0u);
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

TEST(matrix_inverse, a_determinant_of_a_hundred_thousandth_is_enough) {
    for (const float sign : {1.0f, -1.0f}) {
        std::array<float, 16> m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, sign * 0.00001f};
        EXPECT_TRUE(invert_matrix(m).invertible);
        EXPECT_EQ(invert_matrix(m).values[15], 1.0f / m[15]);
        m[15] = std::nextafter(m[15], 0.0f);
        EXPECT_FALSE(invert_matrix(m).invertible);
        EXPECT_EQ(invert_matrix(m).values[15], 1.0f);
        m[15] = sign * std::numeric_limits<float>::infinity();
        EXPECT_FALSE(invert_matrix(m).invertible); // infinity times zero is no determinant
    }
}

} // namespace kestrel
