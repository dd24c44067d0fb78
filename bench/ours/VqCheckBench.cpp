// An exception with the text of a call stack of 20 frames, thrown and caught.

#include "Vq/VqCheck.h"

#include "Bench.h"

#include <cstddef>

namespace {

using Vq::Exception::RuntimeError;

constexpr std::size_t kFrames = 20;

[[gnu::noinline]] void throwAtDepth(std::size_t depth) {
    if (depth == 0) throw RuntimeError("message", __FILE__, __LINE__);
    throwAtDepth(depth - 1);
    asm volatile(""); // work after the call keeps it a call
}

std::size_t framesAtDepth(std::size_t depth) {
    try {
        throwAtDepth(depth);
    } catch (const RuntimeError& error) {
        return error.callStack_.size();
    }
    return 0;
}

void throwStack(benchmark::State& state) {
    std::size_t depth = 0;
    while (framesAtDepth(depth) < kFrames) ++depth;
    vqbench::require(framesAtDepth(depth) == kFrames, "the number of frames");
    for (auto step : state) benchmark::DoNotOptimize(framesAtDepth(depth));
}

[[maybe_unused]] const bool added = [] {
    vqbench::add("throw.stack", "ours", kFrames, throwStack);
    return true;
}();

} // namespace
