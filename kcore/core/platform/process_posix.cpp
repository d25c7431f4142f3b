#include "kcore/core/platform/process.h"

#include "kcore/messages/message_system.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace kestrel {

std::span<char *const> program_arguments(int argument_count, char **arguments) {
    return {arguments, static_cast<size_t>(argument_count)};
}

bool get_executable_path(mstring_t &path) {
    char target[4096];
    const ssize_t length = readlink("/proc/self/exe", target, sizeof target);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof target)
        return false;
    return path.assign(std::string_view(target, static_cast<size_t>(length)));
}

// In ascending order, so that what is opened takes the number that is missing.
static void open_closed_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) < 0)
            (void)!open("/dev/null", O_RDWR);
}

// Terminals keep the buffers that they have: a person waits for what is printed there.
static void set_buffers() {
    static char errors[1 << 16], output[console_message_handler_t::output_buffer_size];
    if (!isatty(STDERR_FILENO))
        std::setvbuf(stderr, errors, _IOLBF, sizeof errors);
    if (!isatty(STDOUT_FILENO))
        std::setvbuf(stdout, output, _IOFBF, sizeof output);
}

void secure_standard_streams() {
    open_closed_streams();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    set_buffers();
}

} // namespace kestrel
