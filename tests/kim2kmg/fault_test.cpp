// Every operation of a conversion on the file system fails once, and falls short once; and at no moment does
// a dependency file stand beside an output that is not whole.

#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"
#include "tests/support/fake_platform.h"
#include "tests/support/model_text.h"
#include "tools/conv/kim2kmg/convert_file.h"

#include <gtest/gtest.h>

#include <algorithm>

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
outcome_t convert_spoilt(const files_t &tree, size_t operation, fault_t fault,
                         const std::vector<std::string> &whole_outputs) {
    outcome_t outcome{};
    outcome.record_always_true = true;
    captured_messages_t messages;
    fake_file_system_t system;
    fake_platform_t &disk = system.platform();
    for (const auto &[path, content] : tree)
        disk.add_file(path, content);
    disk.watch([&] {
        const auto is_whole = [&](const std::string &whole) { return disk.content(output) == whole; };
        if (disk.has_file(record) && disk.has_file(output))
            outcome.record_always_true &= std::any_of(whole_outputs.begin(), whole_outputs.end(), is_whole);
    });
    disk.spoil(operation, fault, fs_reason_t::no_space);
    {
        rcfs_device_t device(*file_system(), "/base", "project");
        outcome.converted = convert_file(device, "/d/m.kim", all_passes);
    }
    outcome.spoilt = disk.spoilt();
    outcome.operations = disk.call_count();
    outcome.messages = messages.text();
    outcome.files = disk.files();
    outcome.open_files = disk.open_file_count();
    return outcome;
}

files_t sources() {
    return {{"/base/project/d/m.kim", skinned_model_text()}, {"/base/project/d/s.kis", two_bone_skeleton}};
}

// A tree that was converted once, and whose model has changed since.
files_t converted_tree() {
    files_t tree = convert_spoilt(sources(), 0, fault_t::none, {}).files;
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
        const outcome_t untouched = convert_spoilt(before_, 0, fault_t::none, {});
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
        return convert_spoilt(before_, operation, fault, whole_outputs_);
    }

    // What holds whatever was spoilt.
    void check(const outcome_t &outcome) const {
        EXPECT_TRUE(outcome.record_always_true);
        EXPECT_EQ(outcome.open_files, 0u);
        for (const auto &[path, content] : sources())
            EXPECT_EQ(outcome.files.at(path), before_.at(path));
        if (outcome.converted) {
            EXPECT_EQ(outcome.files.at(output), after_.at(output));
            // An output that cannot be looked at again has no record.
            if (outcome.files.contains(record) || !outcome.spoilt.starts_with("stat " + output)) {
                EXPECT_EQ(outcome.files.at(record), after_.at(record));
            }
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
            EXPECT_EQ(child.status, abnormal_end_status);
            ++failures;
            continue;
        }
        const outcome_t outcome = run(n, fault_t::fails);
        ASSERT_NE(outcome.spoilt, "");
        SCOPED_TRACE("operation " + std::to_string(n) + ": " + outcome.spoilt + "\n" + outcome.messages);
        check(outcome);
        if (outcome.converted) {
            // Of these some are asked in vain anyway, and the others have another way round.
            EXPECT_TRUE(begins_with_any(outcome.spoilt, {"stat ", "mkdir ", "close "}));
            continue;
        }
        ++failures;
        EXPECT_NE(outcome.messages.find(": no space left on device\n"), std::string::npos);
        if (outcome.files == before_)
            continue;
        EXPECT_FALSE(outcome.files.contains(output));
        // An old record that cannot be removed stays, beside nothing.
        if (outcome.files.contains(record)) {
            EXPECT_TRUE(outcome.spoilt.ends_with(" " + record)) << outcome.spoilt;
            EXPECT_EQ(outcome.files.at(record), before_.at(record));
        }
    }
    // Two sources and two products: opened, transferred, asked for their size, closed.
    EXPECT_GE(failures, 12u);
}

TEST_P(fault_test, every_operation_fails_from_one_on) {
    for (size_t n = 1; n <= operations_; ++n) {
        const child_run_t child = run_in_child([&] { run(n, fault_t::all_fail); });
        if (child.status != 0) {
            EXPECT_EQ(child.status, abnormal_end_status);
            continue;
        }
        const outcome_t outcome = run(n, fault_t::all_fail);
        SCOPED_TRACE("operation " + std::to_string(n) + ": " + outcome.spoilt + "\n" + outcome.messages);
        check(outcome);
    }
}

TEST_P(fault_test, transfers_that_fall_short_are_continued) {
    size_t spoilt = 0;
    for (size_t n = 1; n <= operations_; ++n) {
        const outcome_t outcome = run(n, fault_t::moves_less);
        SCOPED_TRACE("operation " + std::to_string(n) + ": " + outcome.spoilt);
        spoilt += !outcome.spoilt.empty();
        check(outcome);
        EXPECT_TRUE(outcome.converted) << outcome.messages;
    }
    EXPECT_GE(spoilt, 4u); // two reads and two writes at least
}

// Another converter begins the same output between any two operations of this one and is killed at once.
TEST_P(fault_test, no_record_stands_beside_what_another_converter_left) {
    for (size_t n = 1; n <= operations_; ++n) {
        captured_messages_t messages;
        fake_file_system_t system;
        fake_platform_t &disk = system.platform();
        for (const auto &[path, content] : before_)
            disk.add_file(path, content);
        size_t operations = 0;
        disk.watch([&] {
            if (++operations != n)
                return;
            disk.remove(record);
            disk.add_file(output, "begun");
        });
        {
            rcfs_device_t device(*file_system(), "/base", "project");
            convert_file(device, "/d/m.kim", all_passes);
        }
        const bool vouched_for = disk.has_file(record);
        EXPECT_TRUE(!vouched_for || disk.content(output) == after_.at(output)) << n;
    }
}

// Output, record, output again: each has gone, or is known not to be there, before the next is touched.
TEST_P(fault_test, the_old_output_goes_before_its_record_and_both_before_the_new_one) {
    captured_messages_t messages;
    fake_file_system_t system;
    for (const auto &[path, content] : before_)
        system.platform().add_file(path, content);
    rcfs_device_t device(*file_system(), "/base", "project");
    EXPECT_TRUE(convert_file(device, "/d/m.kim", all_passes));
    std::vector<std::string> changes;
    for (const std::string &call : system.platform().take_calls())
        if (begins_with_any(call, {"delete ", "open create", "close /d/m.kmg", "move "}))
            changes.push_back(call);
    std::vector<std::string> expected = {"open create " + output, "open create " + record};
    if (GetParam())
        expected.insert(expected.begin(), {"delete " + output, "delete " + record});
    EXPECT_EQ(changes, expected);
}

INSTANTIATE_TEST_SUITE_P(trees, fault_test, testing::Bool(), [](const auto &tree) {
    return std::string(tree.param ? "with_old_products" : "of_sources_alone");
});

} // namespace

} // namespace kestrel
