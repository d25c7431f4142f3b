#include "tests/support/parsed_text.h"

#include <algorithm>
#include <random>

namespace kestrel {

namespace {

// Items of one stream, now and then with something unusual or wrong in them. What stands before each index is
// left open.
class random_items_t {
  public:
    explicit random_items_t(uint32_t seed) : random_(seed) {
        reals_ = !one_in(4);
        literals_ = reals_ ? 1 + below(one_in(8) ? 16 : 6) : 1 + below(3);
        style_ = below(4);
        faulty_ = one_in(3);
        for (std::string &gap : gaps_)
            gap = blanks();
        count_ = one_in(10) ? 900 + below(300) : below(130);
    }

    uint32_t count() const { return count_; }
    bool reals() const { return reals_; }
    std::string text(const std::string &before_index) {
        std::string text;
        for (uint32_t index = 0; index < count_; ++index)
            text += before_index + item(index);
        return text;
    }

  private:
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
    bool one_in(uint32_t limit) { return below(limit) == 0; }
    bool fault() { return faulty_ && one_in(200); }
    bool oddity() { return one_in(60); }

    std::string blanks() {
        std::string text;
        for (uint32_t n = one_in(10) ? below(14) : 1 + below(2); n > 0; --n)
            text += " \t \r\n "[below(6)];
        return text;
    }
    std::string gap(size_t place) { return oddity() ? blanks() : gaps_[place]; }
    std::string digits(uint32_t most) {
        std::string text;
        for (uint32_t n = 1 + below(most); n > 0; --n)
            text += static_cast<char>('0' + below(10));
        return text;
    }

    std::string pattern() {
        std::string text(1, "&$"[below(2)]);
        for (int i = 0; i < 8; ++i)
            text += "0123456789abcdefABCDEF"[below(22)];
        if (fault())
            return one_in(2) ? "&7f800000" : "$0000c0ff"; // infinite, and no number
        text[text[0] == '&' ? 2 : 8] = '1';
        return text;
    }
    std::string decimal() {
        std::string text = one_in(3) ? "-" : "";
        text += one_in(9) ? "" : digits(oddity() ? 20 : 3);
        text += "." + digits(oddity() ? 20 : 9);
        if (oddity())
            text += "e" + std::string(one_in(2) ? "-" : "+") + digits(2);
        return text + (oddity() ? "f" : "");
    }
    std::string real() {
        if (fault())
            return one_in(2) ? digits(4) : "&12g45678";
        const bool as_pattern = style_ == 3 ? one_in(2) : style_ == 0;
        return as_pattern ? pattern() : decimal();
    }
    std::string integer() {
        if (fault())
            return "1.5";
        if (oddity())
            return (one_in(2) ? "-" : one_in(2) ? "0x" : "0") + digits(6);
        return std::to_string(one_in(20) ? random_() % 10000000000 : below(70000));
    }

    std::string item(uint32_t index) {
        std::string text =
            fault() ? std::to_string(below(200)) : (oddity() ? "0" : "") + std::to_string(index);
        if (index > 7 && text[0] == '0')
            text.erase(0, 1); // octal is for the faults
        text += gap(0) + "(" + gap(1);
        const uint32_t literals = fault() ? below(7) : literals_;
        for (uint32_t i = 0; i < literals; ++i)
            text += (i > 0 && !(faulty_ && oddity()) ? gap(2) + " " : "") + (reals_ ? real() : integer());
        return text + gap(3) + ")" + gap(4);
    }

    std::mt19937_64 random_;
    bool reals_;
    bool faulty_;
    uint32_t literals_;
    uint32_t style_;
    uint32_t count_;
    std::string gaps_[5];
};

// One stream in a piece of that many vertices.
std::string model_with(const std::string &items, uint32_t count, const std::string &format) {
    std::string text = one_triangle_model;
    const size_t begin = text.find("\tVertexCount: 3\n\tTriangleCount: 1\n\tStreamCount");
    text.replace(begin, text.find("\tTriangles") - begin,
                 "VertexCount: " + std::to_string(count) +
                     " TriangleCount: 1 StreamCount: 1 Stream { Format: " + format + " Tag: \"t\"" + items +
                     "}\n");
    return edited(text, "VertexCount: 3", "VertexCount: " + std::to_string(count));
}

} // namespace

// A comment before the index of an item leaves it to the grammar.
TEST(stream_items, runs_are_read_like_the_grammar_reads_items_whatever_they_look_like) {
    size_t good = 0, bad = 0;
    for (uint32_t seed = 0; seed < 4000; ++seed) {
        random_items_t plain_items(seed), commented_items(seed);
        const std::string real_formats[] = {"FLOAT",  "FLOAT2", "FLOAT3",  "FLOAT4",
                                            "FLOAT5", "FLOAT6", "FLOAT4X4"};
        const std::string format = plain_items.reals() ? real_formats[seed % 7] : seed % 2 ? "INT" : "INT2";
        const uint32_t count = plain_items.count();
        const parsed_model_t plain(model_with(plain_items.text("\n"), count, format));
        const parsed_model_t commented(model_with(commented_items.text("#\n"), count, format));
        ASSERT_EQ(plain.messages, commented.messages) << "seed " << seed;
        ASSERT_EQ(plain.root == nullptr, commented.root == nullptr) << "seed " << seed;
        ++(plain.root ? good : bad);
        if (plain.root) {
            ASSERT_TRUE(std::ranges::equal(plain.root->pieces[0]->streams[0]->bytes(),
                                           commented.root->pieces[0]->streams[0]->bytes()))
                << "seed " << seed;
        }
    }
    EXPECT_GT(good, 1500u);
    EXPECT_GT(bad, 500u);
}

TEST(stream_items, tuples_and_formats_need_not_agree) {
    // A longer tuple is cut, a shorter one ends in zeros, whether written plainly or not.
    for (const char *gap : {" ", " # a comment\n "}) {
        const std::string items =
            std::string("0 ( 1.0") + gap + "2.0 3.0 4.0 )\n1 ( 5.0 6.0 7.0 8.0 )\n2 ( 0.0 0.0 0.0 0.0 )\n";
        std::string text = edited(one_triangle_model,
                                  "0 ( 0.0 0.0 0.0 )\n\t\t1 ( 1.0 0.0 0.0 )\n\t\t2 ( 0.0 1.0 0.0 )", items);
        text = edited(text, "0 ( 1.0 1.0 1.0 1.0 )\n\t\t1 ( 1.0 1.0 1.0 1.0 )\n\t\t2 ( 1.0 1.0 1.0 1.0 )",
                      std::string("0 ( 9.0 )\n1 ( 8.0") + gap + ")\n2 ( 7.0 )");
        const parsed_model_t parsed(text);
        ASSERT_TRUE(parsed.root) << parsed.messages;
        const auto positions = parsed.root->pieces[0]->streams[0]->items_as<float3_t>();
        EXPECT_EQ(positions[0].z, 3.0f);
        EXPECT_EQ(positions[1].x, 5.0f);
        const auto colours = parsed.root->pieces[0]->streams[2]->items_as<std::array<float, 4>>();
        EXPECT_EQ(colours[1], (std::array{8.0f, 0.0f, 0.0f, 0.0f}));
        EXPECT_EQ(colours[2], (std::array{7.0f, 0.0f, 0.0f, 0.0f}));
    }
}

} // namespace kestrel
