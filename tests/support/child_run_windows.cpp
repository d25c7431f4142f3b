// There is no fork: the child is this program once more, with the same test, which does nothing of note until
// it comes to the same call. Folders and variables of the test are the child's own.

#include "tests/support/asset_tree.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <io.h>

namespace kestrel {

namespace {

constexpr char child_variable[] = "KIM2KMG_TEST_CHILD", folder_variable[] = "KIM2KMG_TEST_CHILD_FOLDER";

std::string current_test() {
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test.test_suite_name()) + "." + test.name();
}

// Not the test's banner, which stands before, but what the code writes.
[[noreturn]] void be_the_child(const std::function<void()> &code, const std::string &folder) {
    if (!std::freopen((folder + "/output").c_str(), "wb", stdout) ||
        !std::freopen((folder + "/errors").c_str(), "wb", stderr))
        std::_Exit(127);
    code();
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(0);
}

} // namespace

child_run_t run_in_child(const std::function<void()> &code) {
    static std::string test;
    static int calls = 0;
    calls = std::exchange(test, current_test()) == current_test() ? calls + 1 : 1;
    if (const char *const number = std::getenv(child_variable)) {
        if (calls == std::atoi(number))
            be_the_child(code, std::getenv(folder_variable));
        return {};
    }
    const temporary_directory_t folder;
    _putenv_s(child_variable, std::to_string(calls).c_str());
    _putenv_s(folder_variable, folder.path().string().c_str());
    const program_run_t run = run_program(_pgmptr, {"--gtest_filter=" + test}, folder.path());
    _putenv_s(child_variable, "");
    return {run.status, folder.read("output"), folder.read("errors")};
}

} // namespace kestrel
