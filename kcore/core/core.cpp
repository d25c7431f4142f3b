#include "kcore/core/core.h"

#include "kcore/messages/console_message_handler.h"
#include "kcore/ufs/file_system.h"

#include <clocale>
#include <cstdio>
#include <optional>
#include <unistd.h>

namespace kestrel {

static std::optional<console_message_handler_t> console;

// A broken file can have a message for each of its bytes; a system call for each would cost more than the
// work.
static void buffer_errors_unless_a_person_reads_them() {
    static char buffer[1 << 16];
    if (!isatty(STDERR_FILENO))
        std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
}

void core_initialize() {
    std::setlocale(LC_ALL, "C.UTF-8");
    message_system_t::start();
    buffer_errors_unless_a_person_reads_them();
    console.emplace(false);
    file_system_start();
}

void core_shutdown() {
    file_system_stop();
    console.reset();
    message_system_t::stop();
}

} // namespace kestrel
