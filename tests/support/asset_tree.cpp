#include "tests/support/asset_tree.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace kestrel {

namespace fs = std::filesystem;

asset_tree_t::asset_tree_t() {
    fs::create_directories(base_ / "bin/linux_x64");
    fs::create_directories(base_ / "project");
    fs::copy_file(KIM2KMG_PROGRAM, program());
}

void asset_tree_t::add_source(const std::string &path, std::string_view content) const {
    fs::create_directories(source(path).parent_path());
    write_whole_file(source(path), content);
}

std::vector<std::string> asset_tree_t::products() const {
    std::vector<std::string> files;
    if (fs::exists(base_ / "rsrc"))
        for (const auto &entry : fs::recursive_directory_iterator(base_ / "rsrc"))
            if (!entry.is_directory())
                files.push_back(fs::relative(entry.path(), base_ / "rsrc").generic_string());
    std::sort(files.begin(), files.end());
    return files;
}

program_run_t asset_tree_t::run(const std::vector<std::string> &arguments) const {
    return run_program(program().string(), arguments, base_);
}

std::string read_whole_file(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_whole_file(const fs::path &path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace kestrel
