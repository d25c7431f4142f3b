// A whole conversion of a model that the bytes choose, with every combination of passes.

#include "fuzz/conversion_in_memory.h"
#include "fuzz/model_generator.h"

namespace kestrel {

void fuzz_generated_conversion(fuzz_input_t input) {
    choices_t choices(input);
    const auto options = static_cast<uint8_t>(choices.byte());
    const generated_model_t generated = generate_model(choices);
    convert_in_memory(generated.model, generated.skeleton, options_from_bits(options));
}

} // namespace kestrel
