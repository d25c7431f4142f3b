// What every system's layer does.

#include "tests/kcore/ufs/real_files.h"

namespace kestrel {

TEST_F(real_files, open_modes) {
    directory_.write("old", "content");
    EXPECT_FALSE(open("missing", fs_open_mode_t::read));
    EXPECT_TRUE(open("old", fs_open_mode_t::read));
    EXPECT_FALSE(open("old", fs_open_mode_t::create));
    EXPECT_TRUE(open("new", fs_open_mode_t::create));
    EXPECT_TRUE(open("old", fs_open_mode_t::create_or_read_write));
    EXPECT_EQ(directory_.read("old"), "content");
    EXPECT_TRUE(open("newer", fs_open_mode_t::create_or_read_write));
    EXPECT_TRUE(open("old", fs_open_mode_t::create_truncate));
    EXPECT_EQ(directory_.read("old"), "");
    EXPECT_TRUE(open("newest", fs_open_mode_t::create_truncate));
    EXPECT_EQ(messages_.text(), "");
    EXPECT_FALSE(open("old/new", fs_open_mode_t::create_truncate));
    fs_handle_t handle;
    const std::string path = directory_ / "other";
    EXPECT_EQ(platform_.open(path.c_str(), fs_open_mode_t::create_truncate, handle),
              fs_reason_t::unsupported);
}

TEST_F(real_files, transfers_stat_and_size) {
    const std::string path = directory_ / "file";
    const auto file = open("file", fs_open_mode_t::create);
    EXPECT_TRUE(file->write_at(std::as_bytes(std::span("0123456789", 10)), 5));
    EXPECT_EQ(read(*file, 15), std::string("\0\0\0\0\0", 5) + "0123456789");
    EXPECT_EQ(read(*file, 1), "failed");
    EXPECT_TRUE(file->set_size(7));
    EXPECT_TRUE(file->flush());
    EXPECT_EQ(platform_.flush_directory((directory_ / "").c_str()), fs_reason_t::none);
    EXPECT_EQ(platform_.flush_directory(path.c_str()), fs_reason_t::not_found);
    fs_stat_t found;
    EXPECT_TRUE(file->stat(found));
    EXPECT_EQ(found.kind, fs_kind_t::file);
    EXPECT_EQ(found.size, 7u);
    EXPECT_GT(found.modification_time, 1'600'000'000u);
    EXPECT_TRUE(device_.stat(directory_ / "", found));
    EXPECT_EQ(found.kind, fs_kind_t::directory);
    EXPECT_FALSE(device_.stat(directory_ / "missing", found));
}

TEST_F(real_files, backslashes_separate_directories) {
    make_folder("d");
    write_whole("d\\file", fs_open_mode_t::create, "content");
    EXPECT_EQ(directory_.read("d/file"), "content");
    write_whole("e\\f\\file", fs_open_mode_t::create, "content");
    EXPECT_EQ(directory_.read("e/f/file"), "content");
}

TEST_F(real_files, the_reason_of_a_failure_is_known) {
    directory_.write("file", "");
    make_folder("folder");
    const std::string file = directory_ / "file", folder = directory_ / "folder",
                      missing = directory_ / "missing";
    EXPECT_EQ(platform_.delete_file(missing.c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.delete_file((file + "/below").c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.create_directory(folder.c_str()), fs_reason_t::exists);
    EXPECT_EQ(platform_.create_directory((missing + "/d").c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.move_file(file.c_str(), folder.c_str(), false), fs_reason_t::exists);
}

TEST_F(real_files, removing_copying_and_moving) {
    directory_.write("a", std::string(200000, 'a'));
    directory_.write("b", "b");
    const std::string a = directory_ / "a", b = directory_ / "b", c = directory_ / "c", d = directory_ / "d";
    EXPECT_FALSE(device_.copy_file(a, b, false));
    EXPECT_EQ(directory_.read("b"), "b");
    EXPECT_TRUE(device_.copy_file(a, c, false));
    EXPECT_EQ(directory_.read("c"), std::string(200000, 'a'));
    EXPECT_TRUE(device_.copy_file(b, c, true));
    EXPECT_EQ(directory_.read("c"), "b");
    EXPECT_FALSE(device_.copy_file(directory_ / "missing", c, true));
    EXPECT_EQ(directory_.read("c"), "b");
    EXPECT_FALSE(device_.copy_file(a, directory_ / "none/c", true));

    EXPECT_FALSE(device_.move_file(a, b, false));
    EXPECT_TRUE(device_.move_file(a, b, true));
    EXPECT_FALSE(directory_.has("a"));
    EXPECT_TRUE(device_.move_file(b, a, false));
    EXPECT_EQ(directory_.read("a").size(), 200000u);

    EXPECT_TRUE(device_.create_directories(d));
    EXPECT_FALSE(device_.remove_file(d));
    EXPECT_TRUE(device_.remove_file(a));
    EXPECT_FALSE(device_.remove_file(a));
    EXPECT_TRUE(device_.remove_directory(d));
    EXPECT_FALSE(device_.remove_directory(d));
}

TEST_F(real_files, a_listing_is_in_byte_order_with_kinds) {
    for (const char *name : {"b", "C", "a", "\xC3\xA9"})
        write_whole(name, fs_open_mode_t::create, "");
    make_folder("folder");
    const auto listing = device_.list(directory_ / "");
    ASSERT_TRUE(listing);
    std::string text;
    for (const fs_listing_entry_t &entry : *listing)
        text += std::string(entry.name.view()) + " " + std::to_string(static_cast<int>(entry.kind)) + "|";
    EXPECT_EQ(text, "C 1|a 1|b 1|folder 2|\xC3\xA9 1|");
    EXPECT_FALSE(device_.list(directory_ / "a"));
}

TEST_F(real_files, paths_of_256_bytes_name_nothing) {
    const std::string path(256, 'p');
    fs_stat_t found;
    fs_handle_t handle;
    EXPECT_EQ(platform_.open(path.c_str(), fs_open_mode_t::create, handle), fs_reason_t::not_found);
    EXPECT_EQ(platform_.stat_path(path.c_str(), found), fs_reason_t::not_found);
    EXPECT_EQ(platform_.create_directory(path.c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.move_file(path.c_str(), "x", true), fs_reason_t::not_found);
}

} // namespace kestrel
