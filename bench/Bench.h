/// What the benchmarks of the library and of its peers share: how they are named, and that each
/// shows its result to be right before it is timed.
///
///     const bool added = [] {
///         for (const long size : {20, 200}) {
///             vqbench::add("string.construct", "ours", size, [=](benchmark::State& state) {
///                 const std::string text(static_cast<std::size_t>(size), 'x');
///                 vqbench::require(LightweightString<char>(text.c_str()) == text.c_str());
///                 for (auto step : state) {
///                     LightweightString<char> made(text.c_str());
///                     benchmark::DoNotOptimize(made);
///                 }
///             });
///         }
///         return true;
///     }();
///
/// The library is measured by vq_bench, what a user would pick instead by vq_bench_peers: libVq
/// replaces `operator new` for its whole process, so peers are timed without it. The names of a
/// workload are the same in both programs, which is what the report joins them by. A peer that
/// begins with "bound." is no choice of a user but what the machine or the design cannot go below.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace vqbench {

/// Registers `workload/peer/size`. With VQ_BENCH_ITERATIONS in the environment each runs exactly so
/// many times, for counting instructions.
void add(const std::string& workload, const std::string& peer, long size,
         std::function<void(benchmark::State&)> body);

/// Ends the program when a result is wrong: a wrong result is not worth timing.
void require(bool right, const char* what = "a result");

} // namespace vqbench
