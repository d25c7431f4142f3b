#include "kcore/core/platform/standard_streams.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace kestrel {

// In ascending order, so that what is opened takes the number that is missing.
static void open_closed_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) < 0)
            (void)!open("/dev/null", O_RDWR);
}

// A broken file can have a message for each of its bytes; a system call for each would cost more than the
// work.
static void buffer_errors_unless_a_person_reads_them() {
    static char buffer[1 << 16];
    if (!isatty(STDERR_FILENO))
        std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
}

void secure_standard_streams() {
    open_closed_streams();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    buffer_errors_unless_a_person_reads_them();
}

} // namespace kestrel
