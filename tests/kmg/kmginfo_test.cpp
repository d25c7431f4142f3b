// kmginfo and kmg2glb as their users run them.

#include "tests/kmg/kmg_builder.h"
#include "tests/support/asset_tree.h"
#include "tools/kmg/kmg_check.h"

#include <cctype>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

namespace kestrel {

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// Every run of letters and "_" behind the mark, with the mark.
std::set<std::string> words_with(std::string_view text, std::string_view mark) {
    std::set<std::string> words;
    for (size_t at = text.find(mark); at != text.npos; at = text.find(mark, at + 1)) {
        size_t end = at + mark.size();
        while (end < text.size() && (std::islower(static_cast<unsigned char>(text[end])) || text[end] == '_'))
            ++end;
        if (end > at + mark.size())
            words.emplace(text.substr(at, end - at));
    }
    return words;
}

class kmg_tools : public ::testing::Test {
  protected:
    kmg_tools() {
        save("good.kmg", build(small_source()));
        bytes_t bad = build(small_source());
        save("bad.kmg", planted(bad, byte_of(bad, kmg_record_kind_t::piece, 1, "material") + 4, -1.0f));
        save("broken.kmg", planted(bad, 72, 116u));
        save("loose.kmg", planted(bad, byte_of(bad, kmg_record_kind_t::header, 0, "box_maximum"), 9.0f));
    }
    void save(const std::string &name, const bytes_t &bytes) {
        write_whole_file(tree_.base() / name, {reinterpret_cast<const char *>(bytes.data()), bytes.size()});
    }
    program_run_t info(const std::vector<std::string> &arguments) const {
        return run_program(KIM2KMG_KMGINFO, arguments, tree_.base());
    }
    program_run_t glb(const std::vector<std::string> &arguments) const {
        return run_program(KIM2KMG_KMG2GLB, arguments, tree_.base());
    }

    asset_tree_t tree_;
};

} // namespace

TEST_F(kmg_tools, exit_status_tells_good_from_bad_from_unreadable) {
    EXPECT_EQ(info({"good.kmg"}).status, 0);
    EXPECT_EQ(info({"--check", "good.kmg"}).status, 0);
    EXPECT_EQ(info({"--check", "good.kmg", "bad.kmg"}).status, 1);
    EXPECT_EQ(info({"--check", "broken.kmg"}).status, 1);
    EXPECT_EQ(info({"--check", "loose.kmg"}).status, 0);
    EXPECT_EQ(info({"--check", "--strict", "loose.kmg"}).status, 1);
    EXPECT_EQ(info({"--check", "bad.kmg", "none.kmg", "good.kmg"}).status, 2);
    EXPECT_EQ(info({"broken.kmg"}).status, 2);
    EXPECT_EQ(info({"bin"}).status, 2);
    EXPECT_EQ(info({"--diff", "good.kmg", "good.kmg"}).status, 0);
    EXPECT_EQ(info({"--diff", "good.kmg", "bad.kmg"}).status, 1);
    EXPECT_EQ(info({"--diff", "good.kmg", "none.kmg"}).status, 2);
}

TEST_F(kmg_tools, wrong_command_lines_are_told_apart_from_findings) {
    for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
             {},
             {"--nonsense", "good.kmg"},
             {"--diff", "good.kmg"},
             {"--check", "--diff", "good.kmg", "good.kmg"},
             {"--vertices", "x", "good.kmg"},
             {"--vertices", "9", "good.kmg"},
             {"--json", "--vertices", "0", "good.kmg"},
             {"--vertices", "0", "good.kmg", "bad.kmg"},
             {"--strict", "good.kmg"},
             {"--tolerance", "0.1", "good.kmg", "bad.kmg"},
         })
        EXPECT_EQ(info(arguments).status, 2) << ::testing::PrintToString(arguments);
    EXPECT_EQ(glb({}).status, 2);
    EXPECT_EQ(glb({"good.kmg", "bad.kmg", "-o", "out.glb"}).status, 2);
}

TEST_F(kmg_tools, output_goes_to_the_right_stream_and_has_no_colour_in_a_file) {
    const program_run_t good = info({"good.kmg"});
    EXPECT_THAT(good.output, StartsWith("good.kmg: sound ("));
    EXPECT_EQ(good.output.find('\x1b'), std::string::npos);
    EXPECT_EQ(good.errors, "");
    const program_run_t many = info({"--check", "good.kmg", "none.kmg", "bad.kmg"});
    EXPECT_THAT(many.output, HasSubstr("bad.kmg: error: piece 1"));
    EXPECT_THAT(many.errors, HasSubstr("none.kmg"));
    EXPECT_THAT(info({"broken.kmg"}).errors,
                HasSubstr("header (byte 72): bones_offset is 116, expected 112"));
    EXPECT_THAT(info({"--help"}).output, HasSubstr("Examples:"));
    EXPECT_THAT(info({"--json", "none.kmg"}).output,
                HasSubstr("cannot be opened: No such file or directory\""));
    EXPECT_THAT(info({"--indices", "1", "good.kmg"}).output, "triangle,a,b,c\n0,0,1,2\n");
}

TEST_F(kmg_tools, the_skeleton_is_looked_up_in_the_dependency_file) {
    for (const std::string name : {"knight.kim", "knight.kis"})
        tree_.add_source(name, read_whole_file(KIM2KMG_SAMPLES "/model/actor/" + name));
    ASSERT_EQ(tree_.run({"/knight.kim", "-root", "project"}).status, 0);
    const std::string file = "rsrc/project/@cache/knight.kmg";
    EXPECT_EQ(info({"--check", file}).output.find("skeleton_hash"), std::string::npos);
    std::string bytes = read_whole_file(tree_.base() / file);
    bytes[24] ^= 1;
    write_whole_file(tree_.base() / file, bytes);
    EXPECT_THAT(info({"--check", file}).output, HasSubstr(", that of '/knight.kis' is 0x"));
}

TEST_F(kmg_tools, glb_is_written_whole_or_not_at_all) {
    const auto contents = [&] {
        std::map<std::string, std::string> files;
        for (const auto &entry : std::filesystem::directory_iterator(tree_.base()))
            if (entry.is_regular_file() && !entry.path().filename().string().starts_with("std"))
                files[entry.path().filename().string()] = read_whole_file(entry.path());
        return files;
    };
    std::filesystem::copy(tree_.base() / "good.kmg", tree_.base() / "copy");
    std::vector<std::string> refused{"good.kmg", "copy", "bin", "/dev/null", "new.kmg", "folder/out.glb"};
    std::error_code no_links_here;
    std::filesystem::create_symlink("copy", tree_.base() / "link", no_links_here);
    if (!no_links_here)
        refused.push_back("link");
    write_whole_file(tree_.base() / "old.glb", "old");
    const auto before = contents();
    // Neither input nor any other geometry file, folder or device is written over, and no folder is made.
    for (const std::string &output : refused) {
        EXPECT_EQ(glb({"good.kmg", "-o", output}).status, 2) << output;
        EXPECT_EQ(contents(), before) << output;
    }
    const program_run_t bad = glb({"bad.kmg", "-o", "old.glb"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_THAT(bad.errors, HasSubstr("bad.kmg: piece 1"));
    EXPECT_EQ(glb({"none.kmg", "-o", "old.glb"}).status, 2);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(glb({"good.kmg", "loose.kmg"}).status, 0);
    EXPECT_EQ(glb({"good.kmg", "-o", "old.glb"}).status, 0);
    auto after = contents();
    for (const char *output : {"good.glb", "loose.glb", "old.glb"}) {
        EXPECT_THAT(after[output], StartsWith("glTF"));
        after.erase(output);
    }
    after["old.glb"] = "old";
    EXPECT_EQ(after, before);
}

#ifndef __SANITIZE_ADDRESS__ // which needs more address space than any limit leaves
TEST_F(kmg_tools, memory_that_runs_out_is_a_message) {
    std::filesystem::resize_file(tree_.base() / "good.kmg", uint64_t{1} << 30);
    for (const std::string program : {KIM2KMG_KMGINFO, KIM2KMG_KMG2GLB}) {
        const auto run =
            run_program("/bin/sh", {"-c", "ulimit -v 500000; exec " + program + " good.kmg"}, tree_.base());
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.errors, HasSubstr("memory has run out"));
    }
}
#endif

TEST_F(kmg_tools, every_option_is_in_the_manual_and_completed) {
    const auto docs = std::filesystem::path(KIM2KMG_DOCS);
    for (const auto &[program, completions] : {std::pair(KIM2KMG_KMGINFO, "kmginfo"),
                                               {KIM2KMG_KMG2GLB, "kmginfo"},
                                               {KIM2KMG_GLTF2KIM, "gltf2kim"}}) {
        const std::string completion = read_whole_file(docs / "completion" / completions);
        const std::string name = std::filesystem::path(program).stem().string();
        std::string manual = read_whole_file(docs / "man" / (name + ".1"));
        std::erase(manual, '\\');
        const std::string help = run_program(program, {"--help"}, tree_.base()).output;
        const auto options = words_with(help.substr(0, help.find("Examples:")), "--");
        EXPECT_GE(options.size(), 2u) << help;
        for (const std::string &option : options) {
            EXPECT_THAT(manual, HasSubstr(option)) << name;
            EXPECT_THAT(completion, HasSubstr(option)) << name;
        }
    }
}

TEST_F(kmg_tools, every_code_is_documented_as_it_is) {
    const std::string documented = read_whole_file(std::filesystem::path(KIM2KMG_DOCS) / "inspect.md");
    std::istringstream lines(info({"--codes"}).output);
    size_t codes = 0;
    for (std::string line; std::getline(lines, line); ++codes)
        EXPECT_THAT(documented, HasSubstr("\n" + line + "\n"));
    EXPECT_EQ(codes, finding_kinds().size());
}

} // namespace kestrel
