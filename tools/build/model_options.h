#pragma once

// What the converter is to do with a model: its passes, named like its options.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct model_options_t {
    bool discard = false;
    bool merge = false;
    bool optimize = false;
    bool tangent = false;

    bool operator==(const model_options_t &) const = default;
};

// Everything that is said about an option.
struct option_name_t {
    const char *name;           // in kimbuild's options, rules and JSON
    char letter;                // in the state file
    const char *converter_name; // on the converter's command line
    const char *help;
    bool model_options_t::*flag;
};

inline constexpr option_name_t option_names[] = {
    {"discard", 'd', "-discard_bad_triangles", "remove triangles without area", &model_options_t::discard},
    {"merge", 'm', "-merge_part_pieces", "join pieces of one part that have the same material and layout",
     &model_options_t::merge},
    {"optimize", 'o', "-optimize_for_vertex_cache",
     "merge equal vertices, order triangles for the vertex cache", &model_options_t::optimize},
    {"tangent", 't', "-tangent", "store tangent vectors", &model_options_t::tangent},
};

inline const option_name_t *find_option(std::string_view name) {
    for (const option_name_t &option : option_names)
        if (name == option.name)
            return &option;
    return nullptr;
}

inline model_options_t operator|(model_options_t a, const model_options_t &b) {
    for (const option_name_t &option : option_names)
        a.*option.flag |= b.*option.flag;
    return a;
}

// "discard, tangent", or "none".
std::string describe(const model_options_t &options);
// "dt", or "-" when there are none.
std::string letters_of(const model_options_t &options);
std::optional<model_options_t> options_from_letters(std::string_view letters);
// "-discard_bad_triangles" and so on.
std::vector<std::string> converter_arguments(const model_options_t &options);

} // namespace kestrel
