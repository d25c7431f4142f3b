#pragma once

// Makes models and skeletons from decisions.
//
// What they say about themselves is mostly true, so that they get past the grammar and reach the passes and
// the writer; now and then a count, a reference or a number is not what it should be.

#include "fuzz/choices.h"

#include <string>

namespace kestrel {

struct generated_model_t {
    std::string model;
    std::string skeleton;
};

generated_model_t generate_model(choices_t &choices);

} // namespace kestrel
