#pragma once

// How every stage is measured: in milliseconds, the least of the repetitions beside their median, and, where
// bytes are named, as a rate.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <string_view>
#include <vector>

namespace kestrel {

inline void set_up_stage(benchmark::internal::Benchmark *stage) {
    stage->Unit(benchmark::kMillisecond)->ComputeStatistics("least", [](const std::vector<double> &times) {
        return *std::min_element(times.begin(), times.end());
    });
}

inline void count_bytes(benchmark::State &state, size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

} // namespace kestrel

// A function that takes a benchmark::State, under a name "stage/what".
#define MEASURE(function, name) BENCHMARK(function)->Name(name)->Apply(kestrel::set_up_stage)
// The same with arguments after the state.
#define MEASURE_WITH(function, name, ...)                                                                    \
    BENCHMARK_CAPTURE(function, stage, __VA_ARGS__)->Name(name)->Apply(kestrel::set_up_stage)
