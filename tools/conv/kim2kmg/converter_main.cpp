#include "tools/conv/kim2kmg/converter_main.h"

#include "kcore/core/base_directory.h"
#include "kcore/core/cdl.h"
#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"
#include "kcore/ufs/rcfs_device.h"
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
constexpr size_t most_failures = 255; // what an exit status can hold

// The asset tree that the command line names.
struct tree_t {
    fs_path_t base;
    fs_path_t root; // with "/" between folders
};

bool find_root(fs_path_t &root) {
    if (cdl_param("-root") < 0) {
        msg_error("missing root parameter");
        return false;
    }
    const uint32_t values = cdl_argc() - 1;
    if (values < 1) {
        msg_error("root parameter missing directory");
        return false;
    }
    if (values > 1) {
        msg_error("root parameter received more than one argument");
        return false;
    }
    return root.assign(cdl_param_value());
}

bool find_tree(tree_t &tree) {
    if (!find_root(tree.root))
        return false;
    fs_path_t directory;
    // What does not fit is refused: the start of a path may well be a directory, but not the one that was
    // meant.
    if (!get_base_directory(tree.base) ||
        !directory.assign_formatted("%s/%s", tree.base.c_str(), tree.root.c_str()))
        return false;
    tree.root.replace_all('\\', '/');
    return file_system()->system_device.is_directory(directory.view());
}

option_flags_t read_options() {
    return {.tangent = cdl_param("-tangent") >= 0,
            .discard_bad_triangles = cdl_param("-discard_bad_triangles") >= 0,
            .merge_part_pieces = cdl_param("-merge_part_pieces") >= 0,
            .optimize_for_vertex_cache = cdl_param("-optimize_for_vertex_cache") >= 0,
            .verbose = cdl_param("-verbose") >= 0};
}

bool begins_option(const char *argument) {
    return argument[0] == '-';
}

size_t convert_files(const tree_t &tree, const option_flags_t &options, std::span<char *const> arguments) {
    rcfs_device_t device(tree.base.view(), tree.root.view());
    size_t failures = 0;
    for (const char *input : arguments.subspan(1)) {
        if (begins_option(input))
            break;
        if (!convert_file(device, input, options))
            ++failures;
    }
    return failures;
}

} // namespace

int converter_main(std::span<char *const> arguments) {
    if (cdl_range_size() < 2) {
        msg_error("kim2kmg: Not enough parameters.");
        msg_info(usage_text);
        return bad_command_line;
    }
    if (cdl_param("-V") >= 0) {
        msg_info("version:%s", version_text);
        return 0;
    }
    tree_t tree;
    if (!find_tree(tree)) {
        msg_error("failed to determine root directory");
        return bad_command_line;
    }
    if (begins_option(arguments[1])) {
        msg_error("kim2kmg: Missing input file.");
        msg_info(usage_text);
        return bad_command_line;
    }
    return static_cast<int>(std::min(convert_files(tree, read_options(), arguments), most_failures));
}

} // namespace kestrel
