#include "tools/conv/intermediate/number_text.h"

#include <bit>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

namespace kestrel {

// How many characters of the text are the number; -1 for none.
template <class T>
static ptrdiff_t scanned(const char *(*scan)(const char *, T &), const std::string &text, T &value) {
    const std::string padded = text + std::string(16, '\0');
    const char *const end = scan(padded.c_str(), value);
    return end ? end - padded.c_str() : -1;
}

TEST(number_text, reals) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const struct {
        const char *text;
        ptrdiff_t length; // -1: no real
        float value;
    } cases[] = {
        {"1.", 2, 1.0f},
        {".1e1", 4, 1.0f},
        {"1E0", 3, 1.0f},
        {"1.0f", 4, 1.0f},
        {"-1.5F", 5, -1.5f},
        {"-.5.5", 3, -0.5f},
        {"017.5", 5, 17.5f},
        {"1.5e", 3, 1.5f},
        {"1.5e+)", 3, 1.5f},
        {"-0.0", 4, -0.0f},
        {"1e39", 4, infinity},
        {"-1e39", 5, -infinity},
        {"-1e400", 6, -infinity},
        {"1e99999999999999999999", 22, infinity},
        {"1e-400", 6, 0.0f},
        {"1e-99999999999999999999", 23, 0.0f},
        {"0e99999999999999999999", 22, 0.0f},
        {"1.4e-45", 7, 0x1p-149f}, // the smallest denormal
        {"0.7e-45", 7, 0.0f},      // just below half of it
        {"0.7006493e-45", 13, 0x1p-149f},
        {"1.17549421e-38", 14, 0x1.fffffcp-127f}, // the largest denormal
        {"3.4028235e38", 12, 0x1.fffffep127f},
        {"3.40282356e38", 13, 0x1.fffffep127f}, // just below the middle to the next power of two
        {"340282356779733661637539395458142568447.9", 41, infinity}, // as a double it is the middle
        {"340282356779733661637539395458142568448.", 40, infinity},  // the middle, ties to even
        // Rounded to double first: just above the middle of two floats becomes the middle, then the even one.
        {"1.00000005960464477540", 22, 0x1p0f},
        {"0.1", 3, 0x1.99999ap-4f},
        {"&3f8000001", 9, 1.0f},
        {"$0000803F", 9, 1.0f},
        {"&80000000", 9, -0.0f},
        {"&7f7fffff", 9, 0x1.fffffep127f},
        {"&7f800000", -1, 0},
        {"$0000c0ff", -1, 0},
        {"&3f80000", -1, 0},
        {"1", -1, 0},
        {"-.", -1, 0},
        {".e5", -1, 0},
        {"1e", -1, 0},
        {"1e+", -1, 0},
        {"1f", -1, 0},
        {"0x1.5", -1, 0},
        {"", -1, 0},
    };
    for (const auto &[text, length, expected] : cases) {
        float value = 0;
        EXPECT_EQ(scanned(scan_real, text, value), length) << text;
        if (length != -1) {
            EXPECT_EQ(std::bit_cast<uint32_t>(value), std::bit_cast<uint32_t>(expected)) << text;
        }
    }
}

TEST(number_text, decimals_agree_with_the_c_library) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 200000; ++round) {
        std::string text = random() % 2 ? "-" : "";
        const auto digits = [&](size_t most) {
            for (size_t n = random() % (most + 1); n > 0; --n)
                text += static_cast<char>('0' + random() % 10);
        };
        digits(round % 16 ? 8 : 25);
        text += '.';
        digits(round % 8 ? 10 : 25);
        if (text == "." || text == "-.")
            continue;
        if (round % 5 == 0)
            text += "e" + std::to_string(static_cast<int>(random() % 100) - 60);
        float value = 0;
        ASSERT_EQ(scanned(scan_real, text, value), static_cast<ptrdiff_t>(text.size())) << text;
        const float expected = static_cast<float>(std::strtod(text.c_str(), nullptr));
        ASSERT_EQ(std::bit_cast<uint32_t>(value), std::bit_cast<uint32_t>(expected)) << text;
    }
}

TEST(number_text, integers) {
    const struct {
        const char *text;
        ptrdiff_t length; // -1: no integer
        uint32_t value;
    } cases[] = {
        {"0", 1, 0},
        {"7.5", 1, 7},
        {"1234567)", 7, 1234567},
        {"12345678", 8, 12345678},
        {"4294967295", 10, 0xFFFFFFFF},
        {"4294967296", 10, 0xFFFFFFFF},
        {"99999999999999999999999", 23, 0xFFFFFFFF},
        {"-12", 3, 0xFFFFFFF4},
        {"-2147483648", 11, 0x80000000},
        {"-2147483649", 11, 0x80000000},
        {"-99999999999999999999", 21, 0x80000000},
        {"0x1F", 4, 31},
        {"0X1fG", 4, 31},
        {"0x1FFFFFFFF", 11, 0xFFFFFFFF},
        {"0x", 1, 0},
        {"-0x1", 2, 0},
        {"017", 3, 15},
        {"08", 2, 0}, // the number ends at the 8, the token does not
        {"0129", 4, 10},
        {"-017", 4, 0xFFFFFFF1},
        {"037777777777", 12, 0xFFFFFFFF},
        {"040000000000", 12, 0xFFFFFFFF},
        {"-", -1, 0},
        {"+1", -1, 0},
        {".5", -1, 0},
        {"", -1, 0},
    };
    for (const auto &[text, length, expected] : cases) {
        uint32_t value = 0;
        EXPECT_EQ(scanned(scan_integer, text, value), length) << text;
        EXPECT_EQ(value, expected) << text;
    }
}

TEST(number_text, hexadecimal_digits_eight_at_a_time) {
    EXPECT_EQ(decode_hex_digits("aBcDeF09"), 0xABCDEF09u);
    for (size_t place = 0; place < 8; ++place)
        for (int byte = 0; byte < 256; ++byte) {
            std::string text = "01234567";
            text[place] = static_cast<char>(byte);
            const auto value = decode_hex_digits(text.c_str());
            EXPECT_EQ(value.has_value(), byte < 128 && std::isxdigit(byte)) << place << " " << byte;
            if (value) {
                EXPECT_EQ(*value, std::stoul(text, nullptr, 16));
            }
        }
}

} // namespace kestrel
