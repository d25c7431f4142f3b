#include "tools/conv/intermediate/scanner.h"

#include "tests/support/captured_messages.h"
#include "tests/support/padded_text.h"

#include <gtest/gtest.h>

namespace kestrel {

// Tokens of a text, a word each: keywords and marks by code, values in the form kind=value.
static std::string tokens_of(std::string_view text) {
    const padded_text_t padded(text);
    scanner_t scanner(padded.view(), "f");
    std::string all;
    for (;;) {
        const token_kind_t kind = scanner.next();
        switch (kind) {
        case token_kind_t::end_of_input:
            return all;
        case token_kind_t::integer:
            all += "i" + std::to_string(scanner.integer());
            break;
        case token_kind_t::real:
            all += "r" + std::to_string(scanner.real());
            break;
        case token_kind_t::string:
            all += "s<" + std::string(scanner.string()) + ">";
            break;
        case token_kind_t::long_string:
            all += "l<" + std::string(scanner.string()) + ">";
            break;
        default:
            all += std::to_string(static_cast<int>(kind));
        }
        all += "@" + std::to_string(scanner.line()) + " ";
    }
}

TEST(scanner, every_keyword_in_any_case) {
    for (size_t i = 0; i < keywords.size(); ++i) {
        std::string mixed(keywords[i]);
        for (size_t k = 0; k < mixed.size(); k += 2)
            mixed[k] = static_cast<char>(std::tolower(mixed[k]));
        EXPECT_EQ(tokens_of(mixed), std::to_string(268 + i) + "@1 ") << mixed;
    }
    EXPECT_EQ(static_cast<int>("DEPENDENCY"_kw), 399);
    EXPECT_EQ(static_cast<int>("HEADER"_kw), 312);
}

TEST(scanner, tokens_and_messages) {
    const std::string name255(255, 'n');
    const struct {
        std::string text;
        std::string tokens;
        std::string messages;
    } cases[] = {
        {"", "", ""},
        {"# only a comment", "", ""},
        {"# c\n1", "i1@2 ", ""},
        {"\n\n1\r\n\t2", "i1@3 i2@4 ", ""},
        {":{}()", "58@1 123@1 125@1 40@1 41@1 ", ""},
        {"FormatVersionX", "313@1 ", "E: f:1: unknown token : 'X'\n"},
        {"XNAME", "320@1 ", "E: f:1: unknown token : 'X'\n"},
        {"PIECESKINSTREA", "395@1 ",
         "E: f:1: unknown token : 'S'\nE: f:1: unknown token : 'T'\nE: f:1: unknown token : 'R'\n"
         "E: f:1: unknown token : 'E'\nE: f:1: unknown token : 'A'\n"},
        {"-0x1", "i0@1 i1@1 ", "E: f:1: unknown token : 'x'\n"},
        {"0x1F &3f800000 $0000803f .1e1 1e0 -12",
         "i31@1 r1.000000@1 r1.000000@1 r1.000000@1 r1.000000@1 i4294967284@1 ", ""},
        {"&3f80000", "i3@1 i80000@1 ", "E: f:1: unknown token : '&'\nE: f:1: unknown token : 'f'\n"},
        {"1e 1.5e+ -.5", "i1@1 r1.500000@1 r-0.500000@1 ",
         "E: f:1: unknown token : 'e'\nE: f:1: unknown token : 'e'\nE: f:1: unknown token : '+'\n"},
        {"7.e2(8)9:1e2f2.5.5",
         "r700.000000@1 40@1 i8@1 41@1 i9@1 58@1 r100.000000@1 r2.500000@1 r0.500000@1 ", ""},
        {"\n&7f800000 1", "", "E: f:2: Invalid floating point value '&7f800000'\n"},
        {"$0000c07f 1", "", "E: f:1: Invalid floating point value '$0000c07f'\n"},
        {"\"a\nb\" 1", "s<a\nb>@1 i1@1 ", ""},
        {"\"\" \"x\"", "s<>@1 s<x>@1 ", ""},
        {"\"" + name255 + "\"", "s<" + name255 + ">@1 ", ""},
        {"\"" + name255 + "z\" 1", "s<" + name255 + ">@1 i1@1 ",
         "E: f:1: string length exceeds buffer size (256 bytes)\n"},
        {"\n\"open", "", "E: f:2: unterminated string constant\n"},
        {"\"" + name255 + "z", "",
         "E: f:1: string length exceeds buffer size (256 bytes)\nE: f:1: unterminated string constant\n"},
        {"\"\"\"a\"b\"\"c\n\"\"\"\n1", "l<a\"b\"\"c\n>@1 i1@2 ", ""},
        {"\"\"\"open\"\"", "", "E: f:1: unterminated string constant\n"},
        {"\xEF\xBB\xBF"
         "Header",
         "312@1 ",
         "E: f:1: unknown token : '\xEF'\nE: f:1: unknown token : '\xBB'\nE: f:1: unknown token : '\xBF'\n"},
        {std::string("1\0002", 3), "i1@1 i2@1 ", "E: f:1: unknown token : ''\n"},
        {"+ - . $ _", "",
         "E: f:1: unknown token : '+'\nE: f:1: unknown token : '-'\nE: f:1: unknown token : '.'\n"
         "E: f:1: unknown token : '$'\nE: f:1: unknown token : '_'\n"},
    };
    for (const auto &each : cases) {
        captured_messages_t messages;
        EXPECT_EQ(tokens_of(each.text), each.tokens) << each.text;
        EXPECT_EQ(messages.text(), each.messages) << each.text;
    }
}

TEST(scanner, an_error_inside_a_token_ends_the_input_in_its_place) {
    const std::pair<std::string, const char *> cases[] = {
        {"\n&7f800000 1\n\n", "&7f800000"}, {"\n\"open\n\n", "\""}, {"\n\"\"\"open\"\"\n\n", "\"\"\""}};
    for (const auto &[source, token_text] : cases) {
        captured_messages_t messages;
        const padded_text_t text(source);
        scanner_t scanner(text.view(), "f");
        EXPECT_EQ(scanner.next(), token_kind_t::end_of_input) << source;
        EXPECT_EQ(scanner.token_text(), token_text) << source;
        EXPECT_EQ(scanner.line(), 2) << source;
        EXPECT_EQ(scanner.next(), token_kind_t::end_of_input) << source;
        EXPECT_EQ(scanner.token_text(), "") << source;
    }
}

} // namespace kestrel
