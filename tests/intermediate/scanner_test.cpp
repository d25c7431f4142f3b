#include "tools/conv/intermediate/parse_file.h"

#include "tests/support/captured_messages.h"
#include "tests/support/model_text.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kestrel {

// Tokens of a text, a word each: keywords and marks by code, values in the form kind=value.
static std::string tokens_of(std::string_view text, size_t window_size = text_window_t::usual_size) {
    text_file_t file(text, "f");
    scanner_t scanner(file, window_size);
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
        {std::string(200, '0') + "17 -" + std::string(200, '1') + " " + std::string(200, '0') + "2.5 x" +
             std::string(200, '1') + "e-200#" + std::string(200, '#') + "\n" + std::string(200, '\n') + "3",
         "i15@1 i2147483648@1 r2.500000@1 r0.111111@1 i3@202 ", "E: f:1: unknown token : 'x'\n"},
        {"+ - . $ _", "",
         "E: f:1: unknown token : '+'\nE: f:1: unknown token : '-'\nE: f:1: unknown token : '.'\n"
         "E: f:1: unknown token : '$'\nE: f:1: unknown token : '_'\n"},
    };
    for (const auto &each : cases) {
        captured_messages_t messages;
        EXPECT_EQ(tokens_of(each.text), each.tokens) << each.text;
        EXPECT_EQ(messages.text(), each.messages) << each.text;
        // Through the smallest window, whose ends fall everywhere into the text.
        for (size_t blanks = 0; blanks <= text_window_t::least_size; ++blanks) {
            captured_messages_t again;
            EXPECT_EQ(tokens_of(std::string(blanks, ' ') + each.text, text_window_t::least_size), each.tokens)
                << blanks << each.text;
            EXPECT_EQ(again.text(), each.messages) << blanks << each.text;
        }
    }
}

TEST(scanner, a_token_knows_where_it_begins) {
    const std::string text = "# " + std::string(300, 'c') + "\nNAME: \"" + std::string(300, '\n') + "\" 12";
    for (const size_t window_size : {text_window_t::least_size, text_window_t::usual_size}) {
        captured_messages_t messages;
        text_file_t file(text, "f");
        scanner_t scanner(file, window_size);
        for (const uint64_t offset : {303u, 307u, 309u, 612u, 614u}) {
            scanner.next();
            EXPECT_EQ(scanner.token_offset(), offset);
        }
        EXPECT_EQ(scanner.line(), 2);
    }
}

TEST(scanner, an_error_inside_a_token_ends_the_input_in_its_place) {
    const std::pair<std::string, const char *> cases[] = {
        {"\n&7f800000 1\n\n", "&7f800000"}, {"\n\"open\n\n", "\""}, {"\n\"\"\"open\"\"\n\n", "\"\"\""}};
    for (const auto &[source, token_text] : cases) {
        captured_messages_t messages;
        text_file_t file(source, "f");
        scanner_t scanner(file);
        EXPECT_EQ(scanner.next(), token_kind_t::end_of_input) << source;
        EXPECT_EQ(scanner.token_text(), token_text) << source;
        EXPECT_EQ(scanner.line(), 2) << source;
        EXPECT_EQ(scanner.next(), token_kind_t::end_of_input) << source;
        EXPECT_EQ(scanner.token_text(), "") << source;
    }
}

namespace {

// A file of which only the first bytes can be read.
class torn_file_t final : public file_t {
  public:
    torn_file_t(std::string_view text, size_t readable) : file_t("f"), text_(text), readable_(readable) {}

    void tear(size_t readable) { readable_ = readable; }
    bool stat(fs_stat_t &out) const override {
        out.size = text_.size();
        return true;
    }
    bool get_system_path(mstring_t &) const override { return false; }
    bool get_mount_path(mstring_t &) const override { return false; }
    bool get_display_name(mstring_t &text) const override { return text.assign("f"); }

  protected:
    bool do_read(std::span<std::byte> buffer, uint64_t position) override {
        if (position + buffer.size() > readable_)
            return false;
        std::memcpy(buffer.data(), text_.data() + position, buffer.size());
        return true;
    }
    bool do_write(std::span<const std::byte>, uint64_t) override { return false; }

  private:
    std::string_view text_;
    size_t readable_;
};

} // namespace

// Whatever the parser is at when the file cannot be read on, the one line about it is the last.
TEST(scanner, a_failing_read_ends_the_parse_with_one_message) {
    const std::string text = edited(one_triangle_model, "Header {", "Header { x");
    const std::string unknown = "E: f:1: unknown token : 'x'\n",
                      unreadable = "E: error reading from file f\n";
    for (size_t readable = 0; readable <= text.size(); ++readable) {
        captured_messages_t messages;
        torn_file_t file(text, readable);
        scanner_t scanner(file, text_window_t::least_size);
        owner_list_t owners;
        const bool whole = readable == text.size();
        EXPECT_EQ(parse_model(scanner, owners) != nullptr, whole) << readable;
        const bool began = readable >= text_window_t::least_size;
        EXPECT_EQ(messages.text(), (began ? unknown : "") + (whole ? "" : unreadable)) << readable;
    }
}

TEST(scanner, lines_that_cannot_be_read_again_are_not_counted) {
    captured_messages_t messages;
    const std::string text = std::string(100, '\n') + "1\n" + std::string(20, ' ') + "x\n2";
    torn_file_t file(text, text.size());
    scanner_t scanner(file, text_window_t::least_size);
    EXPECT_EQ(scanner.next(), token_kind_t::integer);
    file.tear(0);
    EXPECT_EQ(scanner.next(), token_kind_t::integer);
    EXPECT_EQ(scanner.line(), 39);
    EXPECT_EQ(messages.text(), "E: f:38: unknown token : 'x'\n");
}

} // namespace kestrel
