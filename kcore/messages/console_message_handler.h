#pragma once

// Messages as lines on the console: information on standard output, warnings and errors with their prefixes
// on standard error, every line ended by CR LF. Registers itself, and flushes both streams when it goes.

#include "kcore/messages/message_system.h"

namespace kestrel {

class console_message_handler_t final : public message_handler_t {
  public:
    explicit console_message_handler_t(bool flush_each_line);
    ~console_message_handler_t() override;

    void handle(const message_t &message) override;

  private:
    bool flush_each_line_;
};

} // namespace kestrel
