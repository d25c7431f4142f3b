#include "tools/build/prune.h"

#include "tools/build/console.h"
#include "tools/build/platform/files.h"

#include <set>

namespace kestrel {

static bool remove_product(const std::string &path) {
    const auto error = remove_file(path);
    if (error)
        say_error(printable(path) + " cannot be removed", error);
    return !error;
}

// From the folder upwards, as long as there is nothing in it; the store itself stays.
static void remove_empty_folders(const std::string &store, std::string_view folder) {
    while (!folder.empty() && remove_empty_folder(store + std::string(folder)))
        folder = folder.substr(0, folder.rfind('/'));
}

size_t remove_orphans(const tree_paths_t &paths, const std::vector<std::string> &orphans) {
    size_t failures = 0;
    std::set<std::string, std::greater<>> folders; // those within others first
    for (const std::string &orphan : orphans) {
        // The record first: it vouches for the output.
        if (!remove_product(paths.records + orphan) || !remove_product(paths.outputs + orphan))
            ++failures;
        folders.insert(orphan.substr(0, orphan.rfind('/')));
    }
    for (const std::string &folder : folders) {
        remove_empty_folders(paths.outputs, folder);
        remove_empty_folders(paths.records, folder);
    }
    return failures;
}

} // namespace kestrel
