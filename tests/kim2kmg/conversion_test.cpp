// Conversions that fail: exact messages, status above 0, and nothing left behind.

#include "tests/support/asset_tree.h"
#include "tests/support/model_text.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

const std::string removal =
    "*** WARNING *** : Expected rcfs_device_t::perform_conversion() to be true, but it "
    "is not.\r\n";

// Error lines, in which "$" stands for the folder of the project.
std::string errors_of(const asset_tree_t &tree, const std::vector<std::string> &texts) {
    const std::string project = canonical(tree.base()).generic_string() + "/project";
    std::string lines;
    for (std::string text : texts) {
        if (const size_t at = text.find('$'); at != std::string::npos)
            text.replace(at, 1, project);
        lines += "*** ERROR *** : " + text + "\r\n";
    }
    return lines;
}

const std::string model_with_locator =
    edited(one_triangle_model, "LocatorCount: 0\n\tSkeleton", "LocatorCount: 1\n\tSkeleton") + locator_text;

TEST(conversion, what_the_writer_refuses_leaves_nothing) {
    const std::string &one = one_triangle_model;
    const std::string &locator = model_with_locator;
    const struct {
        std::string model;
        std::string message;
    } cases[] = {
        {edited(one, "\"body\"", "\"bo dy\""), "part name 'bo dy' invalid (cannot be token)"},
        {edited(one, "\"body\"", "\"abcdefghijklm\""), "part name 'abcdefghijklm' invalid (cannot be token)"},
        {edited(one, "Pieces: 0", "Pieces:"), "incomplete piece <-> part assignment! Re-export!"},
        {edited(one, "Pieces: 0", "Pieces: 0 0"), "incomplete piece <-> part assignment! Re-export!"},
        {edited(one, "Pieces: 0", "Pieces: 1"), "part 'body' lists piece 1 of 1"},
        {edited(one, "Pieces: 0", "Pieces: -1"), "part 'body' lists piece 4294967295 of 1"},
        {edited(one, "Locators:\n", "Locators: 0\n"), "part 'body' lists locator 0 of 0"},
        {edited(locator, "Locators:\n", "Locators: 1\n"), "part 'body' lists locator 1 of 1"},
        {edited(locator, "Locators:\n", "Locators: 0 0\n"),
         "the parts list more locators than the model has (1)"},
        {edited(one, "0 ( 0 1 2 )", "0 ( 0 1 3 )"), "triangle 0 of piece 7 uses vertex 3 of 3"},
        {edited(one, "0 ( 0 1 2 )", "0 ( 0 -1 2 )"), "triangle 0 of piece 7 uses vertex 4294967295 of 3"},
    };
    for (const auto &each : cases) {
        const asset_tree_t tree;
        tree.add_source("a.kim", one_triangle_model);
        ASSERT_EQ(tree.run({"/a.kim", "-root", "project"}).status, 0);
        tree.add_source("a.kim", edited(each.model, "Index: 0", "Index: 7"));
        const program_run_t run = tree.run({"/a.kim", "-root", "project"});
        EXPECT_EQ(run.status, 1) << each.message;
        EXPECT_EQ(run.errors, errors_of(tree, {"[kim2kmg] <$ | >/a.kim: " + each.message}) + removal);
        EXPECT_EQ(tree.products(), std::vector<std::string>()) << each.message;
    }
}

TEST(conversion, inputs_that_cannot_be_read) {
    const asset_tree_t tree;
    create_directories(tree.source("folder.kim"));
    tree.add_source("empty.kim", "");
    tree.add_source("binary.kim", std::string("\0\1\xFF", 3));
    tree.add_source("cut.kim", one_triangle_model.substr(0, one_triangle_model.find("Global")));
    tree.add_source("skeleton.kim", edited(one_triangle_model, "FormatVersion: 5", "FormatVersion: 1"));
    const std::string no_file = "not a regular file, or not supported by its file system";
    const std::string long_name = "/" + std::string(254, 'n') + ".kim";
    const struct {
        std::string name;
        std::vector<std::string> messages;
    } cases[] = {
        {"/folder.kim", {"[fs] $/folder.kim: " + no_file, "/folder.kim: Failed to open"}},
        {"/missing.kim", {"/missing.kim: Failed to open"}},
        {"/empty.kim", {"<$ | >/empty.kim:1: syntax error [ token '' ]", "cannot parse /empty.kim"}},
        {"/binary.kim",
         {"<$ | >/binary.kim:1: unknown token : ''", "<$ | >/binary.kim:1: unknown token : '\1'",
          "<$ | >/binary.kim:1: unknown token : '\xFF'", "<$ | >/binary.kim:1: syntax error [ token '' ]",
          "cannot parse /binary.kim"}},
        {"/cut.kim", {"<$ | >/cut.kim:7: syntax error [ token '' ]", "cannot parse /cut.kim"}},
        {"/skeleton.kim",
         {"<$ | >/skeleton.kim:6: unsupported FormatVersion [ token '}' ]", "cannot parse /skeleton.kim"}},
        {long_name,
         {"[fs] path is longer than 255 bytes: '" + long_name + "' (below '$')",
          long_name + ": Failed to open"}},
    };
    for (const auto &each : cases) {
        const program_run_t run = tree.run({each.name, "-root", "project"});
        EXPECT_EQ(run.status, 1) << each.name;
        EXPECT_EQ(run.errors, errors_of(tree, each.messages));
        EXPECT_EQ(tree.products(), std::vector<std::string>()) << each.name;
    }
}

TEST(conversion, outputs_that_cannot_be_written) {
    const asset_tree_t tree;
    tree.add_source("a.kim", one_triangle_model);

    create_directories(tree.output("a.kmg"));
    program_run_t run = tree.run({"/a.kim", "-root", "project"});
    EXPECT_EQ(run.status, 1);
    const std::string resources = canonical(tree.base()).generic_string() + "/rsrc/project";
    EXPECT_EQ(run.errors,
              errors_of(tree, {"[fs] " + resources + "/@cache/a.kmg: not a regular file, left alone",
                               "error opening output file /a.kmg"}));
    remove(tree.output("a.kmg"));

    // A record that cannot be written takes the output with it.
    create_directories(tree.record("a.kmg"));
    run = tree.run({"/a.kim", "-root", "project"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              errors_of(tree, {"[fs] " + resources + "/@dep/a.kmg: not a regular file, left alone",
                               "[fs] Failed to open file '" + resources +
                                   "/@dep/a.kmg' in the create_truncate mode.",
                               "/a.kmg: failed to write deps."}) +
                  removal);
    EXPECT_FALSE(exists(tree.output("a.kmg")));

    // A file where the store should be.
    remove_all(tree.base() / "rsrc");
    write_whole_file(tree.base() / "rsrc", "");
    run = tree.run({"/a.kim", "-root", "project"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, errors_of(tree, {"error opening output file /a.kmg"}));
}

TEST(conversion, a_model_that_does_not_parse_leaves_the_old_output) {
    const asset_tree_t tree;
    tree.add_source("a.kim", one_triangle_model);
    ASSERT_EQ(tree.run({"/a.kim", "-root", "project"}).status, 0);
    tree.add_source("a.kim", "");
    EXPECT_EQ(tree.run({"/a.kim", "-root", "project"}).status, 1);
    EXPECT_EQ(tree.products(), (std::vector<std::string>{"project/@cache/a.kmg", "project/@dep/a.kmg"}));
}

} // namespace

} // namespace kestrel
