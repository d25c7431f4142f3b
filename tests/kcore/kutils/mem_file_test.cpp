#include "kcore/kutils/ufs/mem_file.h"

#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/ufs/io_pump.h"
#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

std::string text_of(mem_file_t &file, uint64_t position, size_t size) {
    std::string text(size, '?');
    return file.read_at(std::as_writable_bytes(std::span(text)), position) ? text : "failed";
}

bool write_at(mem_file_t &file, uint64_t position, std::string_view text) {
    file.set_offset(position);
    return file.write(std::as_bytes(std::span(text)));
}

} // namespace

TEST(mem_file, gaps_read_as_zeros_and_cost_no_page) {
    mem_file_t file;
    EXPECT_TRUE(write_at(file, 5000, "0123456789"));
    EXPECT_EQ(file.get_size(), 5010u);
    EXPECT_EQ(file.page_count(), 1u);
    EXPECT_EQ(text_of(file, 0, 5000), std::string(5000, '\0'));
    EXPECT_EQ(text_of(file, 4999, 11), std::string(1, '\0') + "0123456789");
    EXPECT_EQ(file.page_count(), 1u);
}

TEST(mem_file, writes_cross_pages_and_overwrite) {
    mem_file_t file;
    EXPECT_TRUE(write_at(file, 1020, "0123456789"));
    EXPECT_EQ(file.page_count(), 2u);
    EXPECT_TRUE(write_at(file, 1022, "ab"));
    EXPECT_EQ(text_of(file, 1020, 10), "01ab456789");
    EXPECT_EQ(file.get_size(), 1030u);
    const std::string three_pages(3 * 1024, 'x');
    EXPECT_TRUE(write_at(file, 1024, three_pages));
    EXPECT_EQ(text_of(file, 1020, 4 + three_pages.size()), "01ab" + three_pages);
    EXPECT_EQ(file.page_count(), 4u);
    EXPECT_EQ(file.offset(), 1024 + three_pages.size());
}

TEST(mem_file, reads_end_at_the_size) {
    mem_file_t file;
    write_at(file, 0, "0123456789");
    EXPECT_EQ(text_of(file, 10, 1), "failed");
    EXPECT_EQ(text_of(file, 5, 6), "failed");
    EXPECT_EQ(text_of(file, ~uint64_t{0}, 2), "failed");
    EXPECT_EQ(text_of(file, 10, 0), "");
    EXPECT_EQ(text_of(file, 5, 5), "56789");
    file.set_offset(8);
    std::byte bytes[2];
    EXPECT_TRUE(file.read(bytes));
    EXPECT_FALSE(file.read(bytes));
    EXPECT_EQ(file.offset(), 10u);
}

TEST(mem_file, resizing_drops_pages_and_what_comes_back_is_zero) {
    mem_file_t file;
    write_at(file, 0, std::string(5000, 'x'));
    EXPECT_EQ(file.page_count(), 5u);
    EXPECT_TRUE(file.set_size(100));
    EXPECT_EQ(file.get_size(), 100u);
    EXPECT_EQ(file.page_count(), 1u);
    EXPECT_TRUE(file.set_size(3000));
    EXPECT_EQ(text_of(file, 0, 3000), std::string(100, 'x') + std::string(2900, '\0'));
    EXPECT_FALSE(file.set_size(~uint64_t{0}));
    EXPECT_EQ(file.get_size(), 3000u);
}

TEST(mem_file, read_only_and_fixed_size) {
    mem_file_t fixed;
    fixed.make_fixed_size();
    EXPECT_FALSE(fixed.set_size(1025));
    EXPECT_TRUE(fixed.set_size(1024));
    EXPECT_EQ(text_of(fixed, 0, 1024), std::string(1024, '\0'));

    mem_file_t read_only;
    write_at(read_only, 0, "text");
    read_only.make_read_only();
    EXPECT_FALSE(write_at(read_only, 0, "x"));
    EXPECT_EQ(text_of(read_only, 0, 4), "text");
}

namespace {

class fs_copy_of : public testing::Test {
  protected:
    fs_copy_of() {
        write_at(source_, 0, std::string(9000, 's'));
        target_ = system_.system_device().open("/target", fs_open_mode_t::create);
        system_.platform().take_calls();
    }
    // The offsets of the blocks that reached the target.
    std::vector<std::string> writes() {
        std::vector<std::string> found;
        for (const std::string &call : system_.platform().take_calls())
            if (call.starts_with("write /target "))
                found.push_back(call.substr(14));
        return found;
    }

    captured_messages_t messages_;
    fake_file_system_t system_;
    mem_file_t source_;
    std::unique_ptr<file_t> target_;
};

} // namespace

TEST_F(fs_copy_of, a_file_goes_in_blocks_from_the_start_of_both) {
    source_.set_offset(77);
    target_->set_offset(5);
    const uint64_t operations = fs_read_statistics.total_operations;
    EXPECT_TRUE(fs_copy(target_.get(), &source_));
    EXPECT_EQ(writes(), (std::vector<std::string>{"0+4096", "4096+4096", "8192+808"}));
    EXPECT_EQ(system_.platform().content("/target"), std::string(9000, 's'));
    EXPECT_EQ(source_.offset(), 0u);
    EXPECT_EQ(target_->offset(), 0u);
    EXPECT_EQ(fs_read_statistics.total_operations - operations, 3u);
}

TEST_F(fs_copy_of, nothing_is_reported_source_first) {
    EXPECT_FALSE(fs_copy(nullptr, nullptr));
    EXPECT_FALSE(fs_copy(nullptr, &source_));
    EXPECT_FALSE(fs_copy(target_.get(), nullptr));
    EXPECT_EQ(messages_.text(), "E: [fs_copy] incorrect source file!\n"
                                "E: [fs_copy] incorrect destination file!\n"
                                "E: [fs_copy] incorrect source file!\n");
}

TEST_F(fs_copy_of, a_write_that_fails_is_reported_and_leaves_the_offsets) {
    system_.platform().fail("write /target 4096+");
    EXPECT_FALSE(fs_copy(target_.get(), &source_));
    EXPECT_EQ(messages_.text(), "E: [fs] <SYSFS>/target: input or output error\n"
                                "E: [fs_copy] error writing block: <SYSFS>/target @ 4096 (chunk size 4096)\n"
                                "E: [fs_copy] failed to copy files!\n");
    EXPECT_EQ(target_->offset(), 4096u);
    EXPECT_EQ(source_.offset(), 0u);
}

TEST_F(fs_copy_of, a_read_that_fails_is_reported) {
    ASSERT_TRUE(fs_copy(target_.get(), &source_));
    mem_file_t copy;
    system_.platform().fail("read /target 8192+808");
    EXPECT_FALSE(fs_copy(&copy, target_.get()));
    EXPECT_EQ(messages_.text(), "E: [fs] <SYSFS>/target: input or output error\n"
                                "E: [fs_copy] error reading block: <SYSFS>/target @ 0 (chunk size 808)\n"
                                "E: [fs_copy] failed to copy files!\n");
    EXPECT_EQ(copy.offset(), 8192u);
}

} // namespace kestrel
