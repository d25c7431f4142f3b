// Replays the corpora of the fuzz targets, which need no fuzzer for that.

#include "fuzz/target.h"
#include "tests/support/asset_tree.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace fs = std::filesystem;

class corpus_test : public testing::TestWithParam<fuzz_target_t> {};

static fuzz_input_t bytes_of(const std::string &content) {
    return {reinterpret_cast<const uint8_t *>(content.data()), content.size()};
}

TEST_P(corpus_test, every_promise_is_kept) {
    size_t replayed = 0;
    for (const auto &entry : fs::directory_iterator(fs::path(KIM2KMG_CORPUS) / GetParam().name)) {
        SCOPED_TRACE(entry.path().filename());
        const std::string content = read_whole_file(entry.path());
        GetParam().run(bytes_of(content));
        ++replayed;
    }
    EXPECT_GT(replayed, 0u);
}

INSTANTIATE_TEST_SUITE_P(targets, corpus_test, testing::ValuesIn(fuzz_targets),
                         [](const auto &target) { return std::string(target.param.name); });

} // namespace kestrel
