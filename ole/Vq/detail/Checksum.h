/// The ways to compute the library's checksum: the remainder of a bit stream divided by
/// x^32 + x^5 + x^3 + x^2 + 1. All give the same value; which one is taken depends on the length
/// and on the processor. Here rather than in a source so that tests reach each of them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <immintrin.h>

namespace Vq::detail::checksum {

// --- Plain: polynomials as numbers, bit i standing for x^i. The least significant bit of a byte
// enters first, so that the bytes of a word are in descending order and each is turned round.

// Times x^5 + x^3 + x^2 + 1, which is what x^32 leaves behind.
constexpr std::uint64_t timesGenerator(std::uint64_t bits) {
    return bits ^ (bits << 2) ^ (bits << 3) ^ (bits << 5);
}

// The generator's square, which is what x^64 leaves behind: x^10 + x^6 + x^4 + 1.
constexpr std::uint64_t timesSquare(std::uint64_t bits) {
    return bits ^ (bits << 4) ^ (bits << 6) ^ (bits << 10);
}

// `state` moved up by 64 places with `word` below it, reduced to 64 bits.
constexpr std::uint64_t fed(std::uint64_t state, std::uint64_t word) {
    const std::uint64_t over = (state >> 60) ^ (state >> 58) ^ (state >> 54);
    return timesSquare(state) ^ timesSquare(over) ^ word;
}

// The remainder of 64 bits.
constexpr std::uint32_t reduced(std::uint64_t state) {
    // What overflows folds back as 37 bits at the most, and the second time as less than 32.
    const std::uint64_t folded = timesGenerator(state >> 32);
    return static_cast<std::uint32_t>(state ^ folded ^ timesGenerator(folded >> 32));
}

constexpr std::uint64_t bitsReversedInBytes(std::uint64_t word) {
    word = ((word >> 1) & 0x5555555555555555u) | ((word & 0x5555555555555555u) << 1);
    word = ((word >> 2) & 0x3333333333333333u) | ((word & 0x3333333333333333u) << 2);
    return ((word >> 4) & 0x0F0F0F0F0F0F0F0Fu) | ((word & 0x0F0F0F0F0F0F0F0Fu) << 4);
}

constexpr std::uint64_t bitsReversed(std::uint64_t word) {
    return bitsReversedInBytes(__builtin_bswap64(word));
}

template <class Word> Word loaded(const unsigned char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// The polynomial of `length` bytes, at most eight.
inline std::uint64_t shortWord(const unsigned char* bytes, std::size_t length) {
    if (length == 0) return 0;
    std::uint64_t word;
    if (length >= 4) { // two halves that overlap
        word = loaded<std::uint32_t>(bytes) |
               std::uint64_t{loaded<std::uint32_t>(bytes + length - 4)} << 8 * (length - 4);
    } else { // of one to three bytes some are taken twice
        word = bytes[0] | std::uint64_t{bytes[length / 2]} << 8 * (length / 2) |
               std::uint64_t{bytes[length - 1]} << 8 * (length - 1);
    }
    return bitsReversed(word) >> (64 - 8 * length);
}

inline std::uint32_t plain(const unsigned char* bytes, std::size_t length) {
    // The odd bytes come first: leading zeros change nothing.
    const std::size_t odd = length % 8;
    std::uint64_t state = shortWord(bytes, odd);
    for (std::size_t i = odd; i < length; i += 8) {
        state = fed(state, bitsReversed(loaded<std::uint64_t>(bytes + i)));
    }
    return reduced(state);
}

// --- Carry-less multiplication. Blocks stay as they lie in memory: of the 128 bits of a register
// the lowest stands for x^127. The product of two 64-bit halves is then the product of their
// polynomials times x, for which the constants below make up.

// x^n, reduced, turned round.
constexpr std::uint64_t power(unsigned int n) {
    std::uint64_t bits = 1;
    for (; n > 0; --n) bits = bits << 1 ^ (bits >> 31 ? 0x10000002Du : 0u);
    return bitsReversed(bits);
}

// What moves a block up by `blocks` blocks of 16 bytes: one factor for each half.
template <unsigned int blocks> struct Shift {
    static constexpr auto kUpper = static_cast<long long>(power(128 * blocks + 63));
    static constexpr auto kLower = static_cast<long long>(power(128 * blocks - 1));
};

#define VQ_CARRYLESS [[gnu::target("pclmul,sse4.1")]]

inline bool hasCarryless() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
}

VQ_CARRYLESS inline __m128i block(const unsigned char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

template <unsigned int blocks> VQ_CARRYLESS inline __m128i movedUp(__m128i bits) {
    const __m128i factors = _mm_set_epi64x(Shift<blocks>::kLower, Shift<blocks>::kUpper);
    return _mm_xor_si128(_mm_clmulepi64_si128(bits, factors, 0x00),
                         _mm_clmulepi64_si128(bits, factors, 0x11));
}

// Feeds `length` bytes, a multiple of 16, into a remainder of 128 bits.
VQ_CARRYLESS inline __m128i fedBlocks(__m128i state, const unsigned char* bytes,
                                      std::size_t length) {
    for (; length % 64 != 0; bytes += 16, length -= 16) {
        state = _mm_xor_si128(movedUp<1>(state), block(bytes));
    }
    if (length == 0) return state;
    // Four remainders, each of every fourth block, do not wait for one another.
    __m128i lane0 = _mm_xor_si128(movedUp<1>(state), block(bytes));
    __m128i lane1 = block(bytes + 16);
    __m128i lane2 = block(bytes + 32);
    __m128i lane3 = block(bytes + 48);
    for (bytes += 64, length -= 64; length > 0; bytes += 64, length -= 64) {
        lane0 = _mm_xor_si128(movedUp<4>(lane0), block(bytes));
        lane1 = _mm_xor_si128(movedUp<4>(lane1), block(bytes + 16));
        lane2 = _mm_xor_si128(movedUp<4>(lane2), block(bytes + 32));
        lane3 = _mm_xor_si128(movedUp<4>(lane3), block(bytes + 48));
    }
    lane1 = _mm_xor_si128(movedUp<1>(lane0), lane1);
    lane2 = _mm_xor_si128(movedUp<1>(lane1), lane2);
    return _mm_xor_si128(movedUp<1>(lane2), lane3);
}

// The first `odd` bytes, fewer than 16, of a longer block: at the end of a register that is zero.
VQ_CARRYLESS inline __m128i oddBytes(const unsigned char* bytes, std::size_t odd) {
    alignas(16) static constexpr unsigned char kPlaces[32] = {
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
        0x80, 0x80, 0x80, 0x80, 0x80, 0,    1,    2,    3,    4,    5,
        6,    7,    8,    9,    10,   11,   12,   13,   14,   15};
    return _mm_shuffle_epi8(block(bytes), block(kPlaces + odd));
}

// Bit i standing for x^i, as in the plain form: the nibbles turned round by two tables.
VQ_CARRYLESS inline __m128i turnedRound(__m128i bits) {
    const __m128i kLast = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m128i kNibble = _mm_set1_epi8(0x0F);
    const __m128i kHigh = _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
    const __m128i kLow = _mm_slli_epi16(kHigh, 4);
    const __m128i low = _mm_and_si128(bits, kNibble);
    const __m128i high = _mm_and_si128(_mm_srli_epi16(bits, 4), kNibble);
    const __m128i turned = _mm_or_si128(_mm_shuffle_epi8(kLow, low), _mm_shuffle_epi8(kHigh, high));
    return _mm_shuffle_epi8(turned, kLast);
}

VQ_CARRYLESS inline std::uint32_t remainderOf(__m128i state) {
    const __m128i kFactors = _mm_set_epi64x(timesSquare(1), timesGenerator(1));
    const __m128i bits = turnedRound(state);
    // The upper half leaves 74 bits in all, what lies above 32 of them 47, and those again 20.
    const __m128i most =
        _mm_xor_si128(_mm_clmulepi64_si128(bits, kFactors, 0x11), _mm_move_epi64(bits));
    const __m128i some = _mm_clmulepi64_si128(_mm_srli_si128(most, 4), kFactors, 0x00);
    const __m128i rest = _mm_clmulepi64_si128(_mm_srli_si128(some, 4), kFactors, 0x00);
    return static_cast<std::uint32_t>(
        _mm_cvtsi128_si32(_mm_xor_si128(_mm_xor_si128(most, some), rest)));
}

VQ_CARRYLESS inline std::uint32_t carryless(const unsigned char* bytes, std::size_t length) {
    if (length <= 8) return reduced(shortWord(bytes, length));
    if (length < 16) { // two halves that overlap
        const auto upper = loaded<std::uint64_t>(bytes) << 8 * (16 - length);
        const auto lower = loaded<std::uint64_t>(bytes + length - 8);
        return remainderOf(
            _mm_set_epi64x(static_cast<long long>(lower), static_cast<long long>(upper)));
    }
    if (length == 16) return remainderOf(block(bytes));
    const std::size_t odd = length % 16;
    return remainderOf(fedBlocks(oddBytes(bytes, odd), bytes + odd, length - odd));
}

// --- The same with four blocks in a register.

#define VQ_WIDE [[gnu::target("pclmul,sse4.1,avx512f,vpclmulqdq")]]

inline bool hasWide() {
    return hasCarryless() && __builtin_cpu_supports("avx512f") &&
           __builtin_cpu_supports("vpclmulqdq");
}

VQ_WIDE inline __m512i fourBlocks(const unsigned char* bytes) {
    return _mm512_loadu_si512(bytes);
}

// Each block moved up by `blocks` blocks, with `below` below.
template <unsigned int blocks> VQ_WIDE inline __m512i movedUpOver(__m512i bits, __m512i below) {
    constexpr long long kUpper = Shift<blocks>::kUpper;
    constexpr long long kLower = Shift<blocks>::kLower;
    const __m512i factors = _mm512_set4_epi64(kLower, kUpper, kLower, kUpper);
    const __m512i upper = _mm512_clmulepi64_epi128(bits, factors, 0x00);
    const __m512i lower = _mm512_clmulepi64_epi128(bits, factors, 0x11);
    return _mm512_ternarylogic_epi64(upper, lower, below, 0x96); // all three, exclusive or
}

// `length`: a multiple of 256, not 0.
VQ_WIDE inline __m128i fedWideBlocks(__m128i state, const unsigned char* bytes,
                                     std::size_t length) {
    __m512i lane0 = _mm512_xor_si512(_mm512_zextsi128_si512(movedUp<1>(state)), fourBlocks(bytes));
    __m512i lane1 = fourBlocks(bytes + 64);
    __m512i lane2 = fourBlocks(bytes + 128);
    __m512i lane3 = fourBlocks(bytes + 192);
    for (bytes += 256, length -= 256; length > 0; bytes += 256, length -= 256) {
        lane0 = movedUpOver<16>(lane0, fourBlocks(bytes));
        lane1 = movedUpOver<16>(lane1, fourBlocks(bytes + 64));
        lane2 = movedUpOver<16>(lane2, fourBlocks(bytes + 128));
        lane3 = movedUpOver<16>(lane3, fourBlocks(bytes + 192));
    }
    lane1 = movedUpOver<4>(lane0, lane1);
    lane2 = movedUpOver<4>(lane1, lane2);
    lane3 = movedUpOver<4>(lane2, lane3);
    alignas(64) __m128i blocks[4];
    _mm512_store_si512(blocks, lane3);
    blocks[1] = _mm_xor_si128(movedUp<1>(blocks[0]), blocks[1]);
    blocks[2] = _mm_xor_si128(movedUp<1>(blocks[1]), blocks[2]);
    return _mm_xor_si128(movedUp<1>(blocks[2]), blocks[3]);
}

VQ_WIDE inline std::uint32_t wide(const unsigned char* bytes, std::size_t length) {
    if (length < 256) return carryless(bytes, length);
    const std::size_t odd = length % 16;
    const std::size_t narrow = length % 256 - odd;
    const __m128i state = fedBlocks(oddBytes(bytes, odd), bytes + odd, narrow);
    return remainderOf(fedWideBlocks(state, bytes + odd + narrow, length - odd - narrow));
}

#undef VQ_WIDE
#undef VQ_CARRYLESS

// --- The choice

using Method = std::uint32_t (*)(const unsigned char*, std::size_t);

inline Method bestMethod() {
    if (hasWide()) return wide;
    return hasCarryless() ? carryless : plain;
}

} // namespace Vq::detail::checksum
