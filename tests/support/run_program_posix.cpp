#include "tests/support/asset_tree.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

program_run_t run_program(const std::string &program, const std::vector<std::string> &arguments,
                          const std::filesystem::path &folder) {
    const std::filesystem::path output = folder / "stdout.txt";
    const std::filesystem::path errors = folder / "stderr.txt";
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

} // namespace kestrel
