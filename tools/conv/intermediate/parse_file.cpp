#include "tools/conv/intermediate/parse_file.h"

#include "kcore/messages/messages.h"
#include "tools/conv/intermediate/file_text.h"
#include "tools/conv/intermediate/model_grammar.h"
#include "tools/conv/intermediate/skeleton_grammar.h"

namespace kestrel {

template <class grammar_t, class root_t>
static root_t *parse_text(std::string_view text, const char *file_name, owner_list_t &owners) {
    root_t *root = owners.create<root_t>();
    if (!root) {
        msg_error("%s:%d: %s [ token '%s' ]", file_name, 1, "memory exhausted", "");
        return nullptr;
    }
    scanner_t scanner(text, file_name);
    return grammar_t(scanner, owners, *root).parse() ? root : nullptr;
}

kim_t *parse_model_text(std::string_view text, const char *file_name, owner_list_t &owners) {
    return parse_text<model_grammar_t, kim_t>(text, file_name, owners);
}

kis_t *parse_skeleton_text(std::string_view text, const char *file_name, owner_list_t &owners) {
    return parse_text<skeleton_grammar_t, kis_t>(text, file_name, owners);
}

kim_t *parse_model_file(file_t &file, owner_list_t &owners) {
    file_text_t text;
    return text.read(file) ? parse_model_text(text.view(), display_name_of(&file).c_str(), owners) : nullptr;
}

kis_t *parse_skeleton_file(file_t &file, owner_list_t &owners) {
    file_text_t text;
    return text.read(file) ? parse_skeleton_text(text.view(), display_name_of(&file).c_str(), owners)
                           : nullptr;
}

} // namespace kestrel
