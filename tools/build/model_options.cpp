#include "tools/build/model_options.h"

namespace kestrel {

std::string describe(const model_options_t &options) {
    std::string text;
    for (const option_name_t &option : option_names)
        if (options.*option.flag)
            text += (text.empty() ? "" : ", ") + std::string(option.name);
    return text.empty() ? "none" : text;
}

std::string letters_of(const model_options_t &options) {
    std::string letters;
    for (const option_name_t &option : option_names)
        if (options.*option.flag)
            letters += option.letter;
    return letters.empty() ? "-" : letters;
}

std::optional<model_options_t> options_from_letters(std::string_view letters) {
    model_options_t options;
    if (letters == "-")
        return options;
    for (const char letter : letters) {
        bool known = false;
        for (const option_name_t &option : option_names)
            if (letter == option.letter)
                known = options.*option.flag = true;
        if (!known)
            return std::nullopt;
    }
    return options;
}

std::vector<std::string> converter_arguments(const model_options_t &options) {
    std::vector<std::string> arguments;
    for (const option_name_t &option : option_names)
        if (options.*option.flag)
            arguments.push_back(option.converter_name);
    return arguments;
}

} // namespace kestrel
