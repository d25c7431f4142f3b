// Every allocation fails once: of a conversion, of a pass, of a parse, of a message.

#include "kcore/ufs/file_system.h"
#include "tests/cost/work_counter.h"
#include "tests/support/child_run.h"
#include "tests/support/mesh_model.h"
#include "tests/support/parsed_text.h"
#include "tests/support/temporary_directory.h"
#include "tools/conv/kim2kmg/convert_file.h"
#include "tools/conv/kim2kmg/passes/passes.h"

#include <gmock/gmock.h>

#include <csignal>
#include <set>
#include <unistd.h>

namespace kestrel {

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsSupersetOf;

// Does not allocate.
class printed_messages_t final : public message_counter_t {
  public:
    void handle(const message_t &message) override {
        message_counter_t::handle(message);
        std::fprintf(stderr, "%s\n", message.text.c_str());
    }
};

// What became of a process.
constexpr int done = 0, refused = 10, refused_in_silence = 11, ran_untouched = 12, unchanged = 13,
              broken = 14;

constexpr option_flags_t all_passes{.tangent = true,
                                    .discard_bad_triangles = true,
                                    .merge_part_pieces = true,
                                    .optimize_for_vertex_cache = true};

// One run over one file, the resource device included, whose n-th allocation fails.
[[noreturn]] void convert_and_exit(const std::string &base, uint64_t n,
                                   const option_flags_t &options = all_passes) {
    printed_messages_t messages;
    file_system_start();
    std::string name = "/d/m.kim";
    char *const names[] = {name.data()};
    size_t failures;
    uint64_t allocations;
    {
        work_counter_t counter;
        counter.fail_allocation(n);
        failures = convert_files(base, "project", options, names);
        allocations = counter.work().allocations;
    }
    _exit(allocations < n     ? ran_untouched
          : failures == 0     ? done
          : messages.errors() ? refused
                              : refused_in_silence);
}

std::set<std::string> everything_in(const std::string &folder) {
    std::set<std::string> found;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder))
        found.insert(std::filesystem::relative(entry.path(), folder));
    return found;
}

TEST(failing_memory, conversions_end_whole_or_not_at_all) {
    // The path of the skeleton has a parent reference to be resolved.
    const std::string model = edited(skinned_model_text(), "s.kis", "../s/s.kis");
    const std::string output = "base/rsrc/project/@cache/d/m.kmg", record = "base/rsrc/project/@dep/d/m.kmg";
    std::string whole_output, unordered_output, whole_record;
    std::set<std::string> whole_tree;
    size_t refusals = 0;
    for (uint64_t n = 0;; ++n) {
        const temporary_directory_t folder;
        std::filesystem::create_directories(folder / "base/project/d");
        std::filesystem::create_directories(folder / "base/project/s");
        folder.write("base/project/d/m.kim", model);
        folder.write("base/project/s/s.kis", two_bone_skeleton);
        const child_run_t run = run_in_child([&] { convert_and_exit(folder / "base", n); });
        SCOPED_TRACE("allocation " + std::to_string(n) + "\n" + run.errors);
        ASSERT_EQ(folder.read("base/project/d/m.kim"), model);
        if (n == 0) { // none fails
            ASSERT_EQ(run.status, done);
            whole_output = folder.read(output);
            whole_record = folder.read(record);
            whole_tree = everything_in(folder / "");
            option_flags_t unordered = all_passes;
            unordered.optimize_for_vertex_cache = false;
            run_in_child([&] { convert_and_exit(folder / "base", n, unordered); });
            unordered_output = folder.read(output);
            continue;
        }
        // A path that lost a part of itself would lead to another place.
        EXPECT_THAT(whole_tree, IsSupersetOf(everything_in(folder / "")));
        EXPECT_FALSE(std::filesystem::exists("/m.kmg"));
        if (run.status == ran_untouched) {
            EXPECT_GT(n, 50u);
            break;
        }
        switch (run.status) {
        case done: // a message was cut, or a piece could not be ordered and stayed as it was
            EXPECT_THAT(folder.read(output), AnyOf(whole_output, unordered_output));
            EXPECT_EQ(folder.read(record), whole_record);
            break;
        case refused:
            ++refusals;
            EXPECT_FALSE(folder.has(output));
            EXPECT_FALSE(folder.has(record));
            break;
        case 128 + SIGABRT: // fatal by rule; then nothing vouches for what is left
            EXPECT_THAT(run.errors, AnyOf(HasSubstr("retrofitting the triangle stream."),
                                          HasSubstr("Unable to initialize new triangle stream."),
                                          HasSubstr("Unable to allocate data for stream merge."),
                                          HasSubstr("Unable to initialize new merged stream."),
                                          HasSubstr("[memfs] unable to resize page directory!")));
            EXPECT_TRUE(!folder.has(record) || folder.read(output) == whole_output);
            break;
        default:
            ADD_FAILURE() << "status " << run.status;
        }
    }
    EXPECT_GT(refusals, 20u);
}

// Two pieces of it can be joined, and each has a triangle without an area.
const mesh_t piece = {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}}, {{0, 1, 3}, {0, 2, 1}}};

using pass_t = void (*)(kim_t &);

[[noreturn]] void run_and_exit(pass_t pass, uint64_t n, const std::vector<mesh_t> &whole) {
    const printed_messages_t messages;
    mesh_model_t made({piece, piece});
    made.add_part({0, 1});
    uint64_t allocations;
    {
        work_counter_t counter;
        counter.fail_allocation(n);
        pass(made.model);
        allocations = counter.work().allocations;
    }
    const std::vector<mesh_t> after = made.meshes();
    for (size_t p = 0; p < after.size(); ++p)
        if (after[p] != whole[p] && after[p] != piece)
            _exit(broken);
    _exit(allocations < n ? ran_untouched : after == whole ? done : unchanged);
}

TEST(failing_memory, a_pass_leaves_a_piece_as_it_was_or_ends_the_process_with_a_line_of_its_own) {
    const struct {
        pass_t pass;
        std::set<std::string> last_words;
    } cases[] = {
        {[](kim_t &model) { discard_degenerated_triangles(model); },
         {"kestrel::discard_degenerated_triangles: Unable to allocate memory for retrofitting the triangle "
          "stream.",
          "kestrel::discard_degenerated_triangles: Unable to initialize new triangle stream."}},
        {[](kim_t &model) { merge_part_pieces(model); },
         {"kestrel::append_stream_data: Unable to allocate data for stream merge.",
          "kestrel::append_stream_data: Unable to initialize new merged stream."}},
        {[](kim_t &model) { optimize_for_vertex_cache(model, true); }, {}},
    };
    const std::string source = "tools/conv/kim2kmg/kim2kmg_tools(";
    for (const auto &each : cases) {
        mesh_model_t made({piece, piece});
        made.add_part({0, 1});
        each.pass(made.model);
        const std::vector<mesh_t> whole = made.meshes();
        std::set<std::string> seen, places;
        int status = done;
        for (uint64_t n = 1; status != ran_untouched; ++n) {
            const child_run_t run = run_in_child([&] { run_and_exit(each.pass, n, whole); });
            SCOPED_TRACE("allocation " + std::to_string(n) + "\n" + run.errors);
            status = run.status;
            ASSERT_LT(n, 1000u);
            if (status == 128 + SIGABRT) {
                const size_t place = run.errors.find(source), text = run.errors.find("): ");
                ASSERT_NE(place, std::string::npos);
                places.insert(run.errors.substr(place, text - place));
                seen.insert(run.errors.substr(text + 3, run.errors.find('\n', text) - text - 3));
            } else if (status != ran_untouched) { // nothing but a message was cut, or a piece not ordered
                ASSERT_TRUE(status == done || (each.last_words.empty() && status == unchanged)) << status;
            }
        }
        EXPECT_EQ(seen, each.last_words);
        EXPECT_EQ(places.size(), each.last_words.size());
    }
}

// Whichever allocation of a parse fails, it is either a stream's, or it throws.
TEST(failing_memory, a_stream_that_cannot_be_had_is_named_with_its_size) {
    const std::string position_stream = "E: cannot allocate stream [size 36]\n"
                                        "E: f:30: inconsistent Stream item type/count [ token ')' ]\n";
    int named = 0, thrown = 0;
    for (uint64_t n = 1;; ++n) {
        captured_messages_t captured;
        owner_list_t owners;
        const kim_t *model = nullptr;
        try {
            work_counter_t counter;
            counter.fail_allocation(n);
            model = parse_model_text(one_triangle_model, "f", owners);
        } catch (const std::bad_alloc &) {
            ++thrown;
            continue;
        }
        if (model)
            break;
        EXPECT_TRUE(captured.text().starts_with("E: cannot allocate stream [size ")) << captured.text();
        named += captured.text() == position_stream;
    }
    EXPECT_EQ(named, 1);
    EXPECT_GT(thrown, 10);
}

// Notes what it hears without allocating, and answers the first message with one of the same text.
class answering_listener_t final : public listener_t {
  public:
    void handle(const message_t &message) override {
        if (heard == std::size(lengths))
            return;
        lengths[heard++] = message.text.length();
        if (heard == 1)
            msg_warning("%s", message.text.c_str());
    }
    size_t lengths[4] = {};
    size_t heard = 0;
};

TEST(failing_memory, a_message_that_no_memory_can_be_had_for_is_cut_and_the_next_one_is_whole) {
    constexpr size_t kept = 1023; // without an allocation
    for (const size_t length : {size_t{10}, kept, kept + 1, size_t{1000000}})
        for (uint64_t failing = 1; failing <= 4; ++failing) {
            const std::string text(length, 'm');
            answering_listener_t listener;
            {
                work_counter_t counter;
                counter.fail_allocation(failing);
                msg_error("%s", text.c_str());
                EXPECT_TRUE(length > kept || counter.work().allocations == 0) << length;
            }
            msg_error("%s", text.c_str());
            // The message, its nested answer, the next one.
            ASSERT_EQ(listener.heard, 3u) << length;
            EXPECT_EQ(listener.lengths[0], failing == 1 ? std::min(length, kept) : length);
            EXPECT_GE(listener.lengths[1], std::min(length, kept));
            EXPECT_EQ(listener.lengths[2], length);
        }
}

} // namespace

} // namespace kestrel
