#include "tools/lint/lint_checks.h"

#include <algorithm>

namespace kestrel {

namespace {

using code_t = lint_code_t;

// How a refusal of the grammar is told: what was declared, and what was found of it.
struct refusal_kind_t {
    std::string_view message;
    code_t code;
    bool goes_on;                                   // the model is whole all the same
    std::string_view declared;                      // the number's field, or what is numbered
    std::string_view found;                         // what is counted; empty for a rule of its own
    token_kind_t global_field = token_kind_t::none; // where the number stands, of those in Global
};

constexpr token_kind_t here = token_kind_t::none;
constexpr refusal_kind_t refusal_kinds[] = {
    {"unsupported FormatVersion", code_t::format_version, true, "FormatVersion", "", here},
    {"mismatching Piece count", code_t::count, true, "PieceCount", "piece", "PIECECOUNT"_kw},
    {"mismatching Part count", code_t::count, true, "PartCount", "part", "PARTCOUNT"_kw},
    {"mismatching Locator count", code_t::count, true, "LocatorCount", "locator", "LOCATORCOUNT"_kw},
    {"mismatching Piece Skin count", code_t::count, true, "PieceSkinCount", "piece skin",
     "PIECESKINCOUNT"_kw},
    {"mismatching VertexCount count", code_t::count, true, "VertexCount", "vertices in all pieces",
     "VERTEXCOUNT"_kw},
    {"mismatching TriangleCount count", code_t::count, true, "TriangleCount", "triangles in all pieces",
     "TRIANGLECOUNT"_kw},
    {"if defined PieceSkin, the paragraph count of PieceSkins and Pieces are expected to be the same",
     code_t::count, true, "the number of PieceSkin paragraphs", "piece", here},
    {"mismatching Stream item count and VertexCount", code_t::count, true, "the piece's VertexCount",
     "items in this stream", here},
    {"invalid number of Triangles elements", code_t::count, true, "the piece's TriangleCount", "triangle",
     here},
    {"incorrect number of Piece streams", code_t::count, true, "StreamCount", "stream", here},
    {"incorrect number of Stream aliases", code_t::count, true, "AliasCount", "aliases", here},
    {"incorrect number of Skin streams", code_t::count, true, "StreamCount", "skin stream", here},
    {"invalid number of Bones elements", code_t::count, false, "BoneCount", "bone name", "BONECOUNT"_kw},
    {"incorrect number of bones in Skeleton", code_t::count, true, "BoneCount", "bone", "BONECOUNT"_kw},
    {"inconsistent Stream item type/count", code_t::count, false, "the count of this list", "item", here},
    {"inconsistent SkinStream item type/count", code_t::count, false, "ItemCount", "item", here},
    {"invalid Weights count", code_t::count, true, "Weights", "weight", here},
    {"invalid Clones count", code_t::count, true, "Clones", "clone", here},
    {"cannot add weight pair", code_t::count, false, "Weights, or TotalWeightCount,", "", here},
    {"cannot add clone pair", code_t::count, false, "Clones, or TotalCloneCount,", "", here},
    {"only single piece skin stream is expected", code_t::count, false, "StreamCount", "", here},
    {"invalid item_count", code_t::count, false, "ItemCount", "", here},
    {"invalid total_weight_count", code_t::count, false, "TotalWeightCount", "", here},
    {"invalid total_vertex_index_count", code_t::count, false, "TotalVertexIndexCount", "", here},
    {"input item_count is smaller than actual item count", code_t::count, false, "ItemCount", "item", here},
    {"input item_count and actual item count are different", code_t::count, false, "ItemCount", "item", here},
    {"invalid weight count of item", code_t::weights_zero, false, "Weights", "", here},
    {"weight_count and actual weight count differ", code_t::count, false, "Weights", "weight", here},
    {"total_weight_count is smaller than actual weight count", code_t::count, false, "TotalWeightCount",
     "weight", here},
    {"input total_weight_count and actual total weight count are different", code_t::count, false,
     "TotalWeightCount", "weight", here},
    {"invalid vertex index count of item", code_t::count, false, "VertexIndices", "", here},
    {"vertex_index_count and actual vertex index count differ", code_t::count, false, "VertexIndices",
     "vertices", here},
    {"input vertex_index_count and actual vertex index count for the item differ", code_t::count, false,
     "VertexIndices", "vertices", here},
    {"total_vertex_index_count is smaller than actual vertex index count", code_t::count, false,
     "TotalVertexIndexCount", "vertices", here},
    {"input total_vertex_input_count and actual total vertex index count are different", code_t::count, false,
     "TotalVertexIndexCount", "vertices", here},
    {"vertex index exceeds total_vertex_index_count", code_t::skin_vertex, false, "the vertex number", "",
     here},
    {"inconsistent Stream item order", code_t::order, false, "the item's number", "", here},
    {"inconsistent SkinStream item order", code_t::order, false, "the item's number", "", here},
    {"item index should be incremental from zero", code_t::order, false, "the item's number", "", here},
    {"inconsistent Skeleton bone order", code_t::order, false, "the bone's number", "", here},
    {"multiple PieceSkin-s with the same piece index", code_t::order, false, "Piece", "", here},
    {"invalid PieceIndex", code_t::order, false, "Piece", "", here},
    {"only FLOAT3 is allowed", code_t::stream_format, false, "the format of a piece skin must be FLOAT3", "",
     here},
    {"only _POSITION is allowed", code_t::skin_stream, false, "the tag of a piece skin must be _POSITION", "",
     here},
};

const refusal_kind_t *find_kind(std::string_view message) {
    const auto found = std::find_if(std::begin(refusal_kinds), std::end(refusal_kinds),
                                    [&](const refusal_kind_t &kind) { return kind.message == message; });
    return found == std::end(refusal_kinds) ? nullptr : found;
}

std::string text_of(token_kind_t token) {
    switch (token) {
    case token_kind_t::integer:
        return "an integer";
    case token_kind_t::real:
        return "a real";
    case token_kind_t::string:
        return "a text in double quotes";
    case token_kind_t::end_of_input:
        return "the end of the file";
    default:
        break;
    }
    const auto code = static_cast<uint16_t>(token);
    constexpr auto first = static_cast<uint16_t>(token_kind_t::keyword);
    if (code >= first && code - first < int{keywords.size()})
        return std::string(keywords[code - first]);
    return concat("'", static_cast<char>(code), "'");
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// The word or mark that stands first in the text.
std::string_view first_word(std::string_view text) {
    constexpr std::string_view marks = "(){}:\"";
    if (text.empty() || marks.find(text[0]) != text.npos)
        return text.substr(0, 1);
    return text.substr(0, text.find_first_of(" \t\r\n(){}:\"#,"));
}

bool is_integer_text(std::string_view word) {
    const size_t sign = word.starts_with('-');
    return word.size() > sign && word.find_first_not_of("0123456789", sign) == word.npos;
}

class text_check_t {
  public:
    explicit text_check_t(lint_context_t &context)
        : map_(context.map), text_(context.text), findings_(context.findings) {}

    void run() {
        check_start();
        if (!is_utf16_)
            for (const source_map_t::skipped_t &skipped : map_.skipped())
                check_skipped(skipped);
        if (map_.further_skipped() != 0)
            findings_.add(code_t::skipped, {map_.skipped().back().offset}, [&] {
                return concat("further ", map_.further_skipped(), " bytes begin no token, behind this place");
            });
        for (const auto &[fault, offset] : map_.token_faults())
            check_token(fault, offset);
        for (const source_map_t::refused_t &refusal : map_.refusals())
            check_refusal(refusal);
    }

  private:
    void check_start();
    void check_skipped(const source_map_t::skipped_t &skipped);
    void check_token(token_fault_t fault, uint64_t offset);
    void check_refusal(const source_map_t::refused_t &refusal);
    void check_syntax(const source_map_t::refused_t &refusal);
    void add_decimal_comma(text_place_t place, std::string_view whole, std::string_view fraction) {
        findings_.add(code_t::decimal_comma, place, [&] {
            return concat("found ", quoted(concat(whole, ",", fraction)), ", expected ", whole, ".",
                          fraction);
        });
    }
    std::string why_syntax(const source_map_t::refused_t &refusal, std::string_view found);
    std::string before(uint64_t offset, size_t length) {
        const uint64_t start = offset - std::min<uint64_t>(offset, length);
        return text_.bytes(start, static_cast<size_t>(offset - start));
    }

    const source_map_t &map_;
    source_text_t &text_;
    lint_findings_t &findings_;
    bool is_utf16_ = false;
    bool text_ended_ = false; // by a fault that has been told
};

void text_check_t::check_start() {
    const std::string start = text_.bytes(0, 1 << 16);
    is_utf16_ = start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF");
    if (is_utf16_)
        findings_.add(code_t::utf16, {}, "the file begins with the mark of UTF-16");
    if (start.starts_with("\xEF\xBB\xBF"))
        findings_.add(code_t::byte_order_mark, {}, "the file begins with a byte order mark, bytes EF BB BF");
    const size_t carriage_return = start.find('\r');
    if (carriage_return != start.npos && start.find('\n') == start.npos)
        findings_.add(
            code_t::carriage_returns, {carriage_return},
            "lines end in carriage returns without line feeds: a comment goes on to the end of the file, "
            "and the converter calls every line 1");
}

void text_check_t::check_skipped(const source_map_t::skipped_t &skipped) {
    if (skipped.offset == 0 && skipped.start.starts_with("\xEF\xBB\xBF"))
        return; // told
    const text_place_t place{skipped.offset};
    if (skipped.start[0] == ',') {
        const std::string number = before(skipped.offset, 16);
        const std::string behind = text_.bytes(skipped.offset + skipped.length, 16);
        const bool between_digits =
            !number.empty() && is_digit(number.back()) && !behind.empty() && is_digit(behind[0]);
        const size_t start = number.find_last_not_of("0123456789") + 1;
        if (between_digits && (start == 0 || number[start - 1] != '.') &&
            first_word(behind).find('.') == std::string_view::npos)
            return add_decimal_comma(place, std::string_view(number).substr(start), first_word(behind));
        return findings_.add(code_t::comma, place, "a comma between values");
    }
    // Letters of a word may begin keywords, so the word is looked at as it stands.
    const std::string near = text_.bytes(skipped.offset, 32);
    std::string word(first_word(near));
    std::transform(word.begin(), word.end(), word.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const std::string_view unsigned_word =
        std::string_view(word).substr(word.starts_with('-') || word.starts_with('+'));
    if (unsigned_word.starts_with("nan") || unsigned_word.starts_with("inf"))
        return findings_.add(code_t::not_a_number, place, [&] {
            return concat("found ", quoted(first_word(near)), ", expected a number");
        });
    findings_.add(code_t::skipped, place, [&] {
        return concat("found ", quoted(skipped.start),
                      skipped.length > skipped.start.size() ? " and more" : "",
                      ", which begins no keyword, number or text in double quotes");
    });
}

void text_check_t::check_token(token_fault_t fault, uint64_t offset) {
    const text_place_t place{offset};
    switch (fault) {
    case token_fault_t::string_too_long:
        return findings_.add(code_t::string_cut, place, "the text has more than 255 bytes, the rest is cut");
    case token_fault_t::unterminated_string:
        text_ended_ = true;
        return findings_.add(code_t::string_open, place, "the text that begins here has no closing quote");
    case token_fault_t::bits_not_finite:
        text_ended_ = true;
        return findings_.add(code_t::bits_not_finite, place, [&] {
            return concat("found ", text_.bytes(offset, 9),
                          ", which is infinite or no number; the converter stops");
        });
    }
}

void text_check_t::check_refusal(const source_map_t::refused_t &refusal) {
    const refusal_kind_t *const kind = find_kind(refusal.message);
    if (!kind)
        return check_syntax(refusal);
    text_place_t place{refusal.offset};
    if (kind->global_field != here)
        place = map_.field("GLOBAL"_kw, 0, kind->global_field);
    const bool too_many = refusal.found == refusal.declared + 1 && !kind->goes_on && kind->found == "item";
    findings_.add(kind->code, place, [&]() -> std::string {
        if (refusal.declared == 0 && refusal.found == 0)
            return concat(kind->declared, kind->code == code_t::count || kind->code == code_t::weights_zero
                                              ? " is wrong here"
                                              : "");
        if (kind->code == code_t::skin_vertex)
            return concat(kind->declared, " is ", refusal.declared, ", expected less than ", refusal.found);
        if (kind->found.empty()) {
            std::string hint;
            if (kind->code == code_t::format_version && refusal.declared == (refusal.found == 5 ? 1 : 5))
                hint = refusal.found == 5 ? ", this looks like a skeleton" : ", this looks like a model";
            if (kind->code == code_t::order)
                hint = "; a leading 0 makes a number octal";
            return concat(kind->declared, " is ", refusal.declared, ", expected ", refusal.found, hint);
        }
        const uint64_t found =
            too_many ? std::max(text_.count_items(refusal.first_item), refusal.found) : refusal.found;
        const bool plural = kind->found.find(' ') != kind->found.npos || kind->found.ends_with('s');
        return concat(kind->declared, " is ", refusal.declared, ", found ",
                      plural ? concat(found, " ", kind->found) : concat(counted_t{found, kind->found}));
    });
}

// Why what is there is not what was wanted, as far as one can guess.
std::string text_check_t::why_syntax(const source_map_t::refused_t &refusal, std::string_view found) {
    if (found.empty())
        return "; the file ends too early";
    const auto wanted = [&](token_kind_t token) {
        return std::find(refusal.wanted.begin(), refusal.wanted.end(), token) != refusal.wanted.end();
    };
    const std::string behind = before(refusal.offset, 160);
    for (const std::string_view word : {"#IND", "#INF", "#QNAN", "#SNAN"})
        if (behind.find(word) != behind.npos)
            return concat("; ", word, " is no number, and the # begins a comment");
    if (wanted(token_kind_t::real) && is_integer_text(found))
        return concat("; a number without point or exponent is an integer, write ", found, ".0");
    if (wanted(token_kind_t::integer) && !found.empty() &&
        (is_digit(found[0]) || found[0] == '-' || found[0] == '&'))
        return "; values of one list are all integers or all reals, as its first is: write all with a point";
    for (const source_map_t::skipped_t &skipped : map_.skipped())
        if (skipped.offset < refusal.offset && refusal.offset - skipped.offset <= 64)
            return concat("; ", quoted(first_word(text_.bytes(skipped.offset, 32))),
                          " before it was skipped");
    if (wanted(token_kind_t::right_parenthesis) && is_integer_text(found))
        return "; a list has at most three integers in an item, reals need a point";
    if (std::any_of(refusal.wanted.begin(), refusal.wanted.end(),
                    [](token_kind_t token) { return token >= token_kind_t::keyword; }))
        return "; fields and paragraphs stand in a fixed order";
    return {};
}

void text_check_t::check_syntax(const source_map_t::refused_t &refusal) {
    if (text_ended_)
        return;
    const std::string near = text_.bytes(refusal.offset, 40);
    const std::string_view found = first_word(near);
    const std::string_view behind = std::string_view(near).substr(found.size());
    if (is_integer_text(found) && behind.size() > 1 && behind[0] == ',' && is_digit(behind[1]))
        return add_decimal_comma({refusal.offset}, found, first_word(behind.substr(1)));
    findings_.add(code_t::syntax, {refusal.offset}, [&] {
        std::string wanted;
        for (size_t i = 0; i < refusal.wanted.size(); ++i)
            append(wanted, concat(i == 0                           ? ""
                                  : i + 1 == refusal.wanted.size() ? " or "
                                                                   : ", ",
                                  text_of(refusal.wanted[i])));
        return concat("found ", near.empty() ? "the end of the file" : quoted(found), ", expected ",
                      wanted.empty() ? "a number or a text in double quotes" : wanted,
                      why_syntax(refusal, found));
    });
}

} // namespace

bool may_go_on_after(std::string_view refusal) {
    const refusal_kind_t *const kind = find_kind(refusal);
    return kind && kind->goes_on;
}

void check_text(lint_context_t &context) {
    text_check_t(context).run();
}

} // namespace kestrel
