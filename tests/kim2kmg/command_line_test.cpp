// The program as its users call it: exact lines, exit statuses, and which files are there afterwards.

#include "tests/support/asset_tree.h"
#include "tests/support/model_text.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

const std::string usage =
    "Usage: kim2kmg <input-file.kim> [OPTIONS]\r\n\r\n"
    "  -discard_bad_triangles\r\n"
    "\t\tdetect and discard bad (zero area) triangles from the geometry data.\r\n"
    "\t\tUse (usually) for old data that avoided bad triangle detection at export.\r\n"
    "  -merge_part_pieces\r\n"
    "\t\t!HIGHLY EXPERIMENTAL! - merge pieces using the same material within part.\r\n"
    "\t\tUse in cases when the geometry was unnecessarily split into many pieces when authored.\r\n"
    "  -tangent\r\n"
    "\t\tenable export of the tangent vectors to the geometry data.\r\n"
    "  -verbose\r\n"
    "\t\tprovide detailed geometry optimization report.\r\n"
    "\r\n";

std::string error_line(const std::string &text) {
    return "*** ERROR *** : " + text + "\r\n";
}

const std::string no_root = error_line("failed to determine root directory");

std::vector<std::string> repeated(size_t count, const std::string &argument) {
    return std::vector<std::string>(count, argument);
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(command_line, checks_in_their_order) {
    const asset_tree_t tree;
    const std::string program = tree.program().string();
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string output;
        std::string errors;
    } cases[] = {
        {{}, 1, usage, error_line("kim2kmg: Not enough parameters.")},
        {{"-V"}, 0, "version:3\r\n", ""},
        {{"a.kim", "-tangent", "-V"}, 0, "version:3\r\n", ""},
        {{"a.kim", "-v"}, 1, "", error_line("missing root parameter") + no_root},
        {{"a.kim"}, 1, "", error_line("missing root parameter") + no_root},
        {{"a.kim", "-root"}, 1, "", error_line("root parameter missing directory") + no_root},
        {{"a.kim", "-root", "-tangent"}, 1, "", error_line("root parameter missing directory") + no_root},
        {{"a.kim", "-root", "+x"}, 1, "", error_line("root parameter missing directory") + no_root},
        {{"a.kim", "-root", "project", "b.kim"},
         1,
         "",
         error_line("root parameter received more than one argument") + no_root},
        {{"a.kim", "-root", "nowhere"}, 1, "", no_root},
        {{"a.kim", "-root", "bin/linux_x64/kim2kmg"}, 1, "", no_root},
        {{"a.kim", "-root", std::string(256, 'r')}, 1, "", no_root},
        {{"-tangent", "-root", "project"}, 1, usage, error_line("kim2kmg: Missing input file.")},
        {{"-tangent", "-root", "nowhere"}, 1, "", no_root},
        {{"-root", "project"}, 1, usage, error_line("kim2kmg: Missing input file.")},
        // The first "-root" is the one that counts; what is not known is ignored.
        {{"a", "-Root", "nowhere", "-x", "-root", "project", "-root", "nowhere"},
         1,
         "",
         error_line("a: invalid filename (should end with '.kim')")},
        {{"a.KIM", "kim", ".ki", "b.kim.bak", "-root", "project"},
         4,
         "",
         error_line("a.KIM: invalid filename (should end with '.kim')") +
             error_line("kim: invalid filename (should end with '.kim')") +
             error_line(".ki: invalid filename (should end with '.kim')") +
             error_line("b.kim.bak: invalid filename (should end with '.kim')")},
        {{"/model/missing.kim", "-root", "project"}, 1, "", error_line("/model/missing.kim: Failed to open")},
        // 128 arguments are searched for options, the program's name included.
        {repeated(124, "x") + std::vector<std::string>{"-tangent", "-root", "project"}, 124, "",
         [] {
             std::string lines;
             for (int i = 0; i < 124; ++i)
                 lines += error_line("x: invalid filename (should end with '.kim')");
             return lines;
         }()},
        {repeated(125, "x") + std::vector<std::string>{"-tangent", "-root", "project"}, 1, "",
         error_line("root parameter missing directory") + no_root},
        // 2048 bytes of text are kept, NULs included; what follows them is not found.
        {{std::string(2048 - program.size() - 2, 'x'), "-root", "project"},
         1,
         "",
         error_line("missing root parameter") + no_root},
        // An argument that is no UTF-8 ends the list.
        {{"a.kim", "\xFF", "-root", "project"}, 1, "", error_line("missing root parameter") + no_root},
        {{"\xC0\x80"}, 1, usage, error_line("kim2kmg: Not enough parameters.")},
    };
    for (const auto &each : cases) {
        const program_run_t run = tree.run(each.arguments);
        std::string shown;
        for (const std::string &argument : each.arguments)
            shown += argument + " ";
        EXPECT_EQ(run.status, each.status) << shown;
        EXPECT_EQ(run.output, each.output) << shown;
        EXPECT_EQ(run.errors, each.errors) << shown;
    }
}

TEST(command_line, the_status_counts_failures) {
    const asset_tree_t tree;
    tree.add_source("good.kim", one_triangle_model);
    EXPECT_EQ(tree.run({"/missing.kim", "/good.kim", "missing.kim", "-root", "project"}).status, 2);
    EXPECT_TRUE(exists(tree.output("good.kmg")));
}

// The path that is tested for being a directory is cut to 255 bytes; what is composed later is not.
TEST(command_line, a_root_of_255_bytes_is_subject_to_the_test_of_its_start) {
    const asset_tree_t tree;
    tree.add_source("a.kim", one_triangle_model);
    const program_run_t run = tree.run({"/a.kim", "-root", "project" + std::string(248, '/')});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("[fs] path is longer than 255 bytes: '/a.kim'"), std::string::npos)
        << run.errors;
    EXPECT_TRUE(run.errors.ends_with(error_line("/a.kim: Failed to open"))) << run.errors;
}

TEST(command_line, an_output_that_would_leave_the_cache_is_not_opened) {
    const asset_tree_t tree;
    tree.add_source("a.kim", one_triangle_model);
    const program_run_t run = tree.run({"/../project/a.kim", "-root", "project"});
    EXPECT_EQ(run.status, 1);
    const std::string output =
        (canonical(tree.base()) / "rsrc/project/@cache").generic_string() + "/../project/a.kmg";
    EXPECT_EQ(run.errors, error_line("[fs] " + output + ": leads out of its tree, left alone") +
                              error_line("error opening output file /../project/a.kmg"));
    EXPECT_EQ(tree.products(), std::vector<std::string>());
}

TEST(command_line, backslashes_separate_folders) {
    const asset_tree_t tree;
    tree.add_source("sub/dir/a.kim", one_triangle_model);
    const program_run_t run = tree.run({"dir\\a.kim", "-root", "project\\sub"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(tree.products(),
              (std::vector<std::string>{"project/sub/@cache/dir/a.kmg", "project/sub/@dep/dir/a.kmg"}));
    EXPECT_EQ(read_whole_file(tree.base() / "rsrc/project/sub/@dep/dir/a.kmg"),
              "version:3\r\ndir\\a.kim\r\n");
}

} // namespace

} // namespace kestrel
