#include "tools/conv/kim2kmg/names_and_parent_references.h"

#include "kcore/strings/string.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(names_and_parent_references, output_names) {
    const std::pair<const char *, const char *> cases[] = {
        {"a.kim", "a.kmg"},     {"/model/truck/cab.kim", "/model/truck/cab.kmg"},
        {"a.b.kim", "a.b.kmg"}, {"dir.old\\a.kim", "dir.old\\a.kmg"},
        {".kim", ".kmg"},       {"a/.kim", "a/.kmg"},
    };
    for (const auto &[input, expected] : cases) {
        string_dyn_t output;
        make_output_name(input, output);
        EXPECT_EQ(output.view(), expected);
    }
}

TEST(names_and_parent_references, names_beside_an_output) {
    const std::pair<const char *, const char *> cases[] = {
        {"/model/a.kmg", "/model/s.kis"}, {"a.kmg", "s.kis"}, {"m\\a.kmg", "m\\s.kis"}, {"/a.kmg", "/s.kis"}};
    for (const auto &[output, expected] : cases) {
        string_dyn_t sibling;
        make_sibling_name(output, "s.kis", sibling);
        EXPECT_EQ(sibling.view(), expected);
    }
}

TEST(names_and_parent_references, parent_references) {
    const struct {
        const char *path;
        bool resolved;
        const char *result;
    } cases[] = {
        {"/model/a.kis", true, "/model/a.kis"},
        {"/model/truck/../skel/a.kis", true, "/model/skel/a.kis"},
        {"/model/a/b/../../a.kis", true, "/model/a.kis"},
        {"/m/x..y/a.kis", true, "/m//a.kis"}, // also inside a name
        {"model/../a.kis", true, "a.kis"},
        {"/a/..", true, "/"},
        {"../a.kis", false, "../a.kis"},
        {"/../a.kis", false, "/../a.kis"},
        {"/a/../../b.kis", false, "/../b.kis"},
        {"a/..", true, ""},
    };
    for (const auto &each : cases) {
        string_dyn_t path;
        path.assign(each.path);
        EXPECT_EQ(resolve_parent_references(path), each.resolved) << each.path;
        EXPECT_EQ(path.view(), each.result);
    }
}

} // namespace kestrel
