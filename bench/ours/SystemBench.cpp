// The checksum of the library. The peers divide by other polynomials of the same degree: the work
// is the same, the values are not.

#include "Vq/System.h"

#include "Bench.h"

#include <cstddef>
#include <vector>

namespace {

// The definition, a bit at a time.
unsigned int definition(const std::vector<unsigned char>& bytes) {
    unsigned int crc = 0;
    for (const unsigned char byte : bytes) {
        for (int bit = 0; bit < 8; ++bit) {
            const unsigned int feedback = crc >> 31 ? 0x2Du : 0u;
            crc = (crc << 1 | (byte >> bit & 1u)) ^ feedback;
        }
    }
    return crc;
}

void checksum(benchmark::State& state, std::size_t length) {
    std::vector<unsigned char> bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<unsigned char>(i * 37 >> 2 & 0x7F);
    vqbench::require(Vq::CRC::CalculateCRC32ForBlock(bytes.data(), length) == definition(bytes));
    for (auto step : state) {
        benchmark::DoNotOptimize(bytes.data());
        benchmark::DoNotOptimize(Vq::CRC::CalculateCRC32ForBlock(bytes.data(), length));
    }
    state.SetBytesProcessed(static_cast<long>(length) * state.iterations());
}

[[maybe_unused]] const bool added = [] {
    for (const long length : {16L, 4L << 10, 16L << 20}) {
        vqbench::add("checksum", "ours", length, [=](benchmark::State& state) {
            checksum(state, static_cast<std::size_t>(length));
        });
    }
    return true;
}();

} // namespace
