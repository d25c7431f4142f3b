#pragma once

// A string on the heap that grows as needed: capacities are multiples of 16 and at least double. Growing throws
// std::bad_alloc when memory cannot be had, so every operation that returns gives true.

#include "kcore/strings/mstring.h"

#include <utility>

namespace kestrel {

class string_dyn_t final : public mstring_t {
  public:
    string_dyn_t() { point_to_empty(); }
    explicit string_dyn_t(std::string_view text) : string_dyn_t() { assign(text); }
    string_dyn_t(const char *format, va_list arguments) : string_dyn_t() { format_at(0, format, arguments); }
    string_dyn_t(string_dyn_t &&other) noexcept : string_dyn_t() { swap(other); }
    string_dyn_t &operator=(string_dyn_t &&other) noexcept {
        swap(other);
        return *this;
    }
    ~string_dyn_t() override { release_storage(); }

    bool can_grow() const override { return true; }
    uint32_t reserve(uint64_t wanted) override;
    void release_storage() override;

    void swap(string_dyn_t &other) noexcept {
        std::swap(data_, other.data_);
        std::swap(length_, other.length_);
        std::swap(capacity_, other.capacity_);
    }

  private:
    void point_to_empty();
};

} // namespace kestrel
