#pragma once

// The one dispatcher of messages and its table of handlers.
//
// For one message every handler sees, in the order of registration: the message itself; then, if a handler
// emitted messages of its own meanwhile, the last of them; then, if delivering that one made handlers emit
// again, one report of how many were dropped. One recursive lock guards it all, so handlers are called by one
// thread at a time.

#include "kcore/collections/array.h"
#include "kcore/messages/messages.h"
#include "kcore/strings/string_dyn.h"

#include <mutex>

namespace kestrel {

struct message_t {
    const string_dyn_t &text;
    message_level_t level;
};

class message_handler_t {
  public:
    virtual ~message_handler_t() = default;
    // The message lives for the duration of the call only.
    virtual void handle(const message_t &message) = 0;
};

class message_system_t {
  public:
    static constexpr size_t max_handlers = 8;

    // Creates the process's message system with no handler, or takes it away again.
    static void start();
    static void stop();

    // A handler beyond the table's capacity is not registered. Removing one that is not registered is fatal.
    // Neither does anything while there is no message system.
    static void add_handler(message_handler_t &handler);
    static void remove_handler(message_handler_t &handler);

    // Delivers the last error of a process that is about to end, at once also from inside a handler; whatever
    // handlers emit meanwhile is dropped.
    static void deliver_last_words(const string_dyn_t &text);

  private:
    friend void msg_dispatch(message_level_t level, const char *format, va_list arguments);

    static std::recursive_mutex &lock();
    static message_system_t *instance;

    void dispatch_top_level(message_level_t level, const char *format, va_list arguments);
    void deliver(const message_t &message);
    void deliver_nested(const message_t &message);

    array_local_t<message_handler_t *, max_handlers> handlers_;
    uint32_t depth_ = 0; // 0 idle, 1 a message is being handled, 3 the deferred one or the drop report is
    uint32_t dropped_ = 0;
    bool saying_last_words_ = false;
    string_dyn_t deferred_text_;
    message_level_t deferred_level_ = message_level_t::info;
};

} // namespace kestrel
