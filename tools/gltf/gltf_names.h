#pragma once

// Names and texts of a glTF file as a model may have them.

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// Names of up to 12 letters, digits and "_", one for each wanted. What is such a name already stays; what is
// not becomes one that no other is, letter case aside. With `all_differ` repeated names are made different,
// too. `kind` names the things, as in "part", and what has no name at all. Changes are added to `notes`.
std::vector<std::string> token_names(std::span<const std::string> wanted, std::string_view kind,
                                     bool all_differ, std::vector<std::string> &notes);

// "a, b, c", and how many more there are than are worth telling.
std::string listed(const std::vector<std::string> &texts, size_t most = 20);

// Without double quotes and control characters, at most 255 bytes.
std::string quotable(std::string_view text);

} // namespace kestrel
