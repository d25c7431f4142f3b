#pragma once

// The fuzz targets: functions that must survive any bytes and hold what they check.
//
// Each is linked into a libFuzzer program of its own (fuzz_NAME) and, all together, into the test program,
// which replays the corpora without a fuzzer. A broken promise ends the process.

#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrel {

using fuzz_input_t = std::span<const uint8_t>;

void fuzz_model_text(fuzz_input_t input);
void fuzz_skeleton_text(fuzz_input_t input);
void fuzz_dependency_text(fuzz_input_t input);
// One byte of options, a model's text and, behind a separator line, its skeleton's.
void fuzz_conversion(fuzz_input_t input);
// The bytes choose a model that is right in most of its counts, and the options.
void fuzz_generated_conversion(fuzz_input_t input);
void fuzz_geometry_file(fuzz_input_t input);
void fuzz_gltf_import(fuzz_input_t input);
// A model's text and, behind a separator line, its skeleton's.
void fuzz_lint_text(fuzz_input_t input);

struct fuzz_target_t {
    const char *name; // of its corpus folder, too
    void (*run)(fuzz_input_t input);
};

inline constexpr fuzz_target_t fuzz_targets[] = {
    {"model_text", fuzz_model_text},
    {"skeleton_text", fuzz_skeleton_text},
    {"dependency_text", fuzz_dependency_text},
    {"conversion", fuzz_conversion},
    {"generated_conversion", fuzz_generated_conversion},
    {"geometry_file", fuzz_geometry_file},
    {"gltf_import", fuzz_gltf_import},
    {"lint_text", fuzz_lint_text},
};

} // namespace kestrel
