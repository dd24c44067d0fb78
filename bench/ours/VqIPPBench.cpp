// The four fills of the library, by bytes.

#include "Vq/Allocation.h"

#include "Bench.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

// As many as the pattern repeats to, each byte of it another.
constexpr std::uint64_t kBytes = 0x0807060504030201u;

template <class T> bool isFilled(const std::vector<T>& block) {
    for (const T element : block) {
        if (element != static_cast<T>(kBytes)) return false;
    }
    return true;
}

template <class T, class Fill> void addFill(Fill fill) {
    for (const long bytes : {64L, 4L << 10, 64L << 20}) {
        const std::string workload = "fill." + std::to_string(8 * sizeof(T));
        vqbench::add(workload, "ours", bytes, [=](benchmark::State& state) {
            std::vector<T> block(static_cast<std::size_t>(bytes) / sizeof(T));
            const auto count = static_cast<unsigned int>(block.size());
            fill(block.data(), static_cast<T>(kBytes), count);
            vqbench::require(isFilled(block));
            for (auto step : state) {
                fill(block.data(), static_cast<T>(kBytes), count);
                benchmark::ClobberMemory();
            }
            state.SetBytesProcessed(bytes * state.iterations());
        });
    }
}

[[maybe_unused]] const bool added = [] {
    addFill<unsigned char>(Vq::Memset);
    addFill<unsigned short>(Vq::Memset16);
    addFill<unsigned int>(Vq::Memset32);
    addFill<unsigned long>(Vq::Memset64);
    return true;
}();

} // namespace
