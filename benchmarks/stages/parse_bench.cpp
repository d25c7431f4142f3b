// Text in memory to tokens, and to models.

#include "benchmarks/stages/inputs.h"
#include "benchmarks/stages/measure.h"
#include "tools/conv/intermediate/parse_file.h"

#include <optional>

using namespace kestrel;

namespace {

void scan(benchmark::State &state, input_t input) {
    const std::string_view text = text_of(input);
    for (auto _ : state) {
        text_file_t file(text, "grid.kim");
        scanner_t scanner(file);
        while (scanner.next() != token_kind_t::end_of_input)
            ;
    }
    count_bytes(state, text.size());
}
MEASURE_WITH(scan, "scan/bit_patterns", input_t::bit_patterns);
MEASURE_WITH(scan, "scan/decimals", input_t::decimals);

void parse(benchmark::State &state, input_t input) {
    const std::string_view text = text_of(input);
    std::optional<owner_list_t> owners;
    for (auto _ : state) {
        owners.emplace();
        if (!parse_model_text(text, "grid.kim", *owners))
            state.SkipWithError("does not parse");
        state.PauseTiming();
        owners.reset();
        state.ResumeTiming();
    }
    count_bytes(state, text.size());
}
MEASURE_WITH(parse, "parse/bit_patterns", input_t::bit_patterns);
MEASURE_WITH(parse, "parse/decimals", input_t::decimals);
MEASURE_WITH(parse, "parse/skin", input_t::skinned);
MEASURE_WITH(parse, "parse/piece_skins", input_t::piece_skinned);
MEASURE_WITH(parse, "parse/sample", input_t::sample);

} // namespace
