#include "kcore/messages/message_system.h"

namespace kestrel {

message_system_t *message_system_t::instance = nullptr;

std::recursive_mutex &message_system_t::lock() {
    static std::recursive_mutex mutex;
    return mutex;
}

// On the heap, so that a process that exits without stopping it leaves it to the handlers that go later.
void message_system_t::start() {
    const std::scoped_lock guard(lock());
    if (!instance)
        instance = new message_system_t;
}

void message_system_t::stop() {
    const std::scoped_lock guard(lock());
    delete std::exchange(instance, nullptr);
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
    message_handler_t **place = handlers.begin();
    while (place != handlers.end() && *place != &handler)
        ++place;
    handlers.erase_unordered(handlers.index_of(place));
}

void message_system_t::deliver_last_words(const string_dyn_t &text) {
    const std::scoped_lock guard(lock());
    if (!instance || std::exchange(instance->saying_last_words_, true))
        return;
    instance->depth_ = 3;
    instance->deliver({text, message_level_t::error});
}

void message_system_t::deliver(const message_t &message) {
    for (size_t i = 0; i < handlers_.size(); ++i)
        handlers_[i]->handle(message);
}

void message_system_t::deliver_nested(const message_t &message) {
    depth_ = 3;
    deliver(message);
    depth_ = 1;
}

void message_system_t::dispatch_top_level(message_level_t level, const char *format, va_list arguments) {
    deliver({string_dyn_t(format, arguments), level});
    if (!deferred_text_.empty()) {
        deliver_nested({deferred_text_, deferred_level_});
        deferred_text_.release_storage();
    }
    if (dropped_ != 0) {
        string_dyn_t report;
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
        system->deferred_text_ = string_dyn_t(format, arguments);
        system->deferred_level_ = level;
    } else {
        ++system->dropped_;
    }
    --system->depth_;
} catch (const std::bad_alloc &) {
}

void msg_dispatch_variadic(message_level_t level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    msg_dispatch(level, format, arguments);
    va_end(arguments);
}

} // namespace kestrel
