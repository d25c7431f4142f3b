#include "tools/build/model_head.h"

#include "tools/build/platform/files.h"
#include "tools/conv/intermediate/scanner.h"

namespace kestrel {

static constexpr size_t usual_head = 4096;
static constexpr size_t longest_head = 1 << 20;

bool find_skeleton_name(std::string_view text, std::string &name) {
    std::string padded(text);
    padded.append(scanner_t::text_padding, '\0');
    scanner_t scanner({padded.data(), text.size()}, "");
    bool in_global = false;
    for (token_kind_t token; (token = scanner.next()) != token_kind_t::end_of_input;) {
        if (token == "GLOBAL"_kw) {
            in_global = true;
        } else if (in_global && token == "SKELETON"_kw) {
            if (scanner.next() != token_kind_t::colon || scanner.next() == token_kind_t::end_of_input)
                return false;
            name = scanner.string();
            return true;
        } else if (in_global && token == token_kind_t::right_brace) {
            name.clear();
            return true;
        }
    }
    return false;
}

std::string skeleton_named_by(const tree_paths_t &paths, const std::string &model) {
    for (size_t limit = usual_head; limit <= longest_head; limit *= 16) {
        std::string head, name;
        if (read_file_start(paths.source(model), limit, head))
            return {};
        if (find_skeleton_name(head, name))
            return name.empty() ? std::string() : std::string(folder_of(model)) + name;
        if (head.size() < limit)
            break;
    }
    return {};
}

} // namespace kestrel
