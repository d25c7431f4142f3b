#pragma once

// A string of fixed capacity that lives in place: N - 1 bytes of text at most, what is longer is cut.

#include "kcore/strings/mstring.h"

namespace kestrel {

template <uint32_t N>
class string_local_t final : public mstring_t {
    static_assert(N > 0);

  public:
    string_local_t() {
        data_ = buffer_;
        capacity_ = N;
        buffer_[0] = '\0';
    }
    explicit string_local_t(std::string_view text) : string_local_t() { assign(text); }
    string_local_t(const string_local_t &other) : string_local_t(other.view()) {}
    string_local_t &operator=(const string_local_t &other) {
        assign(other);
        return *this;
    }

    bool can_grow() const override { return false; }
    uint32_t reserve(uint64_t) override { return N; }
    void release_storage() override {
        buffer_[0] = '\0';
        length_ = 0;
    }

  private:
    char buffer_[N];
};

// The capacity used throughout: names, tags and paths hold at most 255 bytes.
using name_t = string_local_t<256>;

} // namespace kestrel
