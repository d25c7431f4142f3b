#include "kcore/core/cdl.h"

#include "tests/support/captured_messages.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

// A command line, the current one while it lives.
class command_line_t {
  public:
    explicit command_line_t(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {
        std::vector<const char *> texts;
        for (const std::string &argument : arguments_)
            texts.push_back(argument.c_str());
        cdl_set_context(context_);
        all_taken_ = cdl_init(static_cast<int>(texts.size()), texts.data());
    }
    bool all_taken() const { return all_taken_; }
    const cdl_context_t &context() const { return context_; }

  private:
    std::vector<std::string> arguments_;
    cdl_context_t context_;
    bool all_taken_;
};

std::string value_or_null() {
    const char *const value = cdl_param_value();
    return value ? value : "(null)";
}

} // namespace

TEST(cdl, an_options_values_end_at_the_next_option) {
    const command_line_t line(
        {"program", "a.kim", "-root", "project", "second", "+x", "-tangent", "-root", "later", "-V"});
    EXPECT_TRUE(line.all_taken());
    const struct {
        const char *option;
        int32_t position;
        uint32_t count;
        const char *value;
    } cases[] = {{"-root", 2, 3, "project"},   {"+x", 5, 1, "(null)"},    {"-tangent", 6, 1, "(null)"},
                 {"-V", 9, 1, "(null)"},       {"a.kim", 1, 1, "(null)"}, {"-Root", -1, 0, "(null)"},
                 {"program", -1, 0, "(null)"}, {"-roo", -1, 0, "(null)"}};
    for (const auto &c : cases) {
        EXPECT_EQ(cdl_param(c.option), c.position) << c.option;
        EXPECT_EQ(cdl_argc(), c.count) << c.option;
        EXPECT_EQ(value_or_null(), c.value) << c.option;
    }
}

TEST(cdl, asking_for_values_before_any_option_is_reported) {
    captured_messages_t messages;
    const command_line_t line({"program", "a", "b"});
    EXPECT_EQ(cdl_argc(), 3u);
    EXPECT_EQ(value_or_null(), "a");
    const std::string report = "E: [cdl] A call to cdl_argc() without matching cdl_param().\n";
    EXPECT_EQ(messages.text(), report + report);
}

TEST(cdl, the_texts_share_2048_bytes) {
    const std::string most(2048 - 2 - 3 - 1, 'x');
    EXPECT_TRUE(command_line_t({"p", most, "-V"}).all_taken());
    const command_line_t too_long({"p", most + "x", "-V", "y"});
    EXPECT_FALSE(too_long.all_taken());
    EXPECT_EQ(too_long.context().argument_count, 2u);
    EXPECT_EQ(too_long.context().matched_run_end, 2u);
}

} // namespace kestrel
