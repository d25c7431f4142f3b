#include "tools/conv/intermediate/number_text.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

namespace kestrel {

static uint32_t bits_of(float value) {
    return std::bit_cast<uint32_t>(value);
}

TEST(number_text, decimals_at_the_edges) {
    const float infinity = std::numeric_limits<float>::infinity();
    const struct {
        const char *text;
        float value;
    } cases[] = {
        {"1.", 1.0f},
        {".1e1", 1.0f},
        {"1e0", 1.0f},
        {"1.0f", 1.0f},
        {"-1.5F", -1.5f},
        {"-0.0", -0.0f},
        {"1e39", infinity},
        {"-1e39", -infinity},
        {"1e400", infinity},
        {"-1e400", -infinity},
        {"1e99999999999999999999", infinity},
        {"1e-400", 0.0f},
        {"1e-99999999999999999999", 0.0f},
        {"0e99999999999999999999", 0.0f},
        {"1.4e-45", 0x1p-149f}, // the smallest denormal
        {"0.7e-45", 0.0f},      // just below half of it
        {"0.7006493e-45", 0x1p-149f},
        {"1.17549421e-38", 0x1.fffffcp-127f}, // the largest denormal
        {"3.4028235e38", 0x1.fffffep127f},
        {"3.40282356e38", 0x1.fffffep127f}, // just below the middle to the next power of two
        {"340282356779733661637539395458142568447.9", infinity}, // as a double it is the middle
        {"340282356779733661637539395458142568448.", infinity},  // the middle, ties to even
        // Rounded to double first: just above the middle of two floats becomes the middle, then the even one.
        {"1.00000005960464477540", 0x1p0f},
        {"0.1", 0x1.99999ap-4f},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(bits_of(decode_decimal(each.text)), bits_of(each.value)) << each.text;
        const std::string padded = std::string(each.text) + ")       ";
        float scanned = 0;
        if (const char *end = scan_plain_decimal(padded.c_str(), scanned)) {
            EXPECT_EQ(end - padded.c_str(), static_cast<ptrdiff_t>(std::string(each.text).size()))
                << each.text;
            EXPECT_EQ(bits_of(scanned), bits_of(each.value)) << each.text;
        }
    }
}

TEST(number_text, plain_decimals_agree_with_the_c_library) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 200000; ++round) {
        std::string text = random() % 2 ? "-" : "";
        const auto digits = [&](size_t most) {
            for (size_t n = random() % (most + 1); n > 0; --n)
                text += static_cast<char>('0' + random() % 10);
        };
        digits(round % 16 ? 6 : 25);
        text += '.';
        digits(round % 8 ? 9 : 25);
        if (text == "." || text == "-.")
            continue;
        if (round % 5 == 0)
            text += "e" + std::to_string(static_cast<int>(random() % 100) - 60);
        const std::string padded = text + "        ";
        float scanned = 0;
        const char *end = scan_plain_decimal(padded.c_str(), scanned);
        ASSERT_EQ(end, padded.c_str() + text.size()) << text;
        const float expected = static_cast<float>(std::strtod(text.c_str(), nullptr));
        ASSERT_EQ(bits_of(scanned), bits_of(expected)) << text;
        ASSERT_EQ(bits_of(decode_decimal(text)), bits_of(expected)) << text;
    }
}

TEST(number_text, what_is_no_plain_decimal_is_left_alone) {
    for (const char *text :
         {"1         ", ".         ", "-.        ", "-         ", "1e5       ", "&3f800000 ", "x         "}) {
        float value;
        EXPECT_EQ(scan_plain_decimal(text, value), nullptr) << text;
    }
}

TEST(number_text, integers) {
    const struct {
        const char *text;
        uint32_t value;
    } cases[] = {
        {"0x1F", 31},
        {"0X1f", 31},
        {"017", 15},
        {"08", 0},
        {"09", 0},
        {"0", 0},
        {"-12", 0xFFFFFFF4},
        {"4294967295", 0xFFFFFFFF},
        {"4294967296", 0xFFFFFFFF},
        {"99999999999999999999999", 0xFFFFFFFF},
        {"-2147483648", 0x80000000},
        {"-2147483649", 0x80000000},
        {"-99999999999999999999", 0x80000000},
        {"0x1FFFFFFFF", 0xFFFFFFFF},
        {"037777777777", 0xFFFFFFFF},
        {"040000000000", 0xFFFFFFFF},
        {"0129", 10},
        {"-017", 0xFFFFFFF1},
    };
    for (const auto &each : cases)
        EXPECT_EQ(decode_integer(each.text), each.value) << each.text;
}

TEST(number_text, hexadecimal_digits_eight_at_a_time) {
    EXPECT_EQ(decode_hex_digits("3f800000"), 0x3F800000u);
    EXPECT_EQ(decode_hex_digits("aBcDeF09"), 0xABCDEF09u);
    const std::string good = "01234567";
    for (size_t place = 0; place < good.size(); ++place)
        for (int byte = 0; byte < 256; ++byte) {
            std::string text = good;
            text[place] = static_cast<char>(byte);
            const bool digit = byte < 128 && std::isxdigit(byte);
            EXPECT_EQ(decode_hex_digits(text.c_str()).has_value(), digit) << place << " " << byte;
            if (digit) {
                EXPECT_EQ(*decode_hex_digits(text.c_str()), std::stoul(text, nullptr, 16));
            }
        }
}

} // namespace kestrel
