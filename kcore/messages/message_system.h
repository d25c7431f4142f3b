#pragma once

// The one dispatcher of messages, its table of handlers, and the handler that writes to the console.
//
// For one message every handler sees, in the order of registration: the message itself; then, if a handler
// emitted messages of its own meanwhile, the last of them; then, if delivering that one made handlers emit
// again, one report of how many were dropped. One recursive lock guards it all, so handlers are called by one
// thread at a time. A handler that throws loses that message for itself alone.

#include "kcore/collections/array.h"
#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"

#include <mutex>

namespace kestrel {

struct message_t {
    const string &text;
    message_level_t level;
};

class message_handler_t {
  public:
    virtual ~message_handler_t() = default;
    // The message lives for the duration of the call only.
    virtual void handle(const message_t &message) = 0;
};

// The formatted text of a message: in place while it is short, else on the heap, and cut to what fits in
// place when there is no memory.
class message_text_t {
  public:
    void format(const char *format, va_list arguments);
    void clear();
    const string &get() const;

  private:
    string_local_t<1024> short_;
    string_dyn_t long_;
};

class message_system_t {
  public:
    static constexpr size_t max_handlers = 8;

    // Creates the process's message system with no handler, or takes it away again. Allocates nothing.
    static void start();
    static void stop();

    // A handler beyond the table's capacity is not registered. Removing one that is not registered is fatal.
    // Neither does anything while there is no message system.
    static void add_handler(message_handler_t &handler);
    static void remove_handler(message_handler_t &handler);

    // Delivers the last error of a process that is about to end, at once also from inside a handler; whatever
    // handlers emit meanwhile is dropped.
    static void deliver_last_words(const string &text);

  private:
    friend void msg_dispatch(message_level_t level, const char *format, va_list arguments);

    static std::recursive_mutex &lock();
    static message_system_t *instance;

    void dispatch_top_level(message_level_t level, const char *format, va_list arguments);
    void deliver(const message_t &message) noexcept;
    void deliver_nested(const message_t &message);

    array_local_t<message_handler_t *, max_handlers> handlers_;
    uint32_t depth_ = 0; // 0 idle, 1 a message is being handled, 3 the deferred one or the drop report is
    uint32_t dropped_ = 0;
    bool saying_last_words_ = false;
    message_text_t deferred_text_; // empty when there is none
    message_level_t deferred_level_ = message_level_t::info;
};

// Messages as lines, every one ended by CR LF: information on standard output, warnings and errors with their
// prefixes on standard error. Registers itself, and flushes both streams when it goes.
//
// An error or warning has left the process when the call returns. Information may wait in the stream's
// buffer, which goes out at the end of a line, so that lines of two processes on one pipe do not mix.
class console_message_handler_t final : public message_handler_t {
  public:
    // What may wait on standard output. A pipe takes at least that much as a whole.
    static constexpr size_t output_buffer_size = 4096;

    explicit console_message_handler_t(bool flush_each_line);
    ~console_message_handler_t() override;

    void handle(const message_t &message) override;

  private:
    bool flush_each_line_;
    size_t waiting_ = 0; // bytes, of our own lines on standard output
};

} // namespace kestrel
