#pragma once

// A text, what the parser made of it and what it said; in the messages the file is called "f".

#include "tests/support/captured_messages.h"
#include "tests/support/padded_text.h"
#include "tools/conv/intermediate/parse_file.h"

namespace kestrel {

template <class root_t, root_t *(*parse)(std::string_view, const char *, owner_list_t &)>
struct parsed_text_t {
    explicit parsed_text_t(const std::string &source) : text(source) {
        captured_messages_t captured;
        root = parse(text.view(), "f", owners);
        messages = captured.text();
    }

    padded_text_t text;
    owner_list_t owners;
    root_t *root; // null when the parse failed
    std::string messages;
};

using parsed_model_t = parsed_text_t<kim_t, parse_model_text>;
using parsed_skeleton_t = parsed_text_t<kis_t, parse_skeleton_text>;

} // namespace kestrel
