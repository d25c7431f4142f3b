#include "tests/support/golden_bytes.h"

#include "kcore/collections/city_hash.h"
#include "kcore/strings/token.h"

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kestrel {

namespace {

void append_number(golden_bytes_t &golden, const std::string &type, const std::string &word) {
    uint64_t bits = 0;
    size_t size = 4;
    if (type.starts_with("f32")) {
        const float value = std::stof(word);
        std::memcpy(&bits, &value, sizeof value);
        if (type == "f32_any_zero")
            golden.any_zero.push_back(golden.bytes.size());
    } else if (type == "token") {
        bits = token_t::from_string(word).value().value();
        size = 8;
    } else if (type == "hash") {
        bits = city_hash_64(word);
        size = 8;
    } else {
        bits = std::stoull(word, nullptr, 0);
        size = std::stoul(type.substr(1)) / 8;
    }
    for (size_t i = 0; i < size; ++i)
        golden.bytes += static_cast<char>(bits >> 8 * i & 0xFF);
}

bool is_type(const std::string &word) {
    for (const char *type : {"@", "u8", "u16", "u32", "u64", "f32", "f32_any_zero", "token", "hash"})
        if (word == type)
            return true;
    return false;
}

} // namespace

golden_bytes_t read_golden_bytes(const std::filesystem::path &path) {
    golden_bytes_t golden;
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string type;
        for (std::string word; words >> word;) {
            if (is_type(word))
                type = word;
            else if (type != "@")
                append_number(golden, type, word);
            else if (std::stoul(word) != golden.bytes.size())
                throw std::logic_error(line + " stands at " + std::to_string(golden.bytes.size()));
        }
    }
    return golden;
}

std::string golden_bytes_t::compare(std::string actual) const {
    for (const size_t place : any_zero)
        if (actual.size() >= place + 4 && actual.substr(place, 4) == std::string("\0\0\0\x80", 4))
            actual[place + 3] = '\0';
    for (size_t i = 0; i < bytes.size() && i < actual.size(); ++i)
        if (bytes[i] != actual[i])
            return "byte " + std::to_string(i) + " is " + std::to_string(static_cast<uint8_t>(actual[i])) +
                   " instead of " + std::to_string(static_cast<uint8_t>(bytes[i]));
    if (bytes.size() != actual.size())
        return std::to_string(actual.size()) + " bytes instead of " + std::to_string(bytes.size());
    return {};
}

} // namespace kestrel
