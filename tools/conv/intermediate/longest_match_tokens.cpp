#include "tools/conv/intermediate/longest_match_tokens.h"

namespace kestrel {

namespace {

// An automaton made at compile time: its states are the beginnings of keywords, and a character leads from
// one to the next. Letters of either case are of one class; class 0 is every byte that no keyword has.
class keyword_automaton_t {
  public:
    constexpr keyword_automaton_t() {
        uint8_t classes = 1;
        for (char letter = 'A'; letter <= 'Z'; ++letter)
            class_of_byte_[index(letter)] = class_of_byte_[index(letter - 'A' + 'a')] = classes++;
        for (char digit = '0'; digit <= '9'; ++digit)
            class_of_byte_[index(digit)] = classes++;
        kinds_.fill(token_kind_t::none);
        uint16_t states = start + 1;
        for (size_t i = 0; i < keywords.size(); ++i) {
            uint16_t state = start;
            for (const char c : keywords[i]) {
                uint16_t &following = next_[state][class_of_byte_[index(c)]];
                if (following == dead)
                    following = states++;
                state = following;
            }
            kinds_[state] = static_cast<token_kind_t>(static_cast<size_t>(token_kind_t::keyword) + i);
        }
    }

    constexpr keyword_match_t match(const char *text) const {
        keyword_match_t longest;
        uint16_t state = start;
        for (size_t length = 0; state != dead; ++length) {
            if (kinds_[state] != token_kind_t::none)
                longest = {kinds_[state], length};
            state = next_[state][class_of_byte_[index(text[length])]];
        }
        return longest;
    }

  private:
    static constexpr uint16_t dead = 0;
    static constexpr uint16_t start = 1;
    static constexpr size_t max_states = 1024;
    static constexpr size_t class_count = 1 + 26 + 10;

    static constexpr size_t index(int byte) { return static_cast<uint8_t>(byte); }

    std::array<uint8_t, 256> class_of_byte_{};
    std::array<std::array<uint16_t, class_count>, max_states> next_{};
    std::array<token_kind_t, max_states> kinds_{};
};

constexpr keyword_automaton_t keyword_automaton;

} // namespace

keyword_match_t match_keyword(const char *text) {
    return keyword_automaton.match(text);
}

} // namespace kestrel
