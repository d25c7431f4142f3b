#pragma once

// A text, what the parser made of it and what it said; in the messages the file is called "f".

#include "tests/support/captured_messages.h"
#include "tests/support/model_text.h"
#include "tools/conv/intermediate/parse_file.h"

#include <gtest/gtest.h>

namespace kestrel {

template <class root_t, root_t *(*parse)(scanner_t &, owner_list_t &)>
struct parsed_text_t {
    explicit parsed_text_t(const std::string &source, size_t window_size = text_window_t::usual_size) {
        captured_messages_t captured;
        text_file_t file(source, "f");
        scanner_t scanner(file, window_size);
        root = parse(scanner, owners);
        messages = captured.text();
    }

    owner_list_t owners;
    root_t *root; // null when the parse failed
    std::string messages;
};

using parsed_model_t = parsed_text_t<kim_t, parse_model>;
using parsed_skeleton_t = parsed_text_t<kis_t, parse_skeleton>;

// An edit that breaks a text, and where and how that is reported.
struct fault_t {
    const char *from;
    const char *to;
    int line;
    const char *message;
    const char *token;
};

// One fault, one message. `whole` makes the text of a file from the one that is edited.
template <class parsed_t, size_t N, class F>
void expect_faults(const fault_t (&faults)[N], const std::string &sound, F whole) {
    const parsed_t unbroken(whole(sound));
    ASSERT_TRUE(unbroken.root) << unbroken.messages;
    for (const auto &[from, to, line, message, token] : faults) {
        const parsed_t parsed(whole(edited(sound, from, to)));
        EXPECT_FALSE(parsed.root) << to;
        EXPECT_EQ(parsed.messages,
                  "E: f:" + std::to_string(line) + ": " + message + " [ token '" + token + "' ]\n")
            << to;
    }
}

} // namespace kestrel
