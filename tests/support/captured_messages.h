#pragma once

// Handlers that hear every message while they live; one of them at a time.

#include "kcore/messages/message_system.h"

#include <string>
#include <vector>

namespace kestrel {

class listener_t : public message_handler_t {
  public:
    listener_t() {
        message_system_t::start();
        message_system_t::add_handler(*this);
    }
    ~listener_t() override {
        message_system_t::remove_handler(*this);
        message_system_t::stop();
    }
};

// Counts messages and gives them to nobody.
class message_counter_t : public listener_t {
  public:
    void handle(const message_t &message) override {
        errors_ += message.level == message_level_t::error;
        warnings_ += message.level == message_level_t::warning;
    }
    size_t errors() const { return errors_; }
    size_t warnings() const { return warnings_; }

  private:
    size_t errors_ = 0;
    size_t warnings_ = 0;
};

// Keeps each as a line: "E: text" for errors, "W: text" for warnings, "I: text".
class captured_messages_t final : public listener_t {
  public:
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
