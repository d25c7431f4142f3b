#include "kcore/dependencies/dependency_file.h"

#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

constexpr const char *place = "/w/rsrc/p/@dep/a.kmg";

std::string text_of(const dependency_record_t &record) {
    std::string text(record.version().view());
    for (const string_dyn_t &source : record.sources())
        text += "|" + std::string(source.view());
    return text;
}

class dependency_file : public testing::Test {
  protected:
    dependency_file() {
        platform().add_directory("/w/p");
        device_ = std::make_unique<rcfs_device_t>(*file_system(), "/w", "p");
    }
    fake_platform_t &platform() { return system_.platform(); }
    static dependency_record_t sample_record() {
        dependency_record_t record;
        record.set_version("3");
        record.set_primary_source("/a.kim");
        return record;
    }

    captured_messages_t messages_;
    fake_file_system_t system_;
    std::unique_ptr<rcfs_device_t> device_;
};

} // namespace

TEST(dependency_record, adding_out_of_order_is_reported_and_done) {
    captured_messages_t messages;
    dependency_record_t record;
    EXPECT_TRUE(record.add_dependency("/b"));
    EXPECT_TRUE(record.set_primary_source("/a"));
    EXPECT_EQ(text_of(record), "|/b|/a");
    EXPECT_EQ(messages.text(), "E: Attempt to set dependency without setting the primary source first.\n"
                               "E: Attempt to set multiple primary sources.\n");
}

TEST_F(dependency_file, is_written_line_by_line) {
    dependency_record_t record = sample_record();
    EXPECT_TRUE(write_dependency_file(*device_, record, "/a.kmg"));
    EXPECT_EQ(platform().content(place), "version:3\r\n/a.kim\r\n");
    EXPECT_EQ(platform().content(place).size(), 19u);
    record.add_dependency("/a.kis");
    EXPECT_TRUE(write_dependency_file(*device_, record, "/deep/er/a.kmg"));
    EXPECT_EQ(platform().content("/w/rsrc/p/@dep/deep/er/a.kmg"), "version:3\r\n/a.kim\r\n/a.kis\r\n");
    EXPECT_EQ(messages_.text(), "");

    dependency_record_t back;
    EXPECT_TRUE(read_dependency_file(*device_, back, "/deep/er/a.kmg"));
    EXPECT_EQ(text_of(back), "3|/a.kim|/a.kis");
}

TEST_F(dependency_file, reading_texts) {
    const struct {
        const char *text, *record, *messages; // record null: fails
    } cases[] = {
        {"version:3\r\n/a.kim\r\n", "3|/a.kim", ""},
        {"/a.kim\nversion:3\n/b\n", "3|/a.kim|/b", ""},
        {"version:3\n/a.kim", "3|/a.kim", ""},
        {"version:1\n/a\nversion:2\n", "2|/a", ""},
        {"version:3\n  /x/y.kis and more\n", "3|/x/y.kis", ""},
        {"version:3 4\n/a\rrest\n", "3|/a", ""},
        {"version:3\n\t/a\n", "3|\t/a", ""},
        {"version:12345678901234567890\n/a\n", "123456789012345|/a", ""},
        {"version:3\n\n/a\n", nullptr, "E: Error processing dependency file '/a.kmg'.\n"},
        {"version:3\n  \r\n/a\n", nullptr, "E: Error processing dependency file '/a.kmg'.\n"},
        {"version:3\n", nullptr, "E: Malformed dependency file '/a.kmg' - missing sources.\n"},
        {"/a.kim\n", nullptr, "E: Malformed dependency file '/a.kmg' - missing 'version:'.\n"},
        {"/a.kim\nversion:\n", nullptr, "E: Malformed dependency file '/a.kmg' - missing 'version:'.\n"},
        {"", nullptr, "E: Malformed dependency file '/a.kmg' - missing 'version:'.\n"},
    };
    for (const auto &c : cases) {
        platform().add_file(place, c.text);
        dependency_record_t record;
        record.set_version("old");
        EXPECT_EQ(read_dependency_file(*device_, record, "/a.kmg"), c.record != nullptr) << c.text;
        EXPECT_EQ(text_of(record), c.record ? c.record : "old") << c.text;
        EXPECT_EQ(messages_.text(), c.messages) << c.text;
        messages_.clear();
    }
}

TEST_F(dependency_file, that_is_missing_is_no_message_and_one_that_cannot_be_read_is) {
    dependency_record_t record;
    EXPECT_FALSE(read_dependency_file(*device_, record, "/a.kmg"));
    EXPECT_EQ(messages_.text(), "");
    platform().add_file(place, "version:3\n/a\n");
    platform().fail("read");
    EXPECT_FALSE(read_dependency_file(*device_, record, "/a.kmg"));
    EXPECT_EQ(messages_.text(), "E: [fs] <SYSFS>/w/rsrc/p/@dep/a.kmg: input or output error\n"
                                "E: [fs] cached read - buffer update failed (<SYSFS>/w/rsrc/p/@dep/a.kmg)\n"
                                "E: Error reading dependency file '/a.kmg'.\n");
}

} // namespace kestrel
