/// UTF-8 and UTF-32 with AVX2 and BMI2: up to eight characters a step. A character's bytes are
/// brought into one 32-bit lane, or from it to where they belong, by shuffles and bit extraction.
///
/// Call these only where `processorHas(TextPath::kAvx2)`. No function reads or writes beyond its
/// arguments.
///
/// Thread rule: safe.
#pragma once

#include "OS/Utf8Masks.h"
#include "OS/Utf8Plain.h"
#include "Vq/detail/TextPaths.h"

#include <algorithm>
#include <cstring>

namespace Vq::utf8::avx2 {

[[VQ_INLINE_AVX2]] inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

[[VQ_INLINE_AVX2]] inline void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

[[VQ_INLINE_AVX2]] inline __m256i units(unsigned int value) {
    return _mm256_set1_epi32(static_cast<int>(value));
}

/// 64 bytes.
struct Block {
    __m256i low, high;
};

[[VQ_INLINE_AVX2]] inline std::uint64_t signs(__m256i low, __m256i high) {
    const auto first = static_cast<std::uint32_t>(_mm256_movemask_epi8(low));
    const auto second = static_cast<std::uint32_t>(_mm256_movemask_epi8(high));
    return first | std::uint64_t{second} << 32;
}

/// Bytes from `least` on, itself not below 0x80, among those with the highest bit set.
[[VQ_INLINE_AVX2]] inline std::uint64_t from(const Block& block, unsigned char least) {
    const __m256i below = _mm256_set1_epi8(static_cast<char>(least - 1));
    return signs(_mm256_cmpgt_epi8(block.low, below), _mm256_cmpgt_epi8(block.high, below));
}

[[VQ_INLINE_AVX2]] inline std::uint64_t equal(const Block& block, unsigned char value) {
    const __m256i other = _mm256_set1_epi8(static_cast<char>(value));
    return signs(_mm256_cmpeq_epi8(block.low, other), _mm256_cmpeq_epi8(block.high, other));
}

[[VQ_INLINE_AVX2]] inline ByteKinds kindsOf(const Block& block, std::uint64_t from80) {
    ByteKinds kinds;
    kinds.lead = from(block, 0xC0) & from80;
    kinds.continuation = from80 & ~kinds.lead;
    kinds.from90 = from(block, 0x90) & kinds.continuation;
    kinds.fromA0 = from(block, 0xA0) & kinds.continuation;
    kinds.lead3 = from(block, 0xE0) & from80;
    kinds.lead4 = from(block, 0xF0) & from80;
    kinds.never = (from(block, 0xF5) & from80) | (kinds.lead & ~from(block, 0xC2));
    kinds.e0 = equal(block, 0xE0);
    kinds.ed = equal(block, 0xED);
    kinds.f0 = equal(block, 0xF0);
    kinds.f4 = equal(block, 0xF4);
    return kinds;
}

/// Characters of a well-formed text, or kIllFormed.
[[VQ_TARGET_AVX2]] inline std::size_t decodedLength(std::string_view text) {
    WellFormedness check;
    std::size_t i = 0;
    for (; i < text.size(); i += 64) {
        Block block;
        if (i + 64 <= text.size()) {
            block = {load(text.data() + i), load(text.data() + i + 32)};
        } else {
            char rest[64] = {};
            std::memcpy(rest, text.data() + i, text.size() - i);
            block = {load(rest), load(rest + 32)};
        }
        const std::uint64_t from80 = signs(block.low, block.high);
        if (from80 == 0) {
            check.addAscii();
        } else {
            check.add(kindsOf(block, from80));
        }
    }
    // The last block was filled up with zeros.
    return check.holds() ? check.characters() - (i - text.size()) : kIllFormed;
}

/// Widens bytes to the characters of the same value.
[[VQ_TARGET_AVX2]] inline void widen(std::string_view text, wchar_t* to) {
    std::size_t i = 0;
    for (; i + 16 <= text.size(); i += 16) {
        const __m128i part = detail::load(text.data() + i);
        store(to + i, _mm256_cvtepu8_epi32(part));
        store(to + i + 8, _mm256_cvtepu8_epi32(_mm_unpackhi_epi64(part, part)));
    }
    widenAscii(text.substr(i), to + i);
}

/// Four bytes of a text per lane, the lead uppermost, as characters.
[[VQ_INLINE_AVX2]] inline __m256i charactersOf(__m256i four) {
    // Seven bits of the lead and six of each further byte, side by side.
    const __m256i stripped = _mm256_and_si256(four, units(0x7F3F3F3F));
    const __m256i pairs = _mm256_maddubs_epi16(stripped, units(0x40014001));
    const __m256i joined = _mm256_madd_epi16(pairs, units(0x10000001));
    // As signed, leads are negative and in the order of the bytes that they ask for.
    const __m256i three = _mm256_cmpgt_epi32(four, units(0xDFFFFFFF));
    const __m256i all = _mm256_cmpgt_epi32(four, units(0xEFFFFFFF));
    const __m256i isAscii = _mm256_cmpgt_epi32(four, units(0xFFFFFFFF));
    // Each is -1 where it holds, and ASCII is above the others: of two bytes 0, of three 1, of four
    // 2, of ASCII 3.
    const __m256i kind = _mm256_sub_epi32(_mm256_setzero_si256(),
                                          _mm256_add_epi32(_mm256_add_epi32(three, all), isAscii));
    const __m256i shifts = _mm256_setr_epi32(12, 6, 0, 18, 0, 0, 0, 0);
    const __m256i masks = _mm256_setr_epi32(0x7FF, 0xFFFF, 0x1FFFFF, 0x7F, 0, 0, 0, 0);
    return _mm256_and_si256(_mm256_srlv_epi32(joined, _mm256_permutevar8x32_epi32(shifts, kind)),
                            _mm256_permutevar8x32_epi32(masks, kind));
}

/// Decodes a text that is well-formed and `length` characters long.
[[VQ_TARGET_AVX2]] inline void decode(std::string_view text, wchar_t* to, std::size_t length) {
    const __m256i spread = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4,
                                            4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    // Eight characters are stored a step, fewer of them meant at times.
    const wchar_t* const end = to + length;
    while (text.size() >= 32 && end - to >= 32) {
        const __m256i next = load(text.data());
        if (_mm256_movemask_epi8(next) == 0) {
            widen(text.substr(0, 32), to);
            to += 32;
            text.remove_prefix(32);
            continue;
        }
        const __m128i window = _mm256_castsi256_si128(next);
        const auto leads = static_cast<std::uint32_t>(
            _mm_movemask_epi8(_mm_cmpgt_epi8(window, _mm_set1_epi8(static_cast<char>(0xBF)))));
        // Characters that start in the first 13 bytes are whole. The places of the first eight, as
        // four bits each, then as bytes.
        const std::uint32_t whole = leads & 0x1FFF;
        const std::uint32_t taken = _pdep_u32(0xFF, whole);
        const std::uint64_t places =
            _pext_u64(0xFEDCBA9876543210, _pdep_u64(taken, 0x1111111111111111) * 15);
        const std::uint64_t starts = _pdep_u64(places, 0x0F0F0F0F0F0F0F0F);
        const __m256i start =
            _mm256_shuffle_epi8(_mm256_set1_epi64x(static_cast<long long>(starts)), spread);
        const __m256i four =
            _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(window),
                                _mm256_add_epi8(start, _mm256_set1_epi32(0x00010203)));
        store(to, charactersOf(four));
        to += std::popcount(taken);
        text.remove_prefix(static_cast<std::size_t>(std::countr_zero((leads & ~taken) | 0x10000)));
    }
    utf8::decode(text, to);
}

// --- Encoding

/// Bytes that `text` takes.
[[VQ_TARGET_AVX2]] inline std::size_t encodedLength(std::wstring_view text) {
    std::size_t i = 0;
    std::size_t bytes = 0;
    while (i + 8 <= text.size()) {
        // Each lane counts what its characters take beyond one byte, not for so long that it could
        // overflow.
        const std::size_t stop = std::min(text.size() - 7, i + (std::size_t{1} << 24));
        __m256i more = _mm256_setzero_si256();
        for (; i < stop; i += 8, bytes += 8) {
            const __m256i c = load(text.data() + i);
            const __m256i zero = _mm256_setzero_si256();
            const __m256i one = _mm256_cmpeq_epi32(_mm256_srli_epi32(c, 7), zero);
            const __m256i upToTwo = _mm256_cmpeq_epi32(_mm256_srli_epi32(c, 11), zero);
            const __m256i plane = _mm256_sub_epi32(_mm256_srli_epi32(c, 16), units(1));
            const __m256i four = _mm256_cmpeq_epi32(_mm256_min_epu32(plane, units(15)), plane);
            // Two more bytes than one, less those that are not there; what holds is -1.
            more = _mm256_add_epi32(more, _mm256_add_epi32(one, upToTwo));
            more = _mm256_add_epi32(more, _mm256_sub_epi32(units(2), four));
        }
        alignas(32) std::uint32_t lanes[8];
        store(lanes, more);
        for (const std::uint32_t lane : lanes) bytes += lane;
    }
    return bytes + utf8::encodedLength(text.substr(i));
}

/// How many characters at the start are ASCII, in whole steps of 32 but at the end.
[[VQ_TARGET_AVX2]] inline std::size_t asciiRun(std::wstring_view text) {
    std::size_t i = 0;
    for (; i + 32 <= text.size(); i += 32) {
        const wchar_t* const at = text.data() + i;
        const __m256i a = _mm256_or_si256(load(at), load(at + 8));
        const __m256i b = _mm256_or_si256(load(at + 16), load(at + 24));
        if (!_mm256_testz_si256(_mm256_or_si256(a, b), units(~0x7Fu))) return i;
    }
    return i + Vq::asciiRun(text.substr(i));
}

/// Narrows ASCII.
[[VQ_TARGET_AVX2]] inline void narrow(std::wstring_view text, char* to) {
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    std::size_t i = 0;
    for (; i + 32 <= text.size(); i += 32) {
        const wchar_t* const at = text.data() + i;
        const __m256i first = _mm256_packus_epi32(load(at), load(at + 8));
        const __m256i second = _mm256_packus_epi32(load(at + 16), load(at + 24));
        // Packing goes on in each half for itself.
        store(to + i, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(first, second), order));
    }
    narrowAscii(text.substr(i), to + i);
}

/// The bytes that are marked with bits in `bits`, one behind the other; the place behind them.
[[VQ_INLINE_AVX2]] inline char* storePresent(std::uint64_t sequences, std::uint64_t bits,
                                             char* to) {
    const std::uint64_t packed = _pext_u64(sequences, bits);
    std::memcpy(to, &packed, sizeof packed);
    return to + std::popcount(bits) / 8;
}

/// Encodes to `to`, the `bytes` bytes that it takes.
[[VQ_TARGET_AVX2]] inline void encode(std::wstring_view text, char* to, std::size_t bytes) {
    const char* const end = to + bytes;
    std::size_t i = 0;
    for (; i + 8 <= text.size() && end - to >= 32; i += 8) {
        __m256i c = load(text.data() + i);
        const __m256i surrogate =
            _mm256_cmpeq_epi32(_mm256_and_si256(c, units(0xFFFFF800)), units(0xD800));
        const __m256i valid = _mm256_cmpeq_epi32(_mm256_min_epu32(c, units(0x10FFFF)), c);
        c = _mm256_blendv_epi8(units(kReplacement), c, _mm256_andnot_si256(surrogate, valid));

        // In each lane the last byte of a character uppermost: six bits for each byte, all of those
        // that are ASCII, the marks, and which bytes there are.
        const __m256i two = _mm256_cmpgt_epi32(c, units(0x7F));
        const __m256i three = _mm256_cmpgt_epi32(c, units(0x7FF));
        const __m256i four = _mm256_cmpgt_epi32(c, units(0xFFFF));
        const __m256i low =
            _mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(c, units(0x3F)), 24),
                            _mm256_and_si256(_mm256_slli_epi32(c, 10), units(0x003F0000)));
        const __m256i high = _mm256_or_si256(
            _mm256_and_si256(_mm256_srli_epi32(c, 4), units(0x00003F00)), _mm256_srli_epi32(c, 18));
        __m256i marks = units(0x80C00000);
        marks = _mm256_blendv_epi8(marks, units(0x8080E000), three);
        marks = _mm256_blendv_epi8(marks, units(0x808080F0), four);
        const __m256i sequences = _mm256_blendv_epi8(
            _mm256_slli_epi32(c, 24), _mm256_or_si256(_mm256_or_si256(low, high), marks), two);
        const __m256i present = _mm256_or_si256(
            _mm256_or_si256(units(0xFF000000), _mm256_and_si256(two, units(0x00FF0000))),
            _mm256_or_si256(_mm256_and_si256(three, units(0x0000FF00)),
                            _mm256_and_si256(four, units(0x000000FF))));

        alignas(32) std::uint64_t sequence[4];
        alignas(32) std::uint64_t bits[4];
        store(sequence, sequences);
        store(bits, present);
        for (int pair = 0; pair < 4; ++pair) to = storePresent(sequence[pair], bits[pair], to);
    }
    utf8::encode(text.substr(i), to);
}

} // namespace Vq::utf8::avx2
