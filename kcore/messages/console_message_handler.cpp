#include "kcore/messages/console_message_handler.h"

#include <cstdio>

namespace kestrel {

console_message_handler_t::console_message_handler_t(bool flush_each_line)
    : flush_each_line_(flush_each_line) {
    message_system_t::add_handler(*this);
}

console_message_handler_t::~console_message_handler_t() {
    message_system_t::remove_handler(*this);
    std::fflush(stdout);
    std::fflush(stderr);
}

void console_message_handler_t::handle(const message_t &message) {
    const char *prefix = "";
    std::FILE *stream = stdout;
    if (message.level == message_level_t::warning) {
        prefix = "*** WARNING *** : ";
        stream = stderr;
    } else if (message.level == message_level_t::error) {
        prefix = "*** ERROR *** : ";
        stream = stderr;
    }
    std::fprintf(stream, "%s%s\r\n", prefix, message.text.c_str());
    if (flush_each_line_)
        std::fflush(stream);
}

} // namespace kestrel
