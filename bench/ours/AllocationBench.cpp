// The allocation operators, which libVq replaces.

#include "Bench.h"

#include "Vq/Allocation.h"

#include <cstring>
#include <new>

namespace {

void newAndDelete(benchmark::State& state, std::size_t bytes) {
    void* const first = ::operator new(bytes);
    std::memset(first, 1, bytes);
    ::operator delete(first);
    for (auto step : state) {
        void* block = ::operator new(bytes);
        benchmark::DoNotOptimize(block);
        ::operator delete(block);
    }
}

const bool added = [] {
    for (const long size : {16, 64, 256, 1024}) {
        vqbench::add("new.delete", "ours", size, [=](benchmark::State& state) {
            newAndDelete(state, static_cast<std::size_t>(size));
        });
    }
    return true;
}();

} // namespace
