#pragma once

// Collects messages while it lives, one string each: "E: text" for errors, "W: text" for warnings, "I: text".

#include "kcore/messages/message_system.h"

#include <string>
#include <vector>

namespace kestrel {

class captured_messages_t final : public message_handler_t {
  public:
    captured_messages_t() {
        message_system_t::start();
        message_system_t::add_handler(*this);
    }
    ~captured_messages_t() override {
        message_system_t::remove_handler(*this);
        message_system_t::stop();
    }

    void handle(const message_t &message) override {
        const char letter = message.level == message_level_t::error     ? 'E'
                            : message.level == message_level_t::warning ? 'W'
                                                                        : 'I';
        lines_.push_back(std::string(1, letter) + ": " + message.text.c_str());
    }

    const std::vector<std::string> &lines() const { return lines_; }
    // All lines, each ended by a line feed.
    std::string text() const {
        std::string all;
        for (const std::string &line : lines_)
            all += line + "\n";
        return all;
    }
    void clear() { lines_.clear(); }

  private:
    std::vector<std::string> lines_;
};

} // namespace kestrel
