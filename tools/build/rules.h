#pragma once

// Options for some models: the rules file ROOT/kimbuild.json.
//
//   { "rules": [ { "models": "/model/actor/**", "options": ["optimize", "tangent"] }, ... ] }
//
// The last rule whose pattern matches a model holds for it. In a pattern, "*" is any text without "/", "**"
// any text, "?" any one character but "/"; one that does not begin with "/" may begin at any folder.

#include "tools/build/model_options.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

inline constexpr std::string_view rules_name = "kimbuild.json";

bool matches_pattern(std::string_view pattern, std::string_view path);

struct rule_t {
    std::string pattern;
    model_options_t options;
};

class rules_t {
  public:
    // None, with "LINE:COLUMN: what is wrong", when the text is no rules file.
    static std::optional<rules_t> parse(std::string_view text, std::string &error);

    // None when no rule matches.
    model_options_t options_of(std::string_view model) const;

  private:
    std::vector<rule_t> rules_;
};

// The rules of a tree; no rules when there is no file. None after a message when it is wrong.
std::optional<rules_t> load_rules(const std::string &sources);

} // namespace kestrel
