// What is so on Windows alone: devices by name, the sharing of open files, transfers through the completion
// port.

#include "tests/kcore/ufs/real_files.h"

#include <array>

namespace kestrel {

TEST_F(real_files, devices_are_closed_again_and_refused) {
    for (const char *device : {"NUL", "nul", "//./NUL"})
        for (const auto mode : {fs_open_mode_t::read, fs_open_mode_t::create_or_read_write}) {
            fs_handle_t handle;
            EXPECT_EQ(platform_.open(device, mode, handle), fs_reason_t::unsupported) << device;
        }
    make_folder("folder");
    for (const auto mode : {fs_open_mode_t::read, fs_open_mode_t::create_truncate, fs_open_mode_t::atomic})
        EXPECT_FALSE(device_.open(directory_ / "folder", mode));
}

TEST_F(real_files, an_open_file_may_be_read_by_others_and_not_written_or_removed) {
    directory_.write("file", "content");
    const std::string path = directory_ / "file";
    const auto first = open("file", fs_open_mode_t::read), second = open("file", fs_open_mode_t::read);
    ASSERT_TRUE(first && second);
    fs_handle_t handle;
    EXPECT_EQ(platform_.open(path.c_str(), fs_open_mode_t::create_or_read_write, handle),
              fs_reason_t::would_block);
    EXPECT_EQ(platform_.delete_file(path.c_str()), fs_reason_t::would_block);
    EXPECT_EQ(read(*first, 7), "content");
}

TEST_F(real_files, drives_need_no_creation) {
    EXPECT_TRUE(device_.create_directories("C:"));
    EXPECT_TRUE(device_.is_directory("C:/"));
}

TEST_F(real_files, requests_go_through_the_completion_port) {
    std::string content(1 << 20, '?');
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 2654435761u >> 24);
    const auto file = open("file", fs_open_mode_t::create);
    constexpr size_t parts = 64;
    const size_t size = content.size() / parts;
    const auto bytes = std::as_bytes(std::span(content));
    std::vector<fs_request_t> writes;
    for (size_t i = parts; i-- > 0;)
        writes.push_back(file->write_request(bytes.subspan(i * size, size), i * size, {}));
    for (fs_request_t &write : writes)
        EXPECT_TRUE(write.wait());
    std::string got(content.size(), '!');
    const auto into = std::as_writable_bytes(std::span(got));
    fs_request_t whole = file->read_request(into, 0, {});
    EXPECT_TRUE(whole.wait());
    EXPECT_EQ(got, content);
    std::array<std::byte, 16> beyond;
    EXPECT_FALSE(file->read_request(beyond, content.size() - 8, {}).wait());
    EXPECT_FALSE(file->read_request(beyond, content.size(), {}).wait());
    EXPECT_TRUE(file->read_request(std::span(beyond).first(0), 0, {}).wait());
}

} // namespace kestrel
