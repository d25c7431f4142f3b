// Pipes and links, which are made here on POSIX systems alone, among the inputs and in the cache.

#include "tests/support/asset_tree.h"
#include "tests/support/model_text.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace kestrel {

TEST(conversion, pipes_and_links_to_nothing_cannot_be_read) {
    const asset_tree_t tree;
    ASSERT_EQ(mkfifo(tree.source("pipe.kim").c_str(), 0600), 0);
    create_symlink("nowhere", tree.source("link.kim"));
    const std::string pipe = canonical(tree.base()).string() + "/project/pipe.kim";
    const program_run_t run = tree.run({"/pipe.kim", "/link.kim", "-root", "project"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "*** ERROR *** : [fs] " + pipe +
                              ": not a regular file, or not supported by its file system\r\n"
                              "*** ERROR *** : /pipe.kim: Failed to open\r\n"
                              "*** ERROR *** : /link.kim: Failed to open\r\n");
    EXPECT_EQ(tree.products(), std::vector<std::string>());
}

TEST(conversion, a_link_in_the_cache_is_replaced_not_followed) {
    const asset_tree_t tree;
    tree.add_source("a.kim", one_triangle_model);
    write_whole_file(tree.base() / "precious", "precious");
    create_directories(tree.output("x").parent_path());
    create_symlink(tree.base() / "precious", tree.output("a.kmg"));
    EXPECT_EQ(tree.run({"/a.kim", "-root", "project"}).status, 0);
    EXPECT_FALSE(is_symlink(tree.output("a.kmg")));
    EXPECT_EQ(read_whole_file(tree.base() / "precious"), "precious");
}

} // namespace kestrel
