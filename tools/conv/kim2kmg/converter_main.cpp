#include "tools/conv/kim2kmg/converter_main.h"

#include "kcore/core/cdl.h"
#include "kcore/core/core.h"
#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"
#include "tools/conv/kim2kmg/convert_file.h"
#include "tools/conv/kim2kmg/options.h"

#include <algorithm>

namespace kestrel {

static constexpr char usage_text[] =
    "Usage: kim2kmg <input-file.kim> [OPTIONS]\r\n\r\n"
    "  -discard_bad_triangles\r\n"
    "\t\tdetect and discard bad (zero area) triangles from the geometry data.\r\n"
    "\t\tUse (usually) for old data that avoided bad triangle detection at export.\r\n"
    "  -merge_part_pieces\r\n"
    "\t\t!HIGHLY EXPERIMENTAL! - merge pieces using the same material within part.\r\n"
    "\t\tUse in cases when the geometry was unnecessarily split into many pieces when authored.\r\n"
    "  -tangent\r\n"
    "\t\tenable export of the tangent vectors to the geometry data.\r\n"
    "  -verbose\r\n"
    "\t\tprovide detailed geometry optimization report.\r\n";

namespace {

constexpr int bad_command_line = 1;

// The asset tree that the command line names.
struct tree_t {
    fs_path_t base;
    fs_path_t root; // with "/" between folders
};

// The value of "-root"; null after a message when there is not exactly one.
const char *find_root() {
    const cdl_option_t root = cdl_find("-root");
    if (root.position < 0)
        msg_error("missing root parameter");
    else if (root.values.empty())
        msg_error("root parameter missing directory");
    else if (root.values.size() > 1)
        msg_error("root parameter received more than one argument");
    else
        return root.values[0];
    return nullptr;
}

bool find_tree(tree_t &tree) {
    const char *const root = find_root();
    if (!root || !tree.root.assign(root))
        return false;
    tree.root.replace_all('\\', '/');
    // A base that is not known is empty, and the path of this test is cut: both are rules of the command
    // line. What is composed of them later and does not fit fails there.
    get_base_directory(tree.base);
    fs_path_t directory;
    directory.assign_formatted("%s/%s", tree.base.c_str(), root);
    return file_system()->system_device.is_directory(directory.view());
}

bool is_given(const char *option) {
    return cdl_find(option).position >= 0;
}

option_flags_t read_options() {
    return {.tangent = is_given("-tangent"),
            .discard_bad_triangles = is_given("-discard_bad_triangles"),
            .merge_part_pieces = is_given("-merge_part_pieces"),
            .optimize_for_vertex_cache = is_given("-optimize_for_vertex_cache"),
            .verbose = is_given("-verbose")};
}

// The arguments after the program's name, up to the first option.
std::span<char *const> input_names(std::span<char *const> arguments) {
    const auto begin = arguments.begin() + 1;
    const auto end = std::find_if(begin, arguments.end(), [](const char *text) { return text[0] == '-'; });
    return {begin, end};
}

} // namespace

int converter_main(std::span<char *const> arguments) {
    if (cdl_range_size() < 2) {
        msg_error("kim2kmg: Not enough parameters.");
        msg_info(usage_text);
        return bad_command_line;
    }
    if (is_given("-V")) {
        msg_info("version:%s", version_text);
        return 0;
    }
    tree_t tree;
    if (!find_tree(tree)) {
        msg_error("failed to determine root directory");
        return bad_command_line;
    }
    const std::span<char *const> inputs = input_names(arguments);
    if (inputs.empty()) {
        msg_error("kim2kmg: Missing input file.");
        msg_info(usage_text);
        return bad_command_line;
    }
    return static_cast<int>(convert_files(tree.base.view(), tree.root.view(), read_options(), inputs));
}

} // namespace kestrel
