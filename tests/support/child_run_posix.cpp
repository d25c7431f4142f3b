#include "tests/support/child_run.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

using stream_t = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

static std::string content_of(std::FILE *stream) {
    std::string content;
    std::rewind(stream);
    for (int byte = std::fgetc(stream); byte != EOF; byte = std::fgetc(stream))
        content += static_cast<char>(byte);
    return content;
}

child_run_t run_in_child(const std::function<void()> &code) {
    const stream_t output(std::tmpfile(), std::fclose);
    const stream_t errors(std::tmpfile(), std::fclose);
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(output.get()), STDOUT_FILENO);
        dup2(fileno(errors.get()), STDERR_FILENO);
        code();
        std::fflush(stdout);
        std::fflush(stderr);
        _exit(0);
    }
    int ended = 0;
    if (child < 0 || waitpid(child, &ended, 0) < 0)
        std::abort();
    const int status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
    return {status, content_of(output.get()), content_of(errors.get())};
}

} // namespace kestrel
