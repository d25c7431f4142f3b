// The example of docs/core.md is this folder's program, word for word, and works.

#include "tests/support/asset_tree.h"

#include <gtest/gtest.h>

namespace kestrel {

static std::string text_of_file(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(core_tool, the_documented_text_is_the_program) {
    const std::string document = text_of_file(KIM2KMG_DOCS "/core.md");
    const std::string opening = "```cpp\n";
    const size_t begin = document.find(opening);
    ASSERT_NE(begin, std::string::npos);
    const size_t end = document.find("```", begin + opening.size());
    EXPECT_EQ(document.substr(begin + opening.size(), end - begin - opening.size()),
              text_of_file(KIM2KMG_CORE_TOOL_SOURCE));
}

TEST(core_tool, prints_hashes_and_counts_failures) {
    const temporary_directory_t directory;
    directory.write("empty", "");
    const std::string path = directory / "empty", missing = directory / "missing";
    const auto run = [&](const std::vector<std::string> &arguments) {
        return run_program(KIM2KMG_CORE_TOOL, arguments, directory.path());
    };
    // The hash of nothing is a constant of the algorithm.
    const std::string line = "9ae16a3b2f90404f " + path + "\r\n";
    const program_run_t good = run({path, path, "-size"});
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(good.output, line + "  0 bytes\r\n" + line + "  0 bytes\r\n");
    const program_run_t bad = run({missing, path});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.output, line);
    EXPECT_EQ(bad.errors, "*** ERROR *** : [fs] Failed to open file '" + missing + "' in the read mode.\r\n");
}

} // namespace kestrel
