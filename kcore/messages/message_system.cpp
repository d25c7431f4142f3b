#include "kcore/messages/message_system.h"

#include <algorithm>
#include <cstdio>

namespace kestrel {

void message_text_t::format(const char *format, va_list arguments) {
    long_.release_storage();
    if (short_.format_at(0, format, arguments))
        return;
    try {
        long_.format_at(0, format, arguments);
    } catch (const std::bad_alloc &) {
        long_.release_storage();
    }
}

void message_text_t::clear() {
    short_.clear();
    long_.release_storage();
}

const string &message_text_t::get() const {
    return long_.empty() ? static_cast<const string &>(short_) : long_;
}

message_system_t *message_system_t::instance = nullptr;

std::recursive_mutex &message_system_t::lock() {
    static std::recursive_mutex mutex;
    return mutex;
}

// In storage without a destructor, so that a process that exits without stopping it leaves it to the handlers
// that go later.
void message_system_t::start() {
    alignas(message_system_t) static std::byte storage[sizeof(message_system_t)];
    const std::scoped_lock guard(lock());
    if (!instance)
        instance = new (storage) message_system_t;
}

void message_system_t::stop() {
    const std::scoped_lock guard(lock());
    if (instance)
        std::destroy_at(std::exchange(instance, nullptr));
}

void message_system_t::add_handler(message_handler_t &handler) {
    const std::scoped_lock guard(lock());
    if (instance)
        instance->handlers_.push_back(&handler);
}

void message_system_t::remove_handler(message_handler_t &handler) {
    const std::scoped_lock guard(lock());
    if (!instance)
        return;
    auto &handlers = instance->handlers_;
    handlers.erase_unordered(handlers.index_of(std::find(handlers.begin(), handlers.end(), &handler)));
}

void message_system_t::deliver_last_words(const string &text) {
    const std::scoped_lock guard(lock());
    if (!instance || std::exchange(instance->saying_last_words_, true))
        return;
    instance->depth_ = 3;
    instance->deliver({text, message_level_t::error});
}

void message_system_t::deliver(const message_t &message) noexcept {
    for (size_t i = 0; i < handlers_.size(); ++i) {
        try {
            handlers_[i]->handle(message);
        } catch (...) {
            // The others still get it, and whoever emitted it goes on.
        }
    }
}

void message_system_t::deliver_nested(const message_t &message) {
    depth_ = 3;
    deliver(message);
    depth_ = 1;
}

void message_system_t::dispatch_top_level(message_level_t level, const char *format, va_list arguments) {
    message_text_t text;
    text.format(format, arguments);
    deliver({text.get(), level});
    if (!deferred_text_.get().empty()) {
        deliver_nested({deferred_text_.get(), deferred_level_});
        deferred_text_.clear();
    }
    if (dropped_ != 0) {
        string_local_t<128> report;
        report.assign_formatted("[msg] There were at least %u more nested messages we had to drop.",
                                dropped_);
        deliver_nested({report, message_level_t::error});
        dropped_ = 0;
    }
}

void msg_dispatch(message_level_t level, const char *format, va_list arguments) try {
    const std::scoped_lock guard(message_system_t::lock());
    message_system_t *const system = message_system_t::instance;
    if (!system)
        return;
    const uint32_t depth = system->depth_++;
    if (depth == 0) {
        system->dispatch_top_level(level, format, arguments);
    } else if (depth == 1) {
        system->deferred_text_.format(format, arguments);
        system->deferred_level_ = level;
    } else {
        ++system->dropped_;
    }
    --system->depth_;
} catch (const std::bad_alloc &) {
}

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
    const bool is_warning = message.level == message_level_t::warning;
    if (is_warning || message.level == message_level_t::error) {
        const char *const prefix = is_warning ? "*** WARNING *** : " : "*** ERROR *** : ";
        std::fprintf(stderr, "%s%s\r\n", prefix, message.text.c_str());
        std::fflush(stderr);
        return;
    }
    const size_t line_length = message.text.length() + 2;
    if (waiting_ + line_length > output_buffer_size) {
        std::fflush(stdout);
        waiting_ = 0;
    }
    waiting_ += line_length;
    std::fprintf(stdout, "%s\r\n", message.text.c_str());
    if (flush_each_line_)
        std::fflush(stdout);
}

} // namespace kestrel
