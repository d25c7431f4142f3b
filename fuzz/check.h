#pragma once

// What a target asserts, and the messages that the code under it emits.

#include "kcore/collections/city_hash.h"
#include "kcore/collections/hashed_table.h"
#include "kcore/messages/message_system.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace kestrel {

// Ends the process when the promise is broken.
inline void promise(bool kept, const char *what) {
    if (kept)
        return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

// Counts messages, and gives them to nobody.
class message_counter_t : public message_handler_t {
  public:
    message_counter_t() {
        message_system_t::start();
        message_system_t::add_handler(*this);
    }
    ~message_counter_t() override {
        message_system_t::remove_handler(*this);
        message_system_t::stop();
    }

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

// The same, and all of them as one number.
class message_digest_t final : public message_counter_t {
  public:
    void handle(const message_t &message) override {
        message_counter_t::handle(message);
        digest_ = mix_hash(digest_, city_hash_64(message.text.view()));
    }
    uint64_t digest() const { return digest_; }

  private:
    uint64_t digest_ = 0;
};

} // namespace kestrel
