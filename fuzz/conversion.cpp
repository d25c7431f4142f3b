// A whole conversion of texts as they come, with every combination of passes.

#include "fuzz/conversion_in_memory.h"
#include "fuzz/target.h"

namespace kestrel {

void fuzz_conversion(fuzz_input_t input) {
    if (input.empty())
        return;
    constexpr std::string_view separator = "\n%%\n";
    const std::string_view text(reinterpret_cast<const char *>(input.data()) + 1, input.size() - 1);
    const size_t model_end = text.find(separator);
    const std::string_view skeleton =
        model_end == std::string_view::npos ? "" : text.substr(model_end + separator.size());
    convert_in_memory(text.substr(0, model_end), skeleton, options_from_bits(input[0]));
}

} // namespace kestrel
