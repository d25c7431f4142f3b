#include "tools/build/batch.h"

#include <gtest/gtest.h>

namespace kestrel {

static tree_paths_t sample_paths() {
    tree_paths_t paths;
    paths.root = "proj";
    paths.sources = "/base/proj";
    return paths;
}

TEST(batch, stays_within_what_the_converter_takes) {
    const tree_paths_t paths = sample_paths();
    const model_options_t all{true, true, true, true};
    for (const size_t length : {5u, 20u, 100u, 250u, 1900u, 2100u}) {
        batch_limits_t limits(paths, all);
        std::vector<std::string> models;
        const std::string model = "/" + std::string(length - 5, 'm') + ".kim";
        while (limits.take(model))
            models.push_back(model);
        const batch_t batch(paths, all, models);
        size_t bytes = 0;
        for (const std::string &argument : batch.command().arguments)
            bytes += argument.size() + 1;
        const size_t count = batch.command().arguments.size();
        EXPECT_LE(count, 128u);
        EXPECT_LE(bytes, 2048u);
        // and no more room is left than one more model would take
        EXPECT_TRUE(count + 2 > 128 || bytes + length + 8 > 2048) << length << ": " << count << " " << bytes;
    }
}

TEST(batch, lines_belong_to_the_model_before_the_next_mark) {
    const tree_paths_t paths = sample_paths();
    batch_t batch(paths, {}, {"/a.kim", "/b.kim", "/c.kim"});
    const std::string mark = batch.command().arguments[2];
    EXPECT_EQ(batch.command().arguments[4], mark);
    const std::string mark_line =
        "*** ERROR *** : " + mark + ": invalid filename (should end with '.kim')\r\n";
    const std::string other = "*** ERROR *** : @other: invalid filename (should end with '.kim')\r\n";
    const std::string errors = mark_line + "*** WARNING *** : about no model\r\n" + other +
                               "*** ERROR *** : b\r\n" + mark_line + "*** ERROR *** : c\r\nno end of line";
    std::vector<size_t> finished;
    for (const char c : errors) // however the pieces come
        batch.written(stream_t::errors, {&c, 1}, [&](size_t model) { finished.push_back(model); });
    batch.written(
        stream_t::output,
        "[kim2kmg] </base/proj | >/a.kim: one\r\n[kim2kmg] </base/proj | >/c.kim: two\r\nand more\r\n", {});
    EXPECT_EQ(finished, (std::vector<size_t>{0, 1}));
    EXPECT_EQ(batch.finished(), 2u);
    EXPECT_EQ(batch.failures(5), 2u);
    EXPECT_EQ(batch.failures(3), 0u);
    const auto messages = batch.take_messages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0].errors, "");
    EXPECT_EQ(messages[1].errors, "*** WARNING *** : about no model\r\n" + other + "*** ERROR *** : b\r\n");
    EXPECT_EQ(messages[2].errors, "*** ERROR *** : c\r\nno end of line");
    EXPECT_EQ(messages[0].information, "[kim2kmg] </base/proj | >/a.kim: one\r\n");
    EXPECT_EQ(messages[2].information, "[kim2kmg] </base/proj | >/c.kim: two\r\nand more\r\n");
    EXPECT_EQ(first_error("*** WARNING *** : w\r\n*** ERROR *** : first\r\n*** ERROR *** : second\r\n"),
              "first");
}

} // namespace kestrel
