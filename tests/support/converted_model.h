#pragma once

// A model file of the samples (or any other) as model, skeleton and geometry file, all in memory.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"

#include <cstddef>
#include <filesystem>
#include <vector>

namespace kestrel {

struct converted_model_t {
    owner_list_t owners;
    const kim_t *model = nullptr;
    const kis_t *skeleton = nullptr; // none for a model without skin
    std::vector<std::byte> bytes;

    // Throws when anything fails.
    explicit converted_model_t(const std::filesystem::path &file, bool tangents = false);
};

// The models of the samples, in alphabetical order.
std::vector<std::filesystem::path> sample_models();

} // namespace kestrel
