#include "tests/support/model_text.h"
#include "tests/support/parsed_text.h"

#include <algorithm>
#include <gtest/gtest.h>
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

std::string model_with(const std::string &items, uint32_t count, const std::string &format) {
    std::string text = one_triangle_model;
    const size_t begin = text.find("\tVertexCount: 3\n\tTriangleCount: 1\n\tStreamCount"),
                 end = text.find("\tTriangles");
    text.replace(begin, end - begin,
                 "VertexCount: " + std::to_string(count) +
                     " TriangleCount: 1 StreamCount: 1 Stream { Format: " + format + " Tag: \"t\"" + items +
                     "}\n");
    return edited(text, "VertexCount: 3", "VertexCount: " + std::to_string(count));
}

} // namespace

// A comment before the index of an item leaves it to the grammar.
TEST(plain_items, read_like_the_grammar_whatever_they_look_like) {
    size_t good = 0, bad = 0;
    for (uint32_t seed = 0; seed < 4000; ++seed) {
        random_items_t shape(seed);
        const char *const real_formats[] = {"FLOAT",  "FLOAT2", "FLOAT3",  "FLOAT4",
                                            "FLOAT5", "FLOAT6", "FLOAT4X4"};
        const std::string format = shape.reals() ? real_formats[seed % 7] : seed % 2 ? "INT" : "INT2";
        random_items_t twin = shape;
        const parsed_model_t plain(model_with(shape.text("\n"), shape.count(), format));
        const parsed_model_t commented(model_with(twin.text("#\n"), twin.count(), format));
        ASSERT_EQ(plain.messages, commented.messages) << "seed " << seed;
        ASSERT_EQ(plain.root == nullptr, commented.root == nullptr) << "seed " << seed;
        if (!plain.root) {
            ++bad;
            continue;
        }
        const auto left = plain.root->pieces[0]->streams[0]->bytes();
        const auto right = commented.root->pieces[0]->streams[0]->bytes();
        ASSERT_TRUE(std::equal(left.begin(), left.end(), right.begin(), right.end())) << "seed " << seed;
        ++good;
    }
    EXPECT_GT(good, 1500u);
    EXPECT_GT(bad, 500u);
}

} // namespace kestrel
