/// An exception thrown from so deep that its call stack has twenty lines, and caught.
///
///     struct Peer {
///         static constexpr const char* kName = "ours";
///         using Error = ...;
///         static Error make(); // with the call stack of the caller
///         static std::size_t frames(const Error&);
///     };
#pragma once

#include "Bench.h"

#include <cstddef>

namespace vqbench {

inline constexpr std::size_t kThrownFrames = 20;

template <class Peer> [[gnu::noinline]] void throwAtDepth(std::size_t depth) {
    if (depth == 0) throw Peer::make();
    throwAtDepth<Peer>(depth - 1);
    asm volatile(""); // work after the call keeps it a call
}

template <class Peer> std::size_t framesAtDepth(std::size_t depth) {
    try {
        throwAtDepth<Peer>(depth);
    } catch (const typename Peer::Error& error) {
        return Peer::frames(error);
    }
    return 0;
}

template <class Peer> void addThrow() {
    add("throw.stack", Peer::kName, long{kThrownFrames}, [](benchmark::State& state) {
        std::size_t depth = 0;
        while (framesAtDepth<Peer>(depth) < kThrownFrames) ++depth;
        require(framesAtDepth<Peer>(depth) == kThrownFrames, "the number of frames");
        for (auto step : state) benchmark::DoNotOptimize(framesAtDepth<Peer>(depth));
    });
}

} // namespace vqbench
