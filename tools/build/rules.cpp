#include "tools/build/rules.h"

#include "tools/build/console.h"
#include "tools/build/platform/files.h"

#include <iterator>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

// Gives the bytes of a text and tells how far the parser has read: the only way to say where something stands
// that is well-formed and yet wrong.
class counted_byte_t {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    counted_byte_t(const char *at, const char **reached) : at_(at), reached_(reached) {}
    reference operator*() const { return *at_; }
    counted_byte_t &operator++() {
        *reached_ = ++at_;
        return *this;
    }
    counted_byte_t operator++(int) {
        counted_byte_t old = *this;
        ++*this;
        return old;
    }
    bool operator==(const counted_byte_t &other) const { return at_ == other.at_; }
    bool operator!=(const counted_byte_t &other) const { return at_ != other.at_; }

  private:
    const char *at_;
    const char **reached_;
};

// Follows the parser through { "rules": [ { "models": ..., "options": [...] } ] }.
class rules_reader_t final : public nlohmann::json_sax<nlohmann::json> {
  public:
    rules_reader_t(std::string_view text, std::vector<rule_t> &rules) : text_(text), rules_(rules) {}

    bool run() {
        const char *const end = text_.data() + text_.size();
        reached_ = text_.data();
        return nlohmann::json::sax_parse(counted_byte_t(text_.data(), &reached_),
                                         counted_byte_t(end, &reached_), this);
    }
    const std::string &error() const { return error_; }

    bool key(string_t &name) override;
    bool string(string_t &value) override;
    bool start_object(size_t) override;
    bool end_object() override;
    bool start_array(size_t) override;
    bool end_array() override;
    bool null() override { return unexpected("null"); }
    bool boolean(bool) override { return unexpected("a boolean"); }
    bool number_integer(number_integer_t) override { return unexpected("a number", 2); }
    bool number_unsigned(number_unsigned_t) override { return unexpected("a number", 2); }
    bool number_float(number_float_t, const string_t &) override { return unexpected("a number", 2); }
    bool binary(binary_t &) override { return unexpected("bytes"); }
    bool parse_error(size_t position, const std::string &, const nlohmann::json::exception &error) override;

  private:
    enum class place_t { start, file, rules_value, rules, rule, models_value, options_value, options, end };

    bool fail_at(size_t position, const std::string &what);
    bool fail(const std::string &what, size_t beyond = 1);
    bool unexpected(const std::string &what, size_t beyond = 1);
    size_t string_start() const;

    std::string_view text_;
    std::vector<rule_t> &rules_;
    const char *reached_ = nullptr;
    place_t place_ = place_t::start;
    bool has_options_ = false;
    std::string error_;
};

// Columns count characters, not bytes.
bool rules_reader_t::fail_at(size_t position, const std::string &what) {
    const std::string_view before = text_.substr(0, position);
    const size_t line_start = before.rfind('\n') + 1; // npos + 1 is 0
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const auto characters = std::count_if(before.begin() + static_cast<std::ptrdiff_t>(line_start),
                                          before.end(), [](char c) { return (c & 0xC0) != 0x80; });
    error_ = std::to_string(lines + 1) + ":" + std::to_string(characters + 1) + ": " + what;
    return false;
}

bool rules_reader_t::fail(const std::string &what, size_t beyond) {
    const auto read = static_cast<size_t>(reached_ - text_.data());
    return fail_at(read - std::min(read, beyond), what);
}

// Where the string that was just read begins: at the last quote before its own end that is not escaped.
size_t rules_reader_t::string_start() const {
    size_t quote = static_cast<size_t>(reached_ - text_.data()) - 1;
    for (size_t backslashes = 1; quote > 0 && backslashes % 2 == 1;) {
        quote = text_.rfind('"', quote - 1);
        backslashes = 0;
        while (backslashes < quote && text_[quote - 1 - backslashes] == '\\')
            ++backslashes;
    }
    return quote;
}

bool rules_reader_t::unexpected(const std::string &what, size_t beyond) {
    const char *expected = "";
    switch (place_) {
    case place_t::start:
        expected = "an object, { \"rules\": [...] }";
        break;
    case place_t::rules_value:
        expected = "a list of rules, [...]";
        break;
    case place_t::rules:
        expected = "a rule, { \"models\": \"...\", \"options\": [...] }";
        break;
    case place_t::models_value:
        expected = "a pattern in quotes";
        break;
    case place_t::options_value:
        expected = "a list of options, [...]";
        break;
    default:
        expected = "an option in quotes";
        break;
    }
    return fail(what + " where " + expected + " is wanted", beyond);
}

bool rules_reader_t::key(string_t &name) {
    if (place_ == place_t::file && name == "rules")
        place_ = place_t::rules_value;
    else if (place_ == place_t::rule && name == "models")
        place_ = place_t::models_value;
    else if (place_ == place_t::rule && name == "options")
        place_ = place_t::options_value;
    else
        return fail_at(string_start(), "\"" + name + "\" is not known here; " +
                                           (place_ == place_t::rule ? "a rule has \"models\" and \"options\""
                                                                    : "the file has \"rules\""));
    return true;
}

bool rules_reader_t::string(string_t &value) {
    if (place_ == place_t::models_value) {
        if (value.empty())
            return fail_at(string_start(), "an empty pattern matches nothing");
        rules_.back().pattern = value;
        place_ = place_t::rule;
        return true;
    }
    if (place_ != place_t::options)
        return fail_at(string_start(), (unexpected("text"), error_.substr(error_.find(": ") + 2)));
    const option_name_t *const option = find_option(value);
    if (!option) {
        std::string known;
        for (const option_name_t &each : option_names)
            known += (known.empty() ? "" : ", ") + std::string(each.name);
        return fail_at(string_start(), "\"" + value + "\" is no option; there are " + known);
    }
    rules_.back().options.*option->flag = true;
    return true;
}

bool rules_reader_t::start_object(size_t) {
    if (place_ == place_t::start) {
        place_ = place_t::file;
        return true;
    }
    if (place_ != place_t::rules)
        return unexpected("an object");
    rules_.emplace_back();
    has_options_ = false;
    place_ = place_t::rule;
    return true;
}

bool rules_reader_t::end_object() {
    if (place_ == place_t::rule && rules_.back().pattern.empty())
        return fail("this rule has no \"models\"");
    if (place_ == place_t::rule && !has_options_)
        return fail("this rule has no \"options\"");
    place_ = place_ == place_t::rule ? place_t::rules : place_t::end;
    return true;
}

bool rules_reader_t::start_array(size_t) {
    if (place_ == place_t::rules_value) {
        place_ = place_t::rules;
        return true;
    }
    if (place_ != place_t::options_value)
        return unexpected("a list");
    has_options_ = true;
    place_ = place_t::options;
    return true;
}

bool rules_reader_t::end_array() {
    place_ = place_ == place_t::options ? place_t::rule : place_t::file;
    return true;
}

bool rules_reader_t::parse_error(size_t position, const std::string &,
                                 const nlohmann::json::exception &error) {
    // "[json.exception...] parse error at line 1, column 2: what is wrong"
    const std::string_view text = error.what();
    const size_t what = text.find(": ");
    return fail_at(position == 0 ? 0 : position - 1,
                   std::string(what == std::string_view::npos ? text : text.substr(what + 2)));
}

} // namespace

// Goes back to the last star only: what an earlier one could take more of, a later one can as well. Of "**"
// and "*" each has a place of its own to go back to.
bool matches_pattern(std::string_view pattern, std::string_view path) {
    if (!pattern.starts_with('/') && !path.empty()) {
        // Begins at any folder.
        for (size_t slash = 0; slash != std::string_view::npos; slash = path.find('/', slash + 1))
            if (matches_pattern("/" + std::string(pattern), path.substr(slash)))
                return true;
        return false;
    }
    constexpr size_t none = std::string_view::npos;
    size_t p = 0, t = 0;
    size_t star = none, star_text = 0, stars = none, stars_text = 0;
    for (;;) {
        if (p < pattern.size() && pattern[p] == '*') {
            if (pattern.substr(p, 2) == "**") {
                stars = p += 2;
                stars_text = t;
                star = none;
            } else {
                star = ++p;
                star_text = t;
            }
            continue;
        }
        if (t == path.size() && p == pattern.size())
            return true;
        if (t < path.size() && p < pattern.size() &&
            (pattern[p] == path[t] || (pattern[p] == '?' && path[t] != '/'))) {
            ++p;
            ++t;
            continue;
        }
        if (star != none && star_text < path.size() && path[star_text] != '/') {
            p = star;
            t = ++star_text;
        } else if (stars != none && stars_text < path.size()) {
            p = stars;
            t = ++stars_text;
            star = none;
        } else {
            return false;
        }
    }
}

std::optional<rules_t> rules_t::parse(std::string_view text, std::string &error) {
    rules_t rules;
    rules_reader_t reader(text, rules.rules_);
    if (reader.run())
        return rules;
    error = reader.error();
    return std::nullopt;
}

model_options_t rules_t::options_of(std::string_view model) const {
    for (auto rule = rules_.rbegin(); rule != rules_.rend(); ++rule)
        if (matches_pattern(rule->pattern, model))
            return rule->options;
    return {};
}

std::optional<rules_t> load_rules(const std::string &sources) {
    const std::string path = sources + "/" + std::string(rules_name);
    std::string text, error;
    if (const auto reading = read_whole_file(path, text)) {
        if (reading == std::errc::no_such_file_or_directory)
            return rules_t();
        say_error(path, reading);
        return std::nullopt;
    }
    auto rules = rules_t::parse(text, error);
    if (!rules)
        say_error(path + ":" + error);
    return rules;
}

} // namespace kestrel
