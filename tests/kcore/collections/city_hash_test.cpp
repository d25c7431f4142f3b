#include "kcore/collections/city_hash.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace kestrel {

namespace {

std::string bytes_of_hex(const std::string &hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// Rows "hex bytes TAB hash"; lines that begin with "#" are comments.
TEST(city_hash, published_vectors) {
    std::ifstream file(KIM2KMG_TEST_DATA "/cityhash_vectors.tsv");
    int rows = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#'))
            continue;
        const size_t tab = line.find('\t');
        ASSERT_NE(tab, std::string::npos) << line;
        const std::string text = bytes_of_hex(line.substr(0, tab));
        EXPECT_EQ(city_hash_64(text), std::stoull(line.substr(tab + 1), nullptr, 16)) << line;
        ++rows;
    }
    EXPECT_EQ(rows, 64);
    EXPECT_EQ(city_hash_64(std::string_view("abc")), 0x3a912f483a4ece31u);
}

} // namespace

} // namespace kestrel
