#include "kcore/ufs/file.h"

#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kestrel {

namespace {

using calls_t = std::vector<std::string>;

std::span<const std::byte> bytes_of(std::string_view text) {
    return std::as_bytes(std::span(text));
}

// Text in which every position can be told from the others near it.
std::string counted_text(size_t size) {
    std::string text;
    while (text.size() < size)
        text += std::to_string(text.size()) + ",";
    text.resize(size);
    return text;
}

class file : public testing::Test {
  protected:
    // A file of the device below /w, opened for reading.
    std::unique_ptr<file_t> open(const std::string &content) {
        system_.platform().add_file("/w/file", content);
        device_ = system_.make_device("/w");
        auto opened = device_->open("/file", fs_open_mode_t::read);
        system_.platform().take_calls();
        return opened;
    }
    static std::string read(file_t &from, size_t size) {
        std::string text(size, '?');
        return from.read(std::as_writable_bytes(std::span(text))) ? text : "failed";
    }
    calls_t calls() { return system_.platform().take_calls(); }

    captured_messages_t messages_;
    fake_file_system_t system_;
    std::unique_ptr<sysfs_device_t> device_;
};

} // namespace

TEST_F(file, small_reads_are_served_from_one_refill) {
    const std::string content = counted_text(9000);
    const auto opened = open(content);
    EXPECT_EQ(read(*opened, 10), content.substr(0, 10));
    EXPECT_EQ(read(*opened, 20), content.substr(10, 20));
    EXPECT_EQ(calls(), (calls_t{"stat_file /w/file", "read /w/file 0+8192"}));
    // Beginning in the cache, ending behind it.
    opened->set_offset(8000);
    EXPECT_EQ(read(*opened, 500), content.substr(8000, 500));
    EXPECT_EQ(calls(), (calls_t{"stat_file /w/file", "read /w/file 8192+808"}));
    EXPECT_EQ(opened->offset(), 8500u);
    EXPECT_EQ(read(*opened, 0), "");
    EXPECT_EQ(calls(), calls_t{});
}

TEST_F(file, large_reads_bypass_the_cache) {
    const std::string content = counted_text(30000);
    const auto opened = open(content);
    EXPECT_EQ(read(*opened, 20000), content.substr(0, 20000));
    EXPECT_EQ(calls(), calls_t{"read /w/file 0+20000"});
    EXPECT_EQ(read(*opened, 8192), content.substr(20000, 8192));
    EXPECT_EQ(calls(), (calls_t{"stat_file /w/file", "read /w/file 20000+8192"}));
    // What the cache holds is taken from it, the rest directly.
    opened->set_offset(20100);
    EXPECT_EQ(read(*opened, 9900), content.substr(20100, 9900));
    EXPECT_EQ(calls(), (calls_t{"stat_file /w/file", "read /w/file 28192+1808"}));
    opened->set_offset(1);
    EXPECT_EQ(read(*opened, 8193), content.substr(1, 8193));
    EXPECT_EQ(calls(), calls_t{"read /w/file 1+8193"});
}

TEST_F(file, a_read_past_the_end_fails_and_leaves_the_offset) {
    const auto opened = open("0123456789");
    opened->set_offset(5);
    EXPECT_EQ(read(*opened, 10), "failed");
    EXPECT_EQ(opened->offset(), 5u);
    EXPECT_EQ(messages_.text(), "E: [fs] cached read - read request too big (<SYSFS>/w/file)\n");
    messages_.clear();
    opened->set_offset(100);
    EXPECT_EQ(read(*opened, 1), "failed");
    EXPECT_EQ(messages_.text(), "E: [fs] cached read - read request too big (<SYSFS>/w/file)\n");
    messages_.clear();
    opened->set_offset(0);
    EXPECT_EQ(read(*opened, 9000), "failed"); // directly, and it meets the end of the file
    EXPECT_EQ(opened->offset(), 0u);
    EXPECT_EQ(messages_.text(), "");
    EXPECT_EQ(read(*opened, 10), "0123456789");
}

TEST_F(file, a_refill_that_fails_is_reported_and_leaves_no_stale_bytes) {
    const auto opened = open(counted_text(9000));
    EXPECT_NE(read(*opened, 10), "failed");
    opened->set_offset(8500);
    system_.platform().fail("read");
    EXPECT_EQ(read(*opened, 10), "failed");
    EXPECT_EQ(messages_.text(), "E: [fs] <SYSFS>/w/file: input or output error\n"
                                "E: [fs] cached read - buffer update failed (<SYSFS>/w/file)\n");
    opened->set_offset(0);
    EXPECT_EQ(read(*opened, 10), "failed");
}

TEST_F(file, writes_move_the_offset_and_drop_the_cache) {
    open("");
    const auto opened = device_->open("/file", fs_open_mode_t::create_or_read_write);
    EXPECT_TRUE(opened->write(bytes_of("0123456789")));
    EXPECT_EQ(opened->offset(), 10u);
    opened->set_offset(0);
    EXPECT_EQ(read(*opened, 3), "012");
    EXPECT_TRUE(opened->write(bytes_of("abc")));
    opened->set_offset(2);
    EXPECT_EQ(read(*opened, 5), "2abc6");
    EXPECT_TRUE(opened->write({}));
    EXPECT_TRUE(opened->printf("%s=%u", "n", 5u));
    EXPECT_EQ(system_.platform().content("/w/file"), "012abc6n=5");

    system_.platform().fail("write");
    EXPECT_FALSE(opened->write(bytes_of("x")));
    EXPECT_EQ(opened->offset(), 10u);
    auto buffer = std::make_unique<std::byte[]>(4);
    EXPECT_FALSE(opened->write_owned(buffer, 4));
    EXPECT_TRUE(buffer);
    system_.platform().fail_no_more();
    EXPECT_TRUE(opened->write_owned(buffer, 4));
    EXPECT_FALSE(buffer);
    EXPECT_TRUE(opened->set_size(2));
    EXPECT_EQ(opened->get_size(), 2u);
}

TEST_F(file, the_cache_never_shows_what_was_there_before_a_change) {
    open("0123456789");
    const auto opened = device_->open("/file", fs_open_mode_t::create_or_read_write);
    const auto reread = [&](size_t size) {
        opened->set_offset(0);
        return read(*opened, size);
    };
    EXPECT_EQ(reread(10), "0123456789");
    EXPECT_TRUE(opened->set_size(4));
    EXPECT_EQ(reread(10), "failed");
    mem_file_t text;
    text.write(bytes_of("abcd"));
    EXPECT_EQ(reread(4), "0123");
    EXPECT_TRUE(fs_copy(opened.get(), &text));
    EXPECT_EQ(reread(4), "abcd");
    EXPECT_TRUE(opened->write_request(bytes_of("xy"), 0, {}).wait());
    calls();
    EXPECT_EQ(reread(4), "xycd");
    EXPECT_EQ(calls(), calls_t{"read /w/file 0+4"}) << "what is written by request may come after a refill";
}

TEST_F(file, display_names_and_paths_by_path_kind) {
    const auto opened = open("");
    device_->set_mount("/mounted", 7, 1);
    const struct {
        fs_path_kind_t kind;
        const char *display_name;
        bool known;
        const char *mount_path; // null: none
    } cases[] = {{fs_path_kind_t::unknown, "<UNKNOWNFS>/file", true, nullptr},
                 {fs_path_kind_t::ufs, "</w | /mounted>/file", true, "/mounted/file"},
                 {fs_path_kind_t::sysfs, "<SYSFS>/w/file", true, nullptr},
                 {static_cast<fs_path_kind_t>(3), "<BADFS>/file", false, nullptr}};
    for (const auto &c : cases) {
        opened->set_path_kind(c.kind);
        string_dyn_t text, path("old");
        EXPECT_EQ(opened->get_display_name(text), c.known);
        EXPECT_EQ(text.view(), c.display_name);
        EXPECT_EQ(opened->get_mount_path(path), c.mount_path != nullptr);
        EXPECT_EQ(path.view(), c.mount_path ? c.mount_path : "old");
    }
    EXPECT_EQ(opened->get_mount_id(), 7);
    string_dyn_t location;
    EXPECT_TRUE(opened->get_system_path(location));
    EXPECT_EQ(location.view(), "/w/file");
    EXPECT_EQ(display_name_of(nullptr).view(), "<NULL>");
}

} // namespace kestrel
