#include "tests/support/parsed_text.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace kestrel {

namespace {

// Items of one stream, now and then with something unusual in them, and in every third stream something
// wrong. What stands before each index is left open.
class random_items_t {
  public:
    explicit random_items_t(uint32_t seed) : random_(seed) {
        reals_ = below(4) != 0;
        literals_ = reals_ ? 1 + below(below(8) == 0 ? 16 : 6) : 1 + below(3);
        patterns_ = below(2) == 0;
        faulty_ = below(3) == 0;
        for (std::string &gap : gaps_)
            gap = blanks();
        count_ = below(10) == 0 ? 900 + below(300) : below(130);
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
    bool oddity() { return below(60) == 0; }
    bool fault() { return faulty_ && below(200) == 0; }

    std::string some_of(const char *characters, uint32_t count) {
        std::string text;
        for (const size_t kinds = std::strlen(characters); count > 0; --count)
            text += characters[random_() % kinds];
        return text;
    }
    std::string blanks() { return some_of(" \t \r\n ", below(10) == 0 ? below(14) : 1 + below(2)); }
    std::string gap(size_t place) { return oddity() ? blanks() : gaps_[place]; }

    std::string real() {
        constexpr const char *odd[] = {"1.5e3",           "-.25",         "2.F", "1e2", "7.",
                                       "0.1234567890123", "12345678901.5"};
        constexpr const char *wrong[] = {"3", "&7f800000", "$0000c0ff", "&12g45678", "1.5e", "x"};
        if (oddity() || fault())
            return fault() ? wrong[below(6)] : odd[below(7)];
        if (patterns_)
            return below(2) ? "&3" + some_of("0123456789abcdefABCDEF", 7)
                            : "$" + some_of("0123456789abcdefABCDEF", 7) + "3";
        return std::string(below(2) ? "-" : "") + some_of("0123456789", 1 + below(3)) + "." +
               some_of("0123456789", 1 + below(9));
    }
    std::string integer() {
        constexpr const char *odd[] = {"-5", "0x1F", "017", "08", "00", "9876543", "98765432", "99999999999"};
        constexpr const char *wrong[] = {"1.5", "2e1", "-", "0x", "&3f800000", "\"1\""};
        if (oddity() || fault())
            return fault() ? wrong[below(6)] : odd[below(8)];
        return std::to_string(below(70000));
    }

    std::string item(uint32_t index) {
        const bool octal = index < 8 && oddity();
        std::string text =
            (octal ? "0" : "") + std::to_string(fault() ? below(200) : index) + gap(0) + "(" + gap(1);
        for (uint32_t i = 0, literals = fault() ? below(7) : literals_; i < literals; ++i)
            text += (i > 0 && !fault() ? gap(2) + " " : "") + (reals_ ? real() : integer());
        return text + gap(3) + ")" + gap(4);
    }

    std::mt19937_64 random_;
    bool reals_, patterns_, faulty_;
    uint32_t literals_, count_;
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

// A comment before the index of an item leaves it to the grammar. Windows from 64 bytes to 4 KiB.
TEST(stream_items, runs_are_read_like_the_grammar_reads_items_whatever_they_look_like) {
    size_t good = 0, bad = 0;
    for (uint32_t seed = 0; seed < 4000; ++seed) {
        random_items_t plain_items(seed), commented_items(seed);
        const std::string real_formats[] = {"FLOAT",  "FLOAT2", "FLOAT3",  "FLOAT4",
                                            "FLOAT5", "FLOAT6", "FLOAT4X4"};
        const std::string format = plain_items.reals() ? real_formats[seed % 7] : seed % 2 ? "INT" : "INT2";
        const uint32_t count = plain_items.count();
        const parsed_model_t plain(model_with(plain_items.text("\n"), count, format),
                                   text_window_t::least_size << seed / 7 % 7);
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
