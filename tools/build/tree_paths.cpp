#include "tools/build/tree_paths.h"

#include "kcore/core/core.h"
#include "kcore/core/platform/process.h"
#include "kcore/strings/string.h"
#include "tools/build/console.h"
#include "tools/build/platform/files.h"

#include <algorithm>

namespace kestrel {

// Without "/" at the end, and not leaving the base: its products would lie anywhere.
static std::optional<std::string> plain_root(std::string_view given) {
    std::string text(given);
    std::replace(text.begin(), text.end(), '\\', '/');
    std::string_view root = text;
    while (root.ends_with('/'))
        root.remove_suffix(1);
    while (root.starts_with("./"))
        root.remove_prefix(2);
    if (root.empty() || root.starts_with('/') || root.starts_with('-') || root.starts_with('+') ||
        ("/" + std::string(root) + "/").find("/../") != std::string::npos)
        return std::nullopt;
    return std::string(root);
}

std::optional<tree_paths_t> find_tree_paths(const std::string &root) {
    name_t program, base;
    if (!get_executable_path(program) || !get_base_directory_of(program.view(), base)) {
        say_error(
            "the tree is found by this program's own place, BASE/bin/PLATFORM/, and it does not lie in one");
        return std::nullopt;
    }
    program.replace_all('\\', '/');
    const auto plain = plain_root(root);
    if (!plain) {
        say_error("ROOT is the name of a folder in " + std::string(base.view()) + ", not '" + root + "'");
        return std::nullopt;
    }
    tree_paths_t paths;
    paths.base = base.view();
    paths.root = *plain;
    paths.sources = paths.base + "/" + paths.root;
    const std::string products = paths.base + "/rsrc/" + paths.root;
    paths.outputs = products + "/@cache";
    paths.records = products + "/@dep";
    paths.own = products + "/@build";
    const std::string_view own_path = program.view();
    paths.converter = std::string(own_path.substr(0, own_path.rfind('/') + 1)) + "kim2kmg";
    if (own_path.ends_with(".exe"))
        paths.converter += ".exe";
    if (is_folder(paths.sources))
        return paths;
    say_error("there is no folder " + paths.sources);
    return std::nullopt;
}

} // namespace kestrel
