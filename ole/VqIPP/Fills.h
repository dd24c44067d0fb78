/// The ways to fill memory with a pattern of 1, 2, 4 or 8 bytes, given as the eight bytes that it
/// repeats to; a fill is a whole number of patterns long. All store the same; which one is taken
/// depends on the length and on the processor. Here rather than in the source so that tests reach
/// each of them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <immintrin.h>

namespace fills {

/// Up to here there is no choice of a way.
inline constexpr std::size_t kShort = 128;

/// From here on stores pass the caches by: more would be thrown out of them than could be of use.
inline constexpr std::size_t kStreamed = std::size_t{32} << 20;

inline std::uint64_t pattern(unsigned char value) {
    return value * 0x0101010101010101u;
}
inline std::uint64_t pattern(short value) {
    return static_cast<unsigned short>(value) * 0x0001000100010001u;
}
inline std::uint64_t pattern(int value) {
    return static_cast<unsigned int>(value) * 0x0000000100000001u;
}
inline std::uint64_t pattern(long value) {
    return static_cast<std::uint64_t>(value);
}

/// Sixteen bytes of it, the shortest way there: for bytes that is by the eight.
inline __m128i block(unsigned char value) {
    return _mm_set1_epi64x(static_cast<long long>(pattern(value)));
}
inline __m128i block(short value) {
    return _mm_set1_epi16(value);
}
inline __m128i block(int value) {
    return _mm_set1_epi32(value);
}
inline __m128i block(long value) {
    return _mm_set1_epi64x(value);
}

// --- Short: two stores that overlap, or pairs of them. The second begins whole patterns after the
// first, since both lengths are whole patterns.

template <class Word> void store(unsigned char* to, std::uint64_t bytes) {
    const auto word = static_cast<Word>(bytes);
    std::memcpy(to, &word, sizeof word);
}

inline void storeBlock(unsigned char* to, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
}

inline void fillBelow16(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    if (length >= 8) {
        store<std::uint64_t>(to, bytes);
        store<std::uint64_t>(to + length - 8, bytes);
    } else if (length >= 4) {
        store<std::uint32_t>(to, bytes);
        store<std::uint32_t>(to + length - 4, bytes);
    } else if (length >= 2) {
        store<std::uint16_t>(to, bytes);
        store<std::uint16_t>(to + length - 2, bytes);
    } else if (length == 1) {
        store<unsigned char>(to, bytes);
    }
}

/// From 16 to kShort bytes.
inline void fillFrom16(unsigned char* to, std::size_t length, __m128i block) {
    unsigned char* const end = to + length;
    storeBlock(to, block);
    storeBlock(end - 16, block);
    if (length <= 32) return;
    storeBlock(to + 16, block);
    storeBlock(end - 32, block);
    if (length <= 64) return;
    storeBlock(to + 32, block);
    storeBlock(to + 48, block);
    storeBlock(end - 64, block);
    storeBlock(end - 48, block);
}

/// At most kShort bytes of `value`.
template <class T> void fillShort(unsigned char* to, std::size_t length, T value) {
    if (length < 16) return fillBelow16(to, length, pattern(value));
    fillFrom16(to, length, block(value));
}

// --- Long: the ends are filled where they lie, what is between them on aligned addresses.

/// The bytes as they are `distance` on. The same, unless elements are not aligned themselves.
inline std::uint64_t turned(std::uint64_t bytes, std::size_t distance) {
    return std::rotr(bytes, static_cast<int>(distance % 8 * 8));
}

/// The aligned part of a fill that is longer than 2 * kAlignment bytes.
struct Middle {
    static constexpr std::size_t kAlignment = 64;

    Middle(unsigned char* to, std::size_t whole, std::uint64_t pattern)
        : begin(to + kAlignment - reinterpret_cast<std::uintptr_t>(to) % kAlignment),
          length((whole - static_cast<std::size_t>(begin - to)) / kAlignment * kAlignment),
          bytes(turned(pattern, static_cast<std::size_t>(begin - to))) {}

    unsigned char* begin;
    std::size_t length;
    std::uint64_t bytes;
};

inline void fillEnds(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    const __m128i block = _mm_set1_epi64x(static_cast<long long>(bytes));
    fillFrom16(to, 64, block);
    fillFrom16(to + length - 64, 64, block);
}

/// For every processor; more than kShort bytes, as all that follow. `store` puts a block to an
/// aligned address.
template <class Store>
void fillBlocks(unsigned char* to, std::size_t length, std::uint64_t bytes, Store store) {
    fillEnds(to, length, bytes);
    const Middle middle(to, length, bytes);
    const __m128i block = _mm_set1_epi64x(static_cast<long long>(middle.bytes));
    auto* const blocks = reinterpret_cast<__m128i*>(middle.begin);
    for (std::size_t i = 0; i < middle.length / 16; i += 4) {
        store(blocks + i, block);
        store(blocks + i + 1, block);
        store(blocks + i + 2, block);
        store(blocks + i + 3, block);
    }
}

inline void fillPlainly(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    fillBlocks(to, length, bytes, [](__m128i* at, __m128i block) { _mm_store_si128(at, block); });
}

/// The same past the caches.
inline void fillStreaming(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    fillBlocks(to, length, bytes, [](__m128i* at, __m128i block) { _mm_stream_si128(at, block); });
    _mm_sfence(); // such stores are in no order with others until here
}

inline bool hasWide() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

[[gnu::target("avx2")]] inline void storeWide(unsigned char* to, __m256i block) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), block);
}

[[gnu::target("avx2")]] inline void fillWidely(unsigned char* to, std::size_t length,
                                               std::uint64_t bytes) {
    const __m256i ends = _mm256_set1_epi64x(static_cast<long long>(bytes));
    storeWide(to, ends);
    unsigned char* const last = to + length - 128;
    const std::size_t first = 32 - reinterpret_cast<std::uintptr_t>(to) % 32;
    const __m256i block = _mm256_set1_epi64x(static_cast<long long>(turned(bytes, first)));
    // Four at a time: with fewer the loop itself is what takes the time.
    for (unsigned char* place = to + first; place < last; place += 128) {
        for (long i = 0; i < 4; ++i) storeWide(place + 32 * i, block);
    }
    for (long i = 0; i < 4; ++i) storeWide(last + 32 * i, ends);
}

/// By the processor's own loop, which does not read what it is about to overwrite. It takes some
/// dozen cycles to start.
inline void fillByInstruction(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    fillEnds(to, length, bytes);
    const Middle middle(to, length, bytes);
    void* place = middle.begin;
    std::size_t words = middle.length / 8;
    asm volatile("rep stosq" : "+D"(place), "+c"(words) : "a"(middle.bytes) : "memory");
}

// --- The choice

using Method = void (*)(unsigned char* to, std::size_t length, std::uint64_t bytes);

inline void fillLongPlainly(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    (length < kStreamed ? fillPlainly : fillStreaming)(to, length, bytes);
}

inline void fillLongWidely(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    constexpr std::size_t kByInstruction = 16384;
    if (length < kByInstruction) return fillWidely(to, length, bytes);
    (length < kStreamed ? fillByInstruction : fillStreaming)(to, length, bytes);
}

inline Method bestMethod() {
    return hasWide() ? fillLongWidely : fillLongPlainly;
}

} // namespace fills
