#include "tools/kmg/little_endian.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(little_endian, floats_keep_their_bits_and_what_is_no_number_has_one_form) {
    const std::pair<uint32_t, uint32_t> cases[] = {
        {0x3F800000, 0x3F800000}, {0x80000000, 0x80000000}, {0x00000001, 0x00000001},
        {0x7F800000, 0x7F800000}, {0xFF800000, 0xFF800000}, {0x7FC00000, 0x7FC00000},
        {0xFFC00000, 0x7FC00000}, {0xFFFFFFFF, 0x7FC00000}, {0x7F800001, 0x7FC00000}};
    for (const auto &[bits, written] : cases) {
        std::array<std::byte, 8> bytes{};
        little_endian::put(bytes.data(), std::array{std::bit_cast<float>(bits), 1.0f});
        std::array<uint32_t, 2> read{};
        little_endian::get(bytes.data(), read);
        EXPECT_EQ(read[0], written) << std::hex << bits;
        EXPECT_EQ(read[1], 0x3F800000u);
    }
}

} // namespace kestrel
