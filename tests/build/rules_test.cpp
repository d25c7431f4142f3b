#include "tools/build/rules.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(rules, patterns) {
    struct {
        const char *pattern, *path;
        bool matches;
    } const cases[] = {
        {"/model/a.kim", "/model/a.kim", true},
        {"/model/a.kim", "/model/a.kimx", false},
        {"/model/*.kim", "/model/a.kim", true},
        {"/model/*.kim", "/model/sub/a.kim", false},
        {"/model/**", "/model/sub/a.kim", true},
        {"/model/**/a.kim", "/model/x/y/a.kim", true},
        {"/model/**/a.kim", "/model/a.kim", false},
        {"/*/*/a*b.kim", "/x/y/aab.kim", true},
        {"/**a/*b/**c", "/xa/1a/yb/zb/qc", true},
        {"/**/*z/c", "/a/bz/cz/c", true},
        {"/m?/a", "/mx/a", true},
        {"/m?a", "/m/a", false},
        {"car_*.kim", "/model/vehicle/car_taxi.kim", true},
        {"car_*.kim", "/model/old_car_taxi.kim", false},
        {"vehicle/*", "/model/vehicle/a.kim", true},
        {"vehicle/*", "/model/vehicle/sub/a.kim", false},
        {"*", "/a.kim", true},
        {"/**", "/a.kim", true},
    };
    for (const auto &each : cases)
        EXPECT_EQ(matches_pattern(each.pattern, each.path), each.matches) << each.pattern << " " << each.path;
    // Does not take for ever.
    std::string stars, text = "/";
    for (int i = 0; i < 60; ++i) {
        stars += "*a";
        text += "aa";
    }
    EXPECT_FALSE(matches_pattern("/" + stars + "b", text));
}

TEST(rules, last_match_wins) {
    std::string error;
    const auto rules = rules_t::parse(R"({ "rules": [
        { "models": "/**", "options": ["optimize"] },
        { "models": "/a/**", "options": ["tangent", "merge"] },
        { "options": [], "models": "raw_*" } ] })",
                                      error);
    ASSERT_TRUE(rules) << error;
    EXPECT_EQ(describe(rules->options_of("/x.kim")), "optimize");
    EXPECT_EQ(describe(rules->options_of("/a/x.kim")), "merge, tangent");
    EXPECT_EQ(describe(rules->options_of("/a/raw_x.kim")), "none");
}

TEST(rules, mistakes_have_places) {
    struct {
        const char *text, *error;
    } const cases[] = {
        {"", "1:1: "},
        {"[]", "1:1: a list where an object"},
        {"{\n  \"rule\": []\n}", "2:3: \"rule\" is not known here"},
        {"{ \"rules\": {} }", "1:12: an object where a list of rules"},
        {"{ \"rules\": [ { \"models\": 5 } ] }", "1:26: a number where a pattern"},
        {"{ \"rules\": [ 12 ] }", ": a number where a rule"},
        {"{ \"rules\": [ { \"models\": \"\\\"\", \"options\": [\n \"optimise\" ] } ] }",
         "2:2: \"optimise\" is no option"},
        {"{ \"rules\": [ { \"models\": \"é\\\\\", \"x\": 1 } ] }", "1:33: \"x\" is not known here"},
        {"{ \"rules\": [ { \"models\": \"*\" } ] }", "1:30: this rule has no \"options\""},
        {"{ \"rules\": [ { \"options\": [] } ] }", "1:30: this rule has no \"models\""},
        {"{ \"rules\": [ { \"models\": \"*\", \"options\": \"merge\" } ] }",
         "1:42: text where a list of options"},
        {"{ \"rules\": [\n] ", "2:"},
        {"{ \"rules\": [] } x", "1:17: "},
    };
    for (const auto &each : cases) {
        std::string error;
        EXPECT_FALSE(rules_t::parse(each.text, error)) << each.text;
        EXPECT_NE(error.find(each.error), std::string::npos) << each.text << "\n" << error;
    }
}

} // namespace kestrel
