// Whole conversions against bytes worked out by hand (tests/data/golden).

#include "tests/support/asset_tree.h"
#include "tests/support/golden_bytes.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kestrel {

static const std::filesystem::path golden_folder = std::filesystem::path(KIM2KMG_TEST_DATA) / "golden";

TEST(golden, conversions_to_the_byte) {
    const struct {
        std::string name;
        std::vector<std::string> options;
        std::string dependencies;
    } cases[] = {
        {"triangle", {}, "version:3\r\n/model/triangle.kim\r\n"},
        {"triangle",
         {"-discard_bad_triangles", "-merge_part_pieces"},
         "version:3\r\n/model/triangle.kim\r\n"},
        {"parts", {"-tangent"}, "version:3\r\n/model/parts.kim\r\n"},
        {"skinned", {}, "version:3\r\n/model/skinned.kim\r\n/model/skinned.kis\r\n"},
    };
    for (const auto &each : cases) {
        const asset_tree_t tree;
        for (const char *extension : {".kim", ".kis"})
            if (const auto source = golden_folder / (each.name + extension); exists(source))
                tree.add_source("model/" + each.name + extension, read_whole_file(source));
        std::vector<std::string> arguments{"/model/" + each.name + ".kim", "-root", "project"};
        arguments.insert(arguments.end(), each.options.begin(), each.options.end());
        const program_run_t run = tree.run(arguments);
        EXPECT_EQ(run.status, 0) << each.name;
        EXPECT_EQ(run.output + run.errors, "") << each.name;
        const golden_bytes_t expected = read_golden_bytes(golden_folder / (each.name + ".kmg.txt"));
        EXPECT_EQ(expected.compare(read_whole_file(tree.output("model/" + each.name + ".kmg"))), "")
            << each.name;
        EXPECT_EQ(read_whole_file(tree.record("model/" + each.name + ".kmg")), each.dependencies);
    }
}

// The dump in the documentation shows the same file: lines of a hexadecimal offset and hexadecimal bytes.
TEST(golden, the_documented_dump) {
    std::istringstream lines(read_whole_file(KIM2KMG_DOCS "/formats.md"));
    std::string bytes;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word) || word.size() != 4 || word.find_first_not_of("0123456789abcdef") != word.npos)
            continue;
        ASSERT_EQ(std::stoul(word, nullptr, 16), bytes.size()) << line;
        while (words >> word && word.size() == 2 && word.find_first_not_of("0123456789abcdef") == word.npos)
            bytes += static_cast<char>(std::stoul(word, nullptr, 16));
    }
    EXPECT_EQ(read_golden_bytes(golden_folder / "triangle.kmg.txt").compare(bytes), "");
}

} // namespace kestrel
