#pragma once

// Fuzzer bytes as a row of decisions. When the bytes are used up every further decision is the first one.

#include "fuzz/target.h"

#include <cstddef>

namespace kestrel {

class choices_t {
  public:
    explicit choices_t(fuzz_input_t input) : input_(input) {}

    uint32_t byte() {
        if (input_.empty())
            return 0;
        const uint8_t value = input_.front();
        input_ = input_.subspan(1);
        return value;
    }
    // A number below `count`, which is 1 to 256.
    uint32_t below(uint32_t count) { return count < 2 ? 0 : byte() % count; }
    uint32_t between(uint32_t least, uint32_t most) { return least + below(most - least + 1); }
    // For what would mostly get the model refused, and should be tried all the same.
    bool rarely() { return byte() == 255; }

    template <class T, size_t N>
    const T &one_of(const T (&options)[N]) {
        return options[below(N)];
    }

  private:
    fuzz_input_t input_;
};

} // namespace kestrel
