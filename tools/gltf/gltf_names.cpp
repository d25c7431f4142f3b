#include "tools/gltf/gltf_names.h"

#include "kcore/strings/token.h"
#include "tools/kmg/concat.h"

#include <map>
#include <set>

namespace kestrel {

namespace {

bool is_token_character(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool is_within_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// "_" for every character that no token has.
std::string token_like(std::string_view text) {
    std::string name;
    for (const char c : text)
        if (is_token_character(c))
            name += c;
        else if (!is_within_character(c))
            name += '_';
    return name.substr(0, token_t::max_length);
}

// Names whose tokens are known, so that "Arm" and "arm" are the same.
class taken_names_t {
  public:
    // False when it was there.
    bool add(std::string_view name) { return values_.insert(token_t::from_string(name)->value()).second; }

    std::string add_different(const std::string &name) {
        if (add(name))
            return name;
        // From where the last of the same name left off, or many would take the square of the time.
        for (size_t &number = next_[name];;) {
            const std::string ending = concat("_", ++number + 1);
            std::string candidate = name.substr(0, token_t::max_length - ending.size()) + ending;
            if (add(candidate))
                return candidate;
        }
    }

  private:
    std::set<uint64_t> values_;
    std::map<std::string, size_t> next_;
};

} // namespace

std::vector<std::string> token_names(std::span<const std::string> wanted, std::string_view kind,
                                     bool all_differ, std::vector<std::string> &notes) {
    std::vector<std::string> names(wanted.begin(), wanted.end());
    taken_names_t taken;
    std::vector<size_t> to_change;
    for (size_t i = 0; i < names.size(); ++i) {
        const bool fits = !names[i].empty() && token_t::from_string(names[i]);
        if (!fits || (!taken.add(names[i]) && all_differ))
            to_change.push_back(i);
    }
    std::vector<std::string> changes;
    for (const size_t i : to_change) {
        names[i] = taken.add_different(token_like(names[i].empty() ? concat(kind, "_", i) : names[i]));
        changes.push_back(concat("\"", wanted[i], "\" is now \"", names[i], "\""));
    }
    if (!changes.empty())
        notes.push_back(concat(kind, " names: ", listed(changes, 255)));
    return names;
}

std::string listed(const std::vector<std::string> &texts, size_t most) {
    std::string list;
    for (size_t i = 0; i < std::min(most, texts.size()); ++i)
        list += (i > 0 ? ", " : "") + texts[i];
    if (texts.size() > most)
        list += concat(" and ", texts.size() - most, " more");
    return list;
}

std::string quotable(std::string_view text) {
    constexpr size_t most = 255;
    std::string result;
    for (const char c : text)
        result += c == '"' || static_cast<unsigned char>(c) < ' ' ? '_' : c;
    if (result.size() > most) {
        size_t end = most;
        while (end > 0 && is_within_character(result[end]))
            --end;
        result.resize(end);
    }
    return result;
}

} // namespace kestrel
