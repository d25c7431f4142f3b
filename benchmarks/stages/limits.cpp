// What the machine can do at best with the same bytes and numbers.

#include "benchmarks/stages/inputs.h"
#include "benchmarks/stages/measure.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <sys/mman.h>

using namespace kestrel;

namespace {

constexpr size_t fresh_page_count = 16384;

void copy_text(benchmark::State &state) {
    const std::string_view text = text_of(input_t::bit_patterns);
    std::vector<char> copy(text.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), text.data(), text.size());
        benchmark::ClobberMemory();
    }
    count_bytes(state, text.size());
}
MEASURE(copy_text, "limit/copy");

// Memory that nobody has used yet: asked for, touched once a page, given back.
void touch_fresh_pages(benchmark::State &state) {
    constexpr size_t page = 4096, bytes = fresh_page_count * page;
    for (auto _ : state) {
        void *const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            state.SkipWithError("no memory");
            break;
        }
        for (size_t at = 0; at < bytes; at += page)
            static_cast<volatile char *>(memory)[at] = 1;
        munmap(memory, bytes);
    }
    state.counters["pages"] = fresh_page_count;
}
MEASURE(touch_fresh_pages, "limit/fresh_pages");

void count_line_feeds(benchmark::State &state) {
    const std::string_view text = text_of(input_t::bit_patterns);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::count(text.begin(), text.end(), '\n'));
    count_bytes(state, text.size());
}
MEASURE(count_line_feeds, "limit/line_feeds");

constexpr std::array<uint8_t, 256> digit_values = [] {
    std::array<uint8_t, 256> values{};
    for (size_t digit = 0; digit < 16; ++digit) {
        values[static_cast<size_t>("0123456789abcdef"[digit])] = static_cast<uint8_t>(digit);
        values[static_cast<size_t>("0123456789ABCDEF"[digit])] = static_cast<uint8_t>(digit);
    }
    return values;
}();

// Finds every bit pattern and decodes it, and nothing else.
void flat_bit_patterns(benchmark::State &state) {
    const std::string_view text = text_of(input_t::bit_patterns);
    std::vector<float> numbers(text.size() / 10);
    for (auto _ : state) {
        float *out = numbers.data();
        for (const char *p = text.data(); p != text.data() + text.size(); ++p) {
            if (*p != '&')
                continue;
            uint32_t bits = 0;
            for (int i = 1; i <= 8; ++i)
                bits = bits << 4 | digit_values[static_cast<uint8_t>(p[i])];
            *out++ = std::bit_cast<float>(bits);
            p += 8;
        }
        benchmark::ClobberMemory();
    }
    count_bytes(state, text.size());
}
MEASURE(flat_bit_patterns, "limit/bit_patterns");

// The rate is that of the model's whole text, whose real numbers these are.
void flat_from_chars(benchmark::State &state) {
    const std::string_view text = flat_decimals();
    std::vector<float> numbers(text.size() / 2);
    for (auto _ : state) {
        float *out = numbers.data();
        const char *const end = text.data() + text.size();
        for (const char *p = text.data(); p != end; ++p) {
            double value;
            p = std::from_chars(p, end, value).ptr;
            *out++ = static_cast<float>(value);
        }
        benchmark::ClobberMemory();
    }
    count_bytes(state, text_of(input_t::decimals).size());
}
MEASURE(flat_from_chars, "limit/from_chars");

} // namespace
