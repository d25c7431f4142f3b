// gltf2kim as its users run it.

#include "tests/gltf/gltf_builder.h"
#include "tests/support/asset_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrel {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class gltf2kim : public ::testing::Test {
  protected:
    gltf2kim() {
        fs::create_directory(folder());
        fs::copy(fs::path(KIM2KMG_GLTF_FILES) / "pete_gear.gltf", folder());
        fs::copy(fs::path(KIM2KMG_GLTF_FILES) / "pete_gear.bin", folder());
        for (const char *name : {"pete_gear.gltf", "pete_gear.bin"})
            fs::permissions(folder() / name, fs::perms::owner_write, fs::perm_options::add);
    }
    fs::path folder() const { return tree_.base() / "in"; }
    program_run_t run(const std::vector<std::string> &arguments) const {
        return run_program(KIM2KMG_GLTF2KIM, arguments, folder());
    }
    // With another name of the file that holds its buffer.
    program_run_t run_with_buffer(const std::string &uri) const {
        std::string text = read_whole_file(folder() / "pete_gear.gltf");
        text.replace(text.find("pete_gear.bin"), 13, uri);
        write_whole_file(folder() / "edited.gltf", text);
        return run({"edited.gltf"});
    }
    // But for what the program has printed.
    size_t file_count() const {
        size_t count = 0;
        for (const auto &entry : fs::directory_iterator(folder()))
            count += !entry.path().filename().string().starts_with("std");
        return count;
    }

    asset_tree_t tree_;
};

} // namespace

TEST_F(gltf2kim, writes_a_model_beside_the_file_or_where_told) {
    EXPECT_EQ(run({"pete_gear.gltf"}).status, 0);
    const std::string model = read_whole_file(folder() / "pete_gear.kim");
    EXPECT_THAT(model, HasSubstr("Name: \"pete_gear\""));
    EXPECT_THAT(model, HasSubstr("Effect: \"default\""));
    write_whole_file(folder() / "effects.txt", "# of Pete\r\n\npete_texture \t dif.spec \r\n");
    EXPECT_EQ(
        run({"--effects", "effects.txt", "--numbers", "decimals", "pete_gear.gltf", "other.kim"}).status, 0);
    const std::string other = read_whole_file(folder() / "other.kim");
    EXPECT_THAT(other, HasSubstr("Effect: \"dif.spec\""));
    EXPECT_EQ(other.find('&'), std::string::npos);
    EXPECT_EQ(file_count(), 5u);
}

TEST_F(gltf2kim, writes_a_skeleton_for_a_skinned_model) {
    gltf_builder_t gltf = one_triangle();
    gltf["nodes"][0]["skin"] = 0;
    gltf["skins"] = {{{"joints", {gltf.append("nodes", {{"name", "hips"}})}}}};
    auto &attributes = gltf["meshes"][0]["primitives"][0]["attributes"];
    attributes["JOINTS_0"] = gltf.accessor<uint8_t>("VEC4", std::vector<uint8_t>(12));
    attributes["WEIGHTS_0"] = gltf.accessor<float>("VEC4", {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    write_whole_file(folder() / "a.glb", gltf.glb());
    EXPECT_EQ(run({"a.glb", "b.kim"}).status, 0);
    EXPECT_THAT(read_whole_file(folder() / "b.kim"), HasSubstr("Skeleton: \"b.kis\""));
    EXPECT_THAT(read_whole_file(folder() / "b.kis"), HasSubstr("Name: \"hips\""));
    // A skeleton that cannot be written takes the model with it.
    fs::create_directory(folder() / "c.kis");
    EXPECT_EQ(run({"a.glb", "c.kim"}).status, 2);
    EXPECT_FALSE(fs::exists(folder() / "c.kim"));
}

TEST_F(gltf2kim, reads_buffers_from_its_own_folder_only) {
    fs::copy(folder() / "pete_gear.bin", tree_.base() / "outside.bin");
    std::error_code no_links_here; // then the name is missing, and refused as well
    fs::create_symlink(tree_.base() / "outside.bin", folder() / "link.bin", no_links_here);
    fs::create_directory(folder() / "sub");
    fs::copy(folder() / "pete_gear.bin", folder() / "sub" / "a b.bin");
    EXPECT_EQ(run_with_buffer("sub/a%20b.bin").status, 0);
    fs::remove(folder() / "edited.kim");
    for (const std::string &uri :
         {std::string("../outside.bin"), (tree_.base() / "outside.bin").generic_string(),
          std::string("link.bin"), std::string("sub"), std::string("missing.bin"),
          std::string("file:///dev/zero"), std::string("%2e%2e/outside.bin")}) {
        const program_run_t result = run_with_buffer(uri);
        EXPECT_EQ(result.status, 1) << uri;
        EXPECT_THAT(result.errors, HasSubstr("edited.gltf: buffers[0]: ")) << uri;
        EXPECT_FALSE(fs::exists(folder() / "edited.kim")) << uri;
    }
}

TEST_F(gltf2kim, writes_over_nothing_but_models) {
    const std::string input = read_whole_file(folder() / "pete_gear.gltf");
    fs::create_directory(folder() / "folder.kim");
    fs::copy(folder() / "pete_gear.gltf", folder() / "same.kim");
    fs::create_hard_link(folder() / "pete_gear.gltf", folder() / "hard.kim");
    std::vector<std::vector<std::string>> refused{
        {"pete_gear.gltf", "pete_gear.bin"},      {"same.kim", "same.kim"},
        {"pete_gear.gltf", "hard.kim"},           {"pete_gear.gltf", "folder.kim"},
        {"pete_gear.gltf", "none/a.kim"},         {"none.glb"},
        {"--numbers", "octal", "pete_gear.gltf"}, {"--effects", "none.txt", "pete_gear.gltf"}};
    std::error_code no_links_here;
    fs::create_symlink("/dev/null", folder() / "null.kim", no_links_here);
    if (!no_links_here)
        refused.push_back({"pete_gear.gltf", "null.kim"});
    for (const auto &arguments : refused) {
        const size_t before = file_count();
        const program_run_t result = run(arguments);
        EXPECT_EQ(result.status, 2) << arguments.back();
        EXPECT_NE(result.errors, "") << arguments.back();
        EXPECT_EQ(file_count(), before) << arguments.back();
    }
    EXPECT_EQ(read_whole_file(folder() / "pete_gear.gltf"), input);
    EXPECT_EQ(read_whole_file(folder() / "hard.kim"), input);
}

} // namespace kestrel
