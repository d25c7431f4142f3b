#pragma once

// What a target asserts, and the messages that the code under it emits.

#include "kcore/collections/city_hash.h"
#include "kcore/collections/hashed_table.h"
#include "tests/support/captured_messages.h"

#include <cstdio>
#include <cstdlib>

namespace kestrel {

// Ends the process when the promise is broken.
inline void promise(bool kept, const char *what) {
    if (kept)
        return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

// Counts messages, and makes one number of all of them.
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
