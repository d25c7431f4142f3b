#include "tools/conv/kim2kmg/asset_path.h"

#include <cstring>
#include <string>

namespace kestrel {

static constexpr std::string_view output_extension = ".kmg";

// Where the file's own name begins.
static size_t name_start(std::string_view path) {
    return path.find_last_of(path_separators) + 1;
}

bool make_output_name(std::string_view input_name, mstring_t &output_name) {
    const size_t start = name_start(input_name);
    const size_t dot = input_name.substr(start).rfind('.');
    const size_t stem = dot == std::string_view::npos ? input_name.size() : start + dot;
    return output_name.assign(input_name.substr(0, stem)) && output_name.append(output_extension);
}

bool make_sibling_name(std::string_view output_name, std::string_view name, mstring_t &sibling) {
    return sibling.assign(output_name.substr(0, name_start(output_name))) && sibling.append(name);
}

bool resolve_parent_references(mstring_t &path) {
    for (;;) {
        const std::string_view text = path.view();
        const size_t dots = text.find("..");
        if (dots == std::string_view::npos)
            return true;
        if (dots < 2)
            return false;
        const size_t slash = text.substr(0, dots - 1).rfind('/');
        const size_t kept = slash == std::string_view::npos ? 0 : slash + 1;
        const size_t rest = std::min(dots + 3, text.size());
        const std::string after(text.substr(rest));
        path.cut(static_cast<uint32_t>(kept));
        if (!path.append(after))
            return false;
    }
}

} // namespace kestrel
