#include "tools/build/build_state.h"

#include "tests/support/asset_tree.h"

#include <gtest/gtest.h>

namespace kestrel {

static seen_model_t seen_at(int64_t record_time) {
    seen_model_t seen;
    seen.options.merge = seen.options.tangent = true;
    seen.version = "3";
    seen.converter = 0xABCDEF;
    seen.source = {-5, 10};
    seen.output = {2, 20};
    seen.record = {record_time, 30};
    seen.further = {{"/a\tb\\c.kis", {4, 40}}, {"/gone.kis", {}}};
    return seen;
}

TEST(build_state, lines) {
    const std::string line = state_line("/m o.kim", seen_at(3));
    EXPECT_EQ(line, "mt\t3\tabcdef\t-5.10\t2.20\t3.30\t/m o.kim\t4.40\t/a\\tb\\\\c.kis\t-\t/gone.kis\n");
    std::string model;
    seen_model_t seen;
    ASSERT_TRUE(parse_state_line(line.substr(0, line.size() - 1), model, seen));
    EXPECT_EQ(state_line(model, seen), line);
    for (const char *broken :
         {"", "-", "x\t3\ta\t1.1\t1.1\t1.1\t/m", "-\t\ta\t1.1\t1.1\t1.1\t/m", "-\t3\tg\t1.1\t1.1\t1.1\t/m",
          "-\t3\ta\t1.1\t1.1\t1.\t/m", "-\t3\ta\t1.1\t1.1\t1.1", "-\t3\ta\t1.1\t1.1\t1.1\tm",
          "-\t3\ta\t1.1\t1.1\t1.1\t/m\\x", "-\t3\ta\t1.1\t1.1\t1.1\t/m\t5.5"})
        EXPECT_FALSE(parse_state_line(broken, model, seen)) << broken;
}

// Opens the state of the folder's tree anew.
struct state_folder_t {
    asset_tree_t tree;
    tree_paths_t paths;
    state_folder_t() {
        paths.own = tree.base().string() + "/own";
        std::filesystem::create_directories(paths.own);
    }
    std::filesystem::path file(const char *name) const { return std::filesystem::path(paths.own) / name; }
    build_state_t load(share_t share = {}) const {
        build_state_t state(paths, share);
        state.load();
        return state;
    }
};

TEST(build_state, survives_what_happens_to_files) {
    const state_folder_t folder;
    EXPECT_FALSE(folder.load().add({{"/a.kim", seen_at(1)}}));
    EXPECT_FALSE(folder.load().add({{"/b.kim", seen_at(2)}}));
    EXPECT_EQ(folder.load().size(), 2u);

    const std::string whole = read_whole_file(folder.file("state"));
    write_whole_file(folder.file("state"), whole.substr(0, whole.size() - 3)); // killed while it wrote
    EXPECT_EQ(folder.load().size(), 1u);
    EXPECT_FALSE(folder.load().add({{"/c.kim", seen_at(3)}}));
    EXPECT_EQ(folder.load().size(), 2u);
    EXPECT_TRUE(folder.load().find("/c.kim"));

    std::string damaged = whole;
    damaged[30] = '\0';
    for (const std::string &text : {damaged, "kimbuild-state 2\n" + whole, std::string()}) {
        write_whole_file(folder.file("state"), text);
        EXPECT_EQ(folder.load().size(), 0u);
    }
    EXPECT_FALSE(folder.load().add({{"/d.kim", seen_at(4)}}));
    EXPECT_EQ(folder.load().size(), 1u);
}

TEST(build_state, shares_and_the_whole_know_of_each_other) {
    const state_folder_t folder;
    const share_t first{0, 2}, second{1, 2};
    const auto in = [](const share_t &share, const char *end) {
        for (int i = 0;; ++i)
            if (const std::string path = "/" + std::to_string(i) + end; share.holds(path))
                return path;
    };
    const std::string a = in(first, "a.kim"), b = in(second, "b.kim");
    EXPECT_FALSE(folder.load(first).add({{a, seen_at(1)}}));
    EXPECT_FALSE(folder.load(second).add({{b, seen_at(5)}}));
    EXPECT_EQ(folder.load().size(), 2u);
    EXPECT_FALSE(folder.load().add({{a, seen_at(7)}, {b, seen_at(3)}}));
    EXPECT_FALSE(std::filesystem::exists(folder.file("state-1-of-2"))) << "not taken into the whole";
    EXPECT_FALSE(folder.load(second).add({{b, seen_at(9)}}));
    EXPECT_EQ(folder.load().find(a)->record.time, 7);
    EXPECT_EQ(folder.load().find(b)->record.time, 9) << "not the latest";
}

TEST(build_state, is_tidied_when_most_is_outdated) {
    const state_folder_t folder;
    build_state_t state = folder.load();
    for (int i = 0; i < 1100; ++i)
        EXPECT_FALSE(state.add({{i % 2 ? "/a.kim" : "/b.kim", seen_at(i)}}));
    EXPECT_FALSE(state.changed_by_others());
    EXPECT_FALSE(state.tidy([](std::string_view model) { return model == "/a.kim"; }));
    EXPECT_EQ(read_whole_file(folder.file("state")),
              "kimbuild-state 1\n" + state_line("/a.kim", seen_at(1099)));
    write_whole_file(folder.file("state-1-of-2"), "kimbuild-state 1\n");
    EXPECT_TRUE(state.changed_by_others());
}

} // namespace kestrel
