#include "Vq/System.h"

#include "Vq/Platform.h"

#include <atomic>
#include <cstdint>
#include <cstring>

namespace Vq {

namespace {

// Relaxed: the answer stands for itself, and two first callers store the same one.
constinit std::atomic<int> processorCount{0};

// Multiplication by the generator's low part, x^5 + x^3 + x^2 + 1: what one 32-bit word that is
// shifted out at the top leaves behind.
constexpr std::uint64_t timesGenerator(std::uint64_t bits) {
    return bits ^ (bits << 2) ^ (bits << 3) ^ (bits << 5);
}

// Moves a remainder up by `bits` (at most 32) places, reduced.
constexpr std::uint32_t shiftedUp(std::uint32_t crc, unsigned int bits) {
    const std::uint64_t wide = std::uint64_t{crc} << bits;
    // What overflows folds back as 37 bits at the most, and the second time as less than 32.
    const std::uint64_t folded = timesGenerator(wide >> 32);
    return static_cast<std::uint32_t>(wide ^ folded ^ timesGenerator(folded >> 32));
}

// Bit 0 of each byte becomes its bit 7: the order in which bits enter.
constexpr std::uint32_t bitsReversedInBytes(std::uint32_t word) {
    word = ((word >> 1) & 0x55555555u) | ((word & 0x55555555u) << 1);
    word = ((word >> 2) & 0x33333333u) | ((word & 0x33333333u) << 2);
    return ((word >> 4) & 0x0F0F0F0Fu) | ((word & 0x0F0F0F0Fu) << 4);
}

} // namespace

int CPUInfo::getNumProcessors() {
    int count = processorCount.load(std::memory_order_relaxed);
    if (count == 0) {
        count = OS()->cpu()->processorCount();
        processorCount.store(count, std::memory_order_relaxed);
    }
    return count;
}

double now() {
    return OS()->utils()->now();
}

double SecondsNow() {
    return now() / 1000.0;
}

unsigned int CRC::IterateCRC32(char byte, unsigned int crc) {
    return shiftedUp(crc, 8) ^ bitsReversedInBytes(static_cast<unsigned char>(byte));
}

unsigned int CRC::CalculateCRC32ForBlock(const void* data, unsigned long length) {
    const auto* bytes = static_cast<const char*>(data);
    unsigned int crc = 0;
    for (; length >= 4; bytes += 4, length -= 4) {
        std::uint32_t word;
        std::memcpy(&word, bytes, sizeof word);
        crc = shiftedUp(crc, 32) ^ bitsReversedInBytes(__builtin_bswap32(word));
    }
    for (; length > 0; ++bytes, --length) crc = IterateCRC32(*bytes, crc);
    return crc;
}

} // namespace Vq
