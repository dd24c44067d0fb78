// Fills as a user would write them, and what memory takes at most: memset, which knows bytes only,
// and stores that pass the caches by.

#include "Bench.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <immintrin.h>

namespace {

constexpr std::uint64_t kBytes = 0x0807060504030201u;

template <class T> struct Std {
    static constexpr T kValue = static_cast<T>(kBytes);
    void operator()(std::vector<T>& block) const { std::fill(block.begin(), block.end(), kValue); }
};

template <class T> struct Memset {
    static constexpr T kValue = static_cast<T>(0x0101010101010101u);
    void operator()(std::vector<T>& block) const {
        std::memset(block.data(), 1, block.size() * sizeof(T));
    }
};

// The vectors of such a size begin 16 bytes behind a page, which is aligned enough.
template <class T> struct Stream {
    static constexpr T kValue = static_cast<T>(0x0101010101010101u);
    void operator()(std::vector<T>& block) const {
        const __m128i value = _mm_set1_epi8(1);
        auto* const words = reinterpret_cast<__m128i*>(block.data());
        for (std::size_t i = 0; i < block.size() * sizeof(T) / sizeof value; ++i) {
            _mm_stream_si128(words + i, value);
        }
        _mm_sfence();
    }
};

template <class T, class Fill> void addFill(const char* peer, long bytes, Fill fill) {
    const std::string workload = "fill." + std::to_string(8 * sizeof(T));
    vqbench::add(workload, peer, bytes, [=](benchmark::State& state) {
        std::vector<T> block(static_cast<std::size_t>(bytes) / sizeof(T));
        fill(block);
        vqbench::require(std::count(block.begin(), block.end(), Fill::kValue) ==
                         static_cast<std::ptrdiff_t>(block.size()));
        for (auto step : state) {
            fill(block);
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(bytes * state.iterations());
    });
}

template <class T> void addWidth() {
    for (const long bytes : {64L, 4L << 10, 64L << 20}) {
        addFill<T>("std", bytes, Std<T>());
        addFill<T>("bound.memset", bytes, Memset<T>());
    }
    addFill<T>("bound.stream", 64L << 20, Stream<T>());
}

[[maybe_unused]] const bool added = [] {
    addWidth<unsigned char>();
    addWidth<unsigned short>();
    addWidth<unsigned int>();
    addWidth<unsigned long>();
    return true;
}();

} // namespace
