#pragma once

// Fuzzer bytes as a text file, and what is said while it is parsed through windows of different sizes.

#include "fuzz/check.h"
#include "fuzz/target.h"
#include "kcore/collections/city_hash.h"
#include "tools/conv/intermediate/parse_file.h"

namespace kestrel {

inline std::string_view text_of(fuzz_input_t input) {
    return {reinterpret_cast<const char *>(input.data()), input.size()};
}

// From 64 bytes to 4 KiB; the input's length chooses.
inline size_t small_window(std::string_view text) {
    return (text_window_t::least_size << text.size() % 7) + text.size() % 3;
}

// One parse of a text, and all that was said, as a number.
template <class root_t>
struct fuzz_parse_t {
    fuzz_parse_t(std::string_view text, size_t window_size,
                 root_t *(*parse)(scanner_t &scanner, owner_list_t &owners)) {
        message_digest_t said;
        text_file_t file(text, "f");
        scanner_t scanner(file, window_size);
        root = parse(scanner, owners);
        errors = said.errors();
        messages = said.digest();
    }

    owner_list_t owners;
    root_t *root;
    size_t errors;
    uint64_t messages;
};

} // namespace kestrel
