#pragma once

// The fuzz targets: functions that must survive any bytes and hold what they check.
//
// Each is linked into a libFuzzer program of its own (fuzz_NAME) and, all together, into the test program,
// which replays the corpora without a fuzzer. A broken promise ends the process.

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <string_view>

namespace kestrel {

using fuzz_input_t = std::span<const uint8_t>;

inline std::string_view text_of(fuzz_input_t input) {
    return {reinterpret_cast<const char *>(input.data()), input.size()};
}

void fuzz_model_text(fuzz_input_t input);
void fuzz_skeleton_text(fuzz_input_t input);
void fuzz_dependency_text(fuzz_input_t input);
// One byte of options, a model's text and, behind a separator line, its skeleton's.
void fuzz_conversion(fuzz_input_t input);
void fuzz_geometry_file(fuzz_input_t input);
void fuzz_gltf_import(fuzz_input_t input);

struct fuzz_target_t {
    const char *name; // of its corpus folder, too
    void (*run)(fuzz_input_t input);

    friend void PrintTo(const fuzz_target_t &target, std::ostream *out) { *out << target.name; }
};

inline constexpr fuzz_target_t fuzz_targets[] = {
    {"model_text", fuzz_model_text},           {"skeleton_text", fuzz_skeleton_text},
    {"dependency_text", fuzz_dependency_text}, {"conversion", fuzz_conversion},
    {"geometry_file", fuzz_geometry_file},     {"gltf_import", fuzz_gltf_import},
};

} // namespace kestrel
