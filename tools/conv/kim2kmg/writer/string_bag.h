#pragma once

// A pool of distinct texts, each followed by its NUL, in the order in which they were first added.
//
// Texts are compared byte for byte and stay the caller's, who keeps them alive. Adding gives false when
// memory cannot be had.

#include "kcore/collections/array.h"
#include "kcore/collections/hashed_table.h"

#include <optional>
#include <string_view>

namespace kestrel {

class string_bag_t {
  public:
    // A text that is already there is not added again, which is a success.
    bool add(std::string_view text);
    // Where the text begins in the pool; none when it is not there.
    std::optional<uint32_t> offset_of(std::string_view text) const;

    std::span<const std::string_view> texts() const { return texts_.items(); }
    // Bytes of all texts with their NULs.
    uint64_t length() const { return length_; }

  private:
    array_dyn_t<std::string_view> texts_;
    hashed_table_t<uint32_t> offsets_;
    uint64_t length_ = 0;
};

} // namespace kestrel
