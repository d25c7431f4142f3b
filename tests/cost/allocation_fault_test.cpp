// Every allocation of a conversion fails once.

#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "tests/cost/work_counter.h"
#include "tests/support/child_run.h"
#include "tests/support/skinned_model_text.h"
#include "tests/support/temporary_directory.h"
#include "tools/conv/kim2kmg/convert_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <unistd.h>

namespace kestrel {

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsSupersetOf;

class error_counter_t final : public message_handler_t {
  public:
    error_counter_t() {
        message_system_t::start();
        message_system_t::add_handler(*this);
    }
    ~error_counter_t() override {
        message_system_t::remove_handler(*this);
        message_system_t::stop();
    }
    void handle(const message_t &message) override {
        errors_ += message.level == message_level_t::error;
        std::fprintf(stderr, "%s\n", message.text.c_str());
    }
    size_t errors() const { return errors_; }

  private:
    size_t errors_ = 0;
};

constexpr int converted = 0, refused = 10, refused_in_silence = 11, ran_untouched = 12;

constexpr option_flags_t all_passes{.tangent = true,
                                    .discard_bad_triangles = true,
                                    .merge_part_pieces = true,
                                    .optimize_for_vertex_cache = true};

// One run over one file, the resource device included, whose n-th allocation fails; ends the process with
// what became of it.
[[noreturn]] void convert_and_exit(const std::string &base, uint64_t n,
                                   const option_flags_t &options = all_passes) {
    error_counter_t messages;
    file_system_start();
    std::string name = "/m.kim";
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
          : failures == 0     ? converted
          : messages.errors() ? refused
                              : refused_in_silence);
}

// Everything below a folder.
std::set<std::string> everything_in(const std::string &folder) {
    std::set<std::string> found;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder))
        found.insert(std::filesystem::relative(entry.path(), folder));
    return found;
}

TEST(allocation_fault, every_allocation_fails_once) {
    const std::string model = skinned_model_text();
    const std::string output = "base/rsrc/project/@cache/m.kmg", record = "base/rsrc/project/@dep/m.kmg";
    std::string whole_output, unordered_output, whole_record;
    std::set<std::string> whole_tree;
    size_t refusals = 0;
    for (uint64_t n = 0;; ++n) {
        const temporary_directory_t folder;
        std::filesystem::create_directories(folder / "base/project");
        folder.write("base/project/m.kim", model);
        folder.write("base/project/s.kis", two_bone_skeleton);
        const child_run_t run = run_in_child([&] { convert_and_exit(folder / "base", n); });
        SCOPED_TRACE("allocation " + std::to_string(n) + "\n" + run.errors);
        ASSERT_EQ(folder.read("base/project/m.kim"), model);
        if (n == 0) { // none fails
            ASSERT_EQ(run.status, converted);
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
        case converted: // a message was cut, or a piece could not be ordered and stayed as it was
            EXPECT_THAT(folder.read(output), AnyOf(whole_output, unordered_output));
            EXPECT_EQ(folder.read(record), whole_record);
            break;
        case refused:
            ++refusals;
            EXPECT_FALSE(folder.has(output));
            EXPECT_FALSE(folder.has(record));
            break;
        case abnormal_end_status: // fatal by rule; then nothing vouches for what is left
            EXPECT_THAT(run.errors,
                        AnyOf(HasSubstr("Unable to allocate memory for retrofitting the triangle stream."),
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

} // namespace

} // namespace kestrel
