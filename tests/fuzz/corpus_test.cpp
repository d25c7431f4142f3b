// Replays the corpora of the fuzz targets, which need no fuzzer for that.

#include "fuzz/conversion_in_memory.h"
#include "fuzz/model_generator.h"
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

// A fuzzer whose models are all refused would test the grammar only.
TEST(model_generator, reaches_the_writer_with_every_kind_of_skin) {
    for (const uint8_t skin : std::initializer_list<uint8_t>{0, 1, 2}) {
        size_t converted = 0;
        for (uint8_t seed = 0; seed < 50; ++seed) {
            std::vector<uint8_t> bytes{skin};
            for (uint32_t i = 0; i < 400; ++i)
                bytes.push_back(static_cast<uint8_t>((i * i * 7 + i * seed * 13 + seed) % 251));
            choices_t choices(bytes);
            const generated_model_t generated = generate_model(choices);
            converted += convert_in_memory(generated.model, generated.skeleton, options_from_bits(seed));
        }
        EXPECT_GT(converted, 25u) << "skin " << int{skin};
    }
}

} // namespace kestrel
