// Prints the words of the text formats as a libFuzzer dictionary: the keywords from the scanner's own list,
// the tags and texts that the converter looks for, and spellings of numbers that matter.

#include "tools/conv/intermediate/longest_match_tokens.h"

#include <cstdio>

static void print_entry(std::string_view text) {
    std::putchar('"');
    for (const char byte : text) {
        if (byte == '"' || byte == '\\')
            std::putchar('\\');
        std::putchar(byte);
    }
    std::puts("\"");
}

int main() {
    constexpr std::string_view others[] = {"\"_POSITION\"",
                                           "\"_NORMAL\"",
                                           "\"_TANGENT\"",
                                           "\"_RGBA\"",
                                           "\"_FACTOR\"",
                                           "\"_UV0\"",
                                           "\"_UV1\"",
                                           "\"_TEXCOORD0\"",
                                           "\"_TEXCOORD7\"",
                                           "\"rvk2.leaves.\"",
                                           "\"rvk2.dif.billb.\"",
                                           "\"s.kis\"",
                                           "\"\"",
                                           "\"\"\"",
                                           ": 0 ",
                                           ": 1 ",
                                           ": 4294967295 ",
                                           " { ",
                                           " } ",
                                           "0 ( 0 1 2 )",
                                           "0 ( 0.0 0.0 0.0 )",
                                           "-1",
                                           "0x7fffffff",
                                           "017",
                                           "08",
                                           "1.0f",
                                           ".1e1",
                                           "-.5",
                                           "1e38",
                                           "1e39",
                                           "&3f800000",
                                           "&7f800000",
                                           "$0000803f",
                                           "&80000000",
                                           "1e-45",
                                           "#"};
    for (const std::string_view keyword : kestrel::keywords)
        print_entry(keyword);
    for (const std::string_view other : others)
        print_entry(other);
}
