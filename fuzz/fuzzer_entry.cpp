// The entry point of one libFuzzer program; KIM2KMG_FUZZ_TARGET is its target's function.

#include "fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    kestrel::KIM2KMG_FUZZ_TARGET({data, size});
    return 0;
}
