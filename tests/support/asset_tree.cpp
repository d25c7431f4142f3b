#include "tests/support/asset_tree.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

namespace fs = std::filesystem;

asset_tree_t::asset_tree_t() {
    std::string pattern = (fs::temp_directory_path() / "kim2kmg-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no temporary folder");
    base_ = pattern;
    fs::create_directories(base_ / "bin/linux_x64");
    fs::create_directories(base_ / "project");
    fs::copy_file(KIM2KMG_PROGRAM, base_ / "bin/linux_x64/kim2kmg");
}

asset_tree_t::~asset_tree_t() {
    std::error_code ignored;
    fs::remove_all(base_, ignored);
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
                files.push_back(fs::relative(entry.path(), base_ / "rsrc").string());
    std::sort(files.begin(), files.end());
    return files;
}

program_run_t asset_tree_t::run(const std::vector<std::string> &arguments) const {
    return run_program((base_ / "bin/linux_x64/kim2kmg").string(), arguments, base_);
}

program_run_t run_program(const std::string &program, const std::vector<std::string> &arguments,
                          const fs::path &folder) {
    const fs::path output = folder / "stdout.txt";
    const fs::path errors = folder / "stderr.txt";
    std::vector<char *> argv{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);

    const pid_t child = fork();
    if (child == 0) {
        const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (chdir(folder.c_str()) != 0 || dup2(out, STDOUT_FILENO) < 0 || dup2(err, STDERR_FILENO) < 0)
            _exit(127);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), read_whole_file(output),
            read_whole_file(errors)};
}

std::string read_whole_file(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_whole_file(const fs::path &path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace kestrel
