/// UTF-8 and UTF-32 with AVX-512: 64 bytes or 16 characters a step. A character's bytes are brought
/// into one 32-bit lane, or from it to where they belong, by permutation and compression.
///
/// Call these only where `processorHas(TextPath::kAvx512)`. No function reads or writes beyond its
/// arguments.
///
/// Thread rule: safe.
#pragma once

#include "OS/Utf8Masks.h"
#include "OS/Utf8Plain.h"
#include "Vq/detail/TextPaths.h"

#include <algorithm>
#include <cstring>

namespace Vq::utf8::avx512 {

/// The lowest `n` of 64 bits, n from 0 to 64.
[[VQ_INLINE_AVX512]] inline std::uint64_t lowest(std::size_t n) {
    return _bzhi_u64(~std::uint64_t{0}, static_cast<unsigned int>(n));
}

[[VQ_INLINE_AVX512]] inline __m512i bytes(unsigned char value) {
    return _mm512_set1_epi8(static_cast<char>(value));
}

// A masked load or store that reaches into a page which is not there is right but takes hundreds of
// cycles, so what may reach into the next page goes by way of the stack.
inline bool mayReachNextPage(const void* at) {
    constexpr std::uintptr_t kPage = 4096;
    return reinterpret_cast<std::uintptr_t>(at) % kPage > kPage - 64;
}

/// The first `n` of 64 bytes, the others 0.
[[VQ_INLINE_AVX512]] inline __m512i loadPart(const void* from, std::size_t n) {
    if (n == 64) return _mm512_loadu_si512(from);
    if (!mayReachNextPage(from)) return _mm512_maskz_loadu_epi8(lowest(n), from);
    char copy[64] = {};
    std::memcpy(copy, from, n);
    return _mm512_loadu_si512(copy);
}

[[VQ_INLINE_AVX512]] inline void storePart(void* to, __m512i value, std::size_t n) {
    if (n == 64) return _mm512_storeu_si512(to, value);
    if (!mayReachNextPage(to)) return _mm512_mask_storeu_epi8(to, lowest(n), value);
    char copy[64];
    _mm512_storeu_si512(copy, value);
    std::memcpy(to, copy, n);
}

[[VQ_INLINE_AVX512]] inline ByteKinds kindsOf(__m512i block) {
    const std::uint64_t from80 = static_cast<std::uint64_t>(_mm512_movepi8_mask(block));
    ByteKinds kinds;
    kinds.lead = _mm512_cmpge_epu8_mask(block, bytes(0xC0));
    kinds.continuation = from80 & ~kinds.lead;
    kinds.from90 = _mm512_cmpge_epu8_mask(block, bytes(0x90)) & ~kinds.lead;
    kinds.fromA0 = _mm512_cmpge_epu8_mask(block, bytes(0xA0)) & ~kinds.lead;
    kinds.lead3 = _mm512_cmpge_epu8_mask(block, bytes(0xE0));
    kinds.lead4 = _mm512_cmpge_epu8_mask(block, bytes(0xF0));
    kinds.never = _mm512_cmpge_epu8_mask(block, bytes(0xF5)) |
                  (kinds.lead & ~_mm512_cmpge_epu8_mask(block, bytes(0xC2)));
    kinds.e0 = _mm512_cmpeq_epi8_mask(block, bytes(0xE0));
    kinds.ed = _mm512_cmpeq_epi8_mask(block, bytes(0xED));
    kinds.f0 = _mm512_cmpeq_epi8_mask(block, bytes(0xF0));
    kinds.f4 = _mm512_cmpeq_epi8_mask(block, bytes(0xF4));
    return kinds;
}

[[VQ_INLINE_AVX512]] inline void addBlock(WellFormedness& check, __m512i block) {
    const std::uint64_t from80 = _mm512_movepi8_mask(block);
    if (from80 == 0) return check.addAscii();
    // By the lower six bits of a lead: is it one of those after which not everything may come?
    constexpr auto kYes = static_cast<char>(0x80);
    const __m512i special = _mm512_set_epi8(
        kYes, kYes, kYes, kYes, kYes, kYes, kYes, kYes, kYes, kYes, kYes, kYes, 0, 0, 0, kYes, 0, 0,
        kYes, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kYes, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kYes, kYes);
    const std::uint64_t lead = _mm512_cmpge_epu8_mask(block, bytes(0xC0));
    const std::uint64_t isSpecial =
        lead & _mm512_movepi8_mask(_mm512_permutexvar_epi8(block, special));
    if (isSpecial != 0 || check.carriesSpecial()) return check.add(kindsOf(block));
    check.addPlain(from80 & ~lead, lead, _mm512_cmpge_epu8_mask(block, bytes(0xE0)),
                   _mm512_cmpge_epu8_mask(block, bytes(0xF0)));
}

/// Characters of a well-formed text, or kIllFormed.
[[VQ_TARGET_AVX512]] inline std::size_t decodedLength(std::string_view text) {
    WellFormedness check;
    std::size_t i = 0;
    for (; i + 64 <= text.size(); i += 64) {
        addBlock(check, _mm512_loadu_si512(text.data() + i));
    }
    if (i == text.size()) return check.holds() ? check.characters() : kIllFormed;
    // The last block is filled up with zeros.
    addBlock(check, loadPart(text.data() + i, text.size() - i));
    return check.holds() ? check.characters() - (i + 64 - text.size()) : kIllFormed;
}

/// Widens bytes to the characters of the same value.
[[VQ_TARGET_AVX512]] inline void widen(std::string_view text, wchar_t* to) {
    std::size_t i = 0;
    for (; i + 16 <= text.size(); i += 16) {
        _mm512_storeu_si512(to + i, _mm512_cvtepu8_epi32(detail::load(text.data() + i)));
    }
    detail::widenRest(text, i, to);
}

/// 0 to 63.
[[VQ_INLINE_AVX512]] inline __m512i places() {
    return _mm512_set_epi8(63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47, 46,
                           45, 44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30, 29, 28,
                           27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10,
                           9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

/// The sixteen characters of the block whose leads' places are in `starts` from `first` on.
[[VQ_INLINE_AVX512]] inline __m512i sixteenFrom(unsigned char first, __m512i starts,
                                                __m512i block) {
    // By the upper half of a lead: the bits that make up the character, and by how much the room of
    // bytes that it does not have is to be shifted out.
    const __m512i masks = _mm512_set_epi32(0x073F3F3F, 0x0F3F3F00, 0x1F3F0000, 0x1F3F0000, 0, 0, 0,
                                           0, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000,
                                           0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000);
    const __m512i shifts =
        _mm512_set_epi32(0, 6, 12, 12, 0, 0, 0, 0, 18, 18, 18, 18, 18, 18, 18, 18);
    // Four bytes of the text in each lane, the lead uppermost.
    const __m512i lanes = _mm512_and_si512(_mm512_srli_epi32(places(), 2), bytes(0x0F));
    const __m512i start = _mm512_permutexvar_epi8(_mm512_add_epi8(lanes, bytes(first)), starts);
    const __m512i four =
        _mm512_permutexvar_epi8(_mm512_add_epi8(start, _mm512_set1_epi32(0x00010203)), block);
    const __m512i kind = _mm512_srli_epi32(four, 28);
    const __m512i bits = _mm512_and_si512(four, _mm512_permutexvar_epi32(kind, masks));
    // Up to seven bits of the lead and six of each further byte, side by side.
    const __m512i pairs = _mm512_maddubs_epi16(bits, _mm512_set1_epi32(0x40014001));
    const __m512i joined = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x10000001));
    return _mm512_srlv_epi32(joined, _mm512_permutexvar_epi32(kind, shifts));
}

/// Thirty-two characters likewise where none takes more than two bytes, written to `to`.
[[VQ_INLINE_AVX512]] inline void thirtyTwoFrom(unsigned char first, __m512i starts, __m512i block,
                                               wchar_t* to) {
    const __m512i lanes = _mm512_and_si512(_mm512_srli_epi16(places(), 1), bytes(0x1F));
    const __m512i start = _mm512_permutexvar_epi8(_mm512_add_epi8(lanes, bytes(first)), starts);
    const __m512i two =
        _mm512_permutexvar_epi8(_mm512_add_epi8(start, _mm512_set1_epi16(0x0001)), block);
    const __m512i joined = _mm512_maddubs_epi16(_mm512_and_si512(two, _mm512_set1_epi16(0x7F3F)),
                                                _mm512_set1_epi16(0x4001));
    // ASCII has its bits above those of the byte behind it.
    const __m512i ascii = _mm512_srli_epi16(joined, 6);
    const __m512i beyond = _mm512_and_si512(joined, _mm512_set1_epi16(0x7FF));
    const __m512i characters = _mm512_mask_mov_epi16(ascii, _mm512_movepi16_mask(two), beyond);
    _mm512_storeu_si512(to, _mm512_cvtepu16_epi32(_mm512_castsi512_si256(characters)));
    _mm512_storeu_si512(to + 16, _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(characters, 1)));
}

/// Decodes the characters that start at `leads` of the block, all of whose bytes are in it. Writes
/// 64 characters, of which as many are meant as there are leads.
[[VQ_INLINE_AVX512]] inline void decodeBlock(__m512i block, std::uint64_t leads, wchar_t* to) {
    const __m512i starts = _mm512_maskz_compress_epi8(leads, places());
    if (_mm512_cmpge_epu8_mask(block, bytes(0xE0)) == 0) {
        thirtyTwoFrom(0, starts, block, to);
        thirtyTwoFrom(32, starts, block, to + 32);
        return;
    }
    const int count = std::popcount(leads);
    _mm512_storeu_si512(to, sixteenFrom(0, starts, block));
    _mm512_storeu_si512(to + 16, sixteenFrom(16, starts, block));
    if (count > 32) _mm512_storeu_si512(to + 32, sixteenFrom(32, starts, block));
    if (count > 48) _mm512_storeu_si512(to + 48, sixteenFrom(48, starts, block));
}

/// Where in a block characters start: everything but 0x80 to 0xBF, which as signed are the least.
[[VQ_INLINE_AVX512]] inline std::uint64_t startsIn(__m512i block) {
    return ~_mm512_cmplt_epi8_mask(block, bytes(0xC0));
}

/// Decodes a text that is well-formed and `length` characters long.
[[VQ_TARGET_AVX512]] inline void decode(std::string_view text, wchar_t* to, std::size_t length) {
    const wchar_t* const end = to + length;
    const char* from = text.data();
    const char* const last = from + text.size();
    while (last - from > 64 && end - to >= 64) {
        const __m512i block = _mm512_loadu_si512(from);
        if (_mm512_movepi8_mask(block) == 0) {
            for (int i = 0; i < 64; i += 16) {
                _mm512_storeu_si512(to + i, _mm512_cvtepu8_epi32(detail::load(from + i)));
            }
            to += 64;
            from += 64;
            continue;
        }
        // What starts in the first 61 bytes is whole, however long it is.
        const std::uint64_t starts = startsIn(block);
        const std::uint64_t whole = starts & lowest(61);
        decodeBlock(block, whole, to);
        to += std::popcount(whole);
        from += std::countr_zero(starts & ~whole);
    }
    while (from != last) {
        const auto left = static_cast<std::size_t>(last - from);
        const std::size_t taken = std::min<std::size_t>(left, 64);
        const __m512i block = loadPart(from, taken);
        const std::uint64_t starts = startsIn(block);
        const std::uint64_t whole = starts & lowest(left > 64 ? 61 : left);
        const auto count = static_cast<std::size_t>(std::popcount(whole));
        const __m512i leads = _mm512_maskz_compress_epi8(whole, places());
        for (std::size_t i = 0; i < count; i += 16) {
            storePart(to + i, sixteenFrom(static_cast<unsigned char>(i), leads, block),
                      4 * std::min<std::size_t>(count - i, 16));
        }
        to += count;
        from += left > 64 ? static_cast<std::size_t>(std::countr_zero(starts & ~whole)) : left;
    }
}

// --- Encoding

[[VQ_INLINE_AVX512]] inline __m512i units(unsigned int value) {
    return _mm512_set1_epi32(static_cast<int>(value));
}

/// How many characters at the start are ASCII, in whole steps of 64 but at the end.
[[VQ_TARGET_AVX512]] inline std::size_t asciiRun(std::wstring_view text) {
    std::size_t i = 0;
    for (; i + 64 <= text.size(); i += 64) {
        const wchar_t* const from = text.data() + i;
        const __m512i a = _mm512_or_si512(_mm512_loadu_si512(from), _mm512_loadu_si512(from + 16));
        const __m512i b =
            _mm512_or_si512(_mm512_loadu_si512(from + 32), _mm512_loadu_si512(from + 48));
        if (_mm512_test_epi32_mask(_mm512_or_si512(a, b), units(~0x7Fu)) != 0) return i;
    }
    while (i < text.size()) {
        const std::size_t length = std::min<std::size_t>(text.size() - i, 16);
        const __m512i part = loadPart(text.data() + i, 4 * length);
        if (_mm512_test_epi32_mask(part, units(~0x7Fu)) != 0) return i;
        i += length;
    }
    return i;
}

/// Bytes that `text` takes.
[[VQ_TARGET_AVX512]] inline std::size_t encodedLength(std::wstring_view text) {
    std::size_t i = asciiRun(text);
    std::size_t more = 0;
    const __m512i one = units(1);
    while (i < text.size()) {
        // Each lane counts what its characters take beyond one byte, not for so long that it could
        // overflow.
        const std::size_t stop = std::min(text.size(), i + (std::size_t{1} << 24));
        __m512i lanes = _mm512_setzero_si512();
        for (; i < stop; i += 16) {
            const std::size_t length = std::min<std::size_t>(text.size() - i, 16);
            const __m512i c = loadPart(text.data() + i, 4 * length);
            const __mmask16 three = _mm512_cmpgt_epu32_mask(c, units(0x7FF));
            lanes =
                _mm512_mask_add_epi32(lanes, _mm512_cmpgt_epu32_mask(c, units(0x7F)), lanes, one);
            lanes = _mm512_mask_add_epi32(lanes, three, lanes, one);
            if (three == 0) continue;
            const __mmask16 four =
                _mm512_cmplt_epu32_mask(_mm512_sub_epi32(c, units(0x10000)), units(0x100000));
            lanes = _mm512_mask_add_epi32(lanes, four, lanes, one);
        }
        more += static_cast<unsigned int>(_mm512_reduce_add_epi32(lanes));
    }
    return text.size() + more;
}

/// Narrows ASCII.
[[VQ_TARGET_AVX512]] inline void narrow(std::wstring_view text, char* to) {
    std::size_t i = 0;
    for (; i + 16 <= text.size(); i += 16) {
        const __m128i part = _mm512_cvtepi32_epi8(_mm512_loadu_si512(text.data() + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), part);
    }
    narrowAscii(text.substr(i), to + i);
}

/// Bytes at the start of a vector.
struct Encoded {
    __m512i bytes;
    std::size_t size;
};

/// Encodes the lowest `length` of 16 characters.
[[VQ_INLINE_AVX512]] inline Encoded encodeSixteen(__m512i c, std::size_t length) {
    const __mmask16 surrogates =
        _mm512_cmpeq_epi32_mask(_mm512_and_si512(c, units(0xFFFFF800)), units(0xD800));
    const __mmask16 beyond = _mm512_cmpgt_epu32_mask(c, units(0x10FFFF));
    if (const auto odd = static_cast<__mmask16>(surrogates | beyond); odd != 0) {
        c = _mm512_mask_mov_epi32(c, odd, units(kReplacement));
    }
    // With the last byte of each character uppermost in its lane, by the number of leading zero
    // bits of the character: which bits of which bytes are its own, and the marks beside them. 32
    // is found at 0.
    const __m512i fewZeros = _mm512_set_epi32(0x3F3F3F07, 0x3F3F3F07, 0x3F3F3F07, 0x3F3F3F07,
                                              0x3F3F3F07, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x7F000000);
    const __m512i manyZeros =
        _mm512_set_epi32(0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000,
                         0x7F000000, 0x3F1F0000, 0x3F1F0000, 0x3F1F0000, 0x3F1F0000, 0x3F3F0F00,
                         0x3F3F0F00, 0x3F3F0F00, 0x3F3F0F00, 0x3F3F0F00);
    constexpr int kTwo = static_cast<int>(0x80C00000);
    constexpr int kThree = static_cast<int>(0x8080E000);
    constexpr int kFour = static_cast<int>(0x808080F0);
    const __m512i fewZerosMarks =
        _mm512_set_epi32(kFour, kFour, kFour, kFour, kFour, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m512i manyZerosMarks = _mm512_set_epi32(0, 0, 0, 0, 0, 0, 0, kTwo, kTwo, kTwo, kTwo,
                                                    kThree, kThree, kThree, kThree, kThree);
    const __m512i zeros = _mm512_lzcnt_epi32(c);
    const __m512i bits = _mm512_permutex2var_epi32(fewZeros, zeros, manyZeros);
    const __m512i marks = _mm512_permutex2var_epi32(fewZerosMarks, zeros, manyZerosMarks);
    // Eight bits from each sixth on, of both characters of a pair of lanes.
    const __m512i split = _mm512_multishift_epi64_epi8(_mm512_set1_epi64(0x20262C32'00060C12), c);
    const __m512i sequences = _mm512_or_si512(_mm512_and_si512(split, bits), marks);
    const std::uint64_t present = _mm512_test_epi8_mask(bits, bits) & lowest(4 * length);
    return {_mm512_maskz_compress_epi8(present, sequences),
            static_cast<std::size_t>(std::popcount(present))};
}

/// Encodes to `to`, the `size` bytes that it takes.
[[VQ_TARGET_AVX512]] inline void encode(std::wstring_view text, char* to, std::size_t size) {
    const char* const end = to + size;
    std::size_t i = 0;
    for (; i + 16 <= text.size() && end - to >= 64; i += 16) {
        const Encoded encoded = encodeSixteen(_mm512_loadu_si512(text.data() + i), 16);
        _mm512_storeu_si512(to, encoded.bytes);
        to += encoded.size;
    }
    while (i < text.size()) {
        const std::size_t length = std::min<std::size_t>(text.size() - i, 16);
        const Encoded encoded = encodeSixteen(loadPart(text.data() + i, 4 * length), length);
        storePart(to, encoded.bytes, encoded.size);
        to += encoded.size;
        i += length;
    }
}

} // namespace Vq::utf8::avx512
