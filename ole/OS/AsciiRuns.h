/// Runs of ASCII, which most text consists of, sixteen characters at a time.
///
/// SSE2 is part of every x86-64 processor. No function reads or writes beyond its arguments.
///
/// Thread rule: safe.
#pragma once

#include <cstddef>
#include <cstring>
#include <emmintrin.h>
#include <string_view>

namespace Vq {

namespace detail {

// Unaligned loads and stores may touch any memory: the vector types are exempt from aliasing rules.
inline __m128i load(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

inline void store(void* to, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

/// Widens four bytes.
inline void widenFour(const char* from, wchar_t* to) {
    int four;
    std::memcpy(&four, from, sizeof four);
    const __m128i zero = _mm_setzero_si128();
    store(to, _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(four), zero), zero));
}

/// Widens what is left of `text` from `i` on, fewer than 16 bytes, in steps of four of which the
/// last may do again what the one before did.
inline void widenRest(std::string_view text, std::size_t i, wchar_t* to) {
    if (text.size() < 4) {
        for (; i < text.size(); ++i) to[i] = static_cast<unsigned char>(text[i]);
        return;
    }
    for (; i + 4 < text.size(); i += 4) widenFour(text.data() + i, to + i);
    if (i < text.size()) widenFour(text.data() + text.size() - 4, to + text.size() - 4);
}

} // namespace detail

/// How many characters at the start of `text` are ASCII.
inline std::size_t asciiRun(std::string_view text) {
    std::size_t i = 0;
    while (i + 16 <= text.size() && _mm_movemask_epi8(detail::load(text.data() + i)) == 0) i += 16;
    while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80) ++i;
    return i;
}

inline std::size_t asciiRun(std::wstring_view text) {
    std::size_t i = 0;
    const __m128i others = _mm_set1_epi32(~0x7F);
    for (; i + 4 <= text.size(); i += 4) {
        const __m128i high = _mm_and_si128(detail::load(text.data() + i), others);
        if (_mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) != 0xFFFF) break;
    }
    while (i < text.size() && static_cast<char32_t>(text[i]) < 0x80) ++i;
    return i;
}

/// Writes text in the other width and returns the place behind it. To be narrowed it must be ASCII;
/// to be widened it may be any bytes, which become the characters of the same value.
inline wchar_t* widenAscii(std::string_view text, wchar_t* to) {
    std::size_t i = 0;
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= text.size(); i += 16) {
        const __m128i bytes = detail::load(text.data() + i);
        const __m128i first = _mm_unpacklo_epi8(bytes, zero);
        const __m128i second = _mm_unpackhi_epi8(bytes, zero);
        detail::store(to + i, _mm_unpacklo_epi16(first, zero));
        detail::store(to + i + 4, _mm_unpackhi_epi16(first, zero));
        detail::store(to + i + 8, _mm_unpacklo_epi16(second, zero));
        detail::store(to + i + 12, _mm_unpackhi_epi16(second, zero));
    }
    detail::widenRest(text, i, to);
    return to + text.size();
}

inline char* narrowAscii(std::wstring_view text, char* to) {
    std::size_t i = 0;
    for (; i + 16 <= text.size(); i += 16) {
        const wchar_t* const from = text.data() + i;
        const __m128i first = _mm_packs_epi32(detail::load(from), detail::load(from + 4));
        const __m128i second = _mm_packs_epi32(detail::load(from + 8), detail::load(from + 12));
        detail::store(to + i, _mm_packus_epi16(first, second));
    }
    for (; i < text.size(); ++i) to[i] = static_cast<char>(text[i]);
    return to + text.size();
}

} // namespace Vq
