#include "tools/conv/kim2kmg/names_and_parent_references.h"

namespace kestrel {

static constexpr std::string_view output_extension = ".kmg";

// Where the file's own name begins.
static size_t name_start(std::string_view path) {
    return path.find_last_of(path_separators) + 1;
}

void make_output_name(std::string_view input_name, string_dyn_t &output_name) {
    const size_t start = name_start(input_name);
    const size_t dot = input_name.substr(start).rfind('.');
    const size_t stem = dot == std::string_view::npos ? input_name.size() : start + dot;
    output_name.assign(input_name.substr(0, stem));
    output_name.append(output_extension);
}

void make_sibling_name(std::string_view output_name, std::string_view name, string_dyn_t &sibling) {
    sibling.assign(output_name.substr(0, name_start(output_name)));
    sibling.append(name);
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
        const std::string_view rest = text.substr(std::min(dots + 3, text.size()));
        path.write_at(static_cast<uint32_t>(kept), rest); // which is shorter, so it always fits
    }
}

} // namespace kestrel
