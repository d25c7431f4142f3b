// Every operation of a conversion on the file system fails once, falls short once, is interrupted once; and
// at no moment does a dependency file stand beside an output that is not whole.

#include "kcore/ufs/file_system.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"
#include "tests/support/fake_platform.h"
#include "tests/support/faulty_platform.h"
#include "tests/support/skinned_model_text.h"
#include "tools/conv/kim2kmg/convert_file.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

using files_t = std::map<std::string, std::string>;

constexpr option_flags_t all_passes{.tangent = true,
                                    .discard_bad_triangles = true,
                                    .merge_part_pieces = true,
                                    .optimize_for_vertex_cache = true};

const std::string output = "/base/rsrc/project/@cache/d/m.kmg";
const std::string record = "/base/rsrc/project/@dep/d/m.kmg";

struct outcome_t {
    bool converted;
    std::string messages;
    std::string spoilt;
    size_t operations;
    files_t files;
    bool record_always_true; // did it never stand beside an output that is not whole?
    size_t open_files;
};

// One conversion on a tree of its own.
class spoilt_conversion_t {
  public:
    explicit spoilt_conversion_t(const files_t &tree) {
        for (const auto &[path, content] : tree)
            disk_.add_file(path, content);
    }

    outcome_t run(size_t operation, fault_t fault, const std::vector<std::string> &whole_outputs) {
        outcome_t outcome{};
        outcome.record_always_true = true;
        {
            captured_messages_t messages;
            auto layer = std::make_unique<faulty_platform_t>(disk_);
            faulty_platform_t &platform = *layer;
            file_system_start(std::move(layer));
            platform.spoil(operation, fault);
            platform.watch([&] {
                if (disk_.has_file(record))
                    outcome.record_always_true &= disk_.has_file(output) && is_whole(whole_outputs);
            });
            {
                rcfs_device_t device(*file_system(), "/base", "project");
                outcome.converted = convert_file(device, "/d/m.kim", all_passes);
            }
            outcome.spoilt = platform.spoilt();
            outcome.operations = platform.operations();
            file_system_stop();
            outcome.messages = messages.text();
        }
        outcome.files = disk_.files();
        outcome.open_files = disk_.open_file_count();
        return outcome;
    }

  private:
    bool is_whole(const std::vector<std::string> &whole_outputs) const {
        const std::string content = disk_.content(output);
        return std::find(whole_outputs.begin(), whole_outputs.end(), content) != whole_outputs.end();
    }

    fake_platform_t disk_;
};

files_t sources() {
    return {{"/base/project/d/m.kim", skinned_model_text()}, {"/base/project/d/s.kis", two_bone_skeleton}};
}

// A tree that was converted once, and whose model has changed since.
files_t converted_tree() {
    files_t tree = spoilt_conversion_t(sources()).run(0, fault_t::none, {}).files;
    tree["/base/project/d/m.kim"] = edited(skinned_model_text(), "1 ( 1.0 0.0 0.0 )", "1 ( 5.0 0.0 0.0 )");
    return tree;
}

bool begins_with_any(const std::string &text, std::initializer_list<const char *> starts) {
    return std::any_of(starts.begin(), starts.end(),
                       [&](const char *start) { return text.starts_with(start); });
}

class fault_test : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        before_ = GetParam() ? converted_tree() : sources();
        const outcome_t untouched = spoilt_conversion_t(before_).run(0, fault_t::none, {});
        ASSERT_TRUE(untouched.converted) << untouched.messages;
        after_ = untouched.files;
        operations_ = untouched.operations;
        whole_outputs_ = {after_.at(output)};
        if (GetParam())
            whole_outputs_.push_back(before_.at(output));
        ASSERT_EQ(untouched.open_files, 0u);
        ASSERT_NE(whole_outputs_.front(), GetParam() ? whole_outputs_.back() : "");
    }

    outcome_t run(size_t operation, fault_t fault) const {
        return spoilt_conversion_t(before_).run(operation, fault, whole_outputs_);
    }

    // What holds whatever was spoilt.
    void check(const outcome_t &outcome) const {
        EXPECT_TRUE(outcome.record_always_true);
        EXPECT_EQ(outcome.open_files, 0u);
        for (const auto &[path, content] : sources())
            EXPECT_EQ(outcome.files.at(path), before_.at(path));
        if (outcome.converted) {
            EXPECT_EQ(outcome.files.at(output), after_.at(output));
            EXPECT_EQ(outcome.files.at(record), after_.at(record));
        } else {
            EXPECT_NE(outcome.messages.find("E: "), std::string::npos) << "nothing was said";
        }
    }

    files_t before_;
    files_t after_;
    std::vector<std::string> whole_outputs_;
    size_t operations_ = 0;
};

TEST_P(fault_test, one_operation_fails) {
    size_t failures = 0;
    for (size_t n = 1; n <= operations_; ++n) {
        // A file that was opened and cannot be asked for its size ends the process.
        const child_run_t child = run_in_child([&] { run(n, fault_t::fails); });
        if (child.status != 0) {
            EXPECT_EQ(child.status, 128 + SIGABRT);
            ++failures;
            continue;
        }
        const outcome_t outcome = run(n, fault_t::fails);
        ASSERT_NE(outcome.spoilt, "");
        SCOPED_TRACE("operation " + std::to_string(n) + ": " + outcome.spoilt + "\n" + outcome.messages);
        check(outcome);
        if (outcome.converted) {
            // Of these some are asked in vain anyway, and the others have another way round.
            EXPECT_TRUE(begins_with_any(outcome.spoilt, {"stat ", "mkdir ", "delete ", "move ", "close "}));
            continue;
        }
        ++failures;
        const bool untouched = outcome.files == before_;
        const bool nothing_left = !outcome.files.contains(output) && !outcome.files.contains(record);
        EXPECT_TRUE(untouched || nothing_left);
    }
    // Two sources and two products: opened, transferred, asked for their size, closed.
    EXPECT_GE(failures, 12u);
}

TEST_P(fault_test, every_operation_fails_from_one_on) {
    for (size_t n = 1; n <= operations_; ++n) {
        const child_run_t child = run_in_child([&] { run(n, fault_t::all_fail); });
        if (child.status != 0) {
            EXPECT_EQ(child.status, 128 + SIGABRT);
            continue;
        }
        const outcome_t outcome = run(n, fault_t::all_fail);
        SCOPED_TRACE("operation " + std::to_string(n) + ": " + outcome.spoilt + "\n" + outcome.messages);
        check(outcome);
    }
}

TEST_P(fault_test, transfers_that_fall_short_or_are_interrupted_are_continued) {
    size_t spoilt = 0;
    for (const fault_t fault : {fault_t::moves_less, fault_t::is_interrupted}) {
        for (size_t n = 1; n <= operations_; ++n) {
            const outcome_t outcome = run(n, fault);
            SCOPED_TRACE("operation " + std::to_string(n) + ": " + outcome.spoilt);
            spoilt += !outcome.spoilt.empty();
            check(outcome);
            EXPECT_TRUE(outcome.converted) << outcome.messages;
        }
    }
    EXPECT_GE(spoilt, 8u); // two reads and two writes at least, each in two ways
}

INSTANTIATE_TEST_SUITE_P(trees, fault_test, testing::Bool(), [](const auto &tree) {
    return std::string(tree.param ? "with_old_products" : "of_sources_alone");
});

} // namespace

} // namespace kestrel
