/// The case of ASCII, sixteen bytes at a time, for locales that map it as everybody expects, and
/// the proof that a table of libc does so.
///
/// SSE2 is part of every x86-64 processor. Source and target may be the same, and are either that
/// or apart. No function reads or writes beyond its arguments.
///
/// Thread rule: safe.
#pragma once

#include <array>
#include <cstddef>
#include <emmintrin.h>

namespace Vq::detail {

enum class Case { kUpper, kLower };

/// The other case of an ASCII letter; anything else as it is.
template <class C> constexpr C asciiCase(Case wanted, C c) {
    const C first = wanted == Case::kUpper ? C('a') : C('A');
    return c >= first && c < first + 26 ? static_cast<C>(c ^ 0x20) : c;
}

inline __m128i loadCase(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

inline void storeCase(void* to, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

// --- Narrow

/// Does a table of `toupper` or `tolower`, which reaches down to -128, map ASCII plainly and every
/// other byte to itself?
inline bool mapsPlainly(Case wanted, const int* table) {
    // What a plain table holds for the bytes -128 to 127.
    static constexpr auto kPlain = [] {
        std::array<std::array<char, 256>, 2> plain{};
        for (int i = 0; i < 256; ++i) {
            const auto c = static_cast<char>(i - 128);
            plain[0][static_cast<std::size_t>(i)] = asciiCase(Case::kUpper, c);
            plain[1][static_cast<std::size_t>(i)] = asciiCase(Case::kLower, c);
        }
        return plain;
    }();
    const char* const plain = kPlain[wanted == Case::kUpper ? 0 : 1].data();
    // Of each entry the lowest byte alone is used.
    const __m128i lowest = _mm_set1_epi32(0xFF);
    const auto entries = [&](int first) {
        return _mm_and_si128(loadCase(table - 128 + first), lowest);
    };
    __m128i same = _mm_set1_epi8(-1);
    for (int i = 0; i < 256; i += 16) {
        const __m128i low = _mm_packs_epi32(entries(i), entries(i + 4));
        const __m128i high = _mm_packs_epi32(entries(i + 8), entries(i + 12));
        const __m128i mapped = _mm_packus_epi16(low, high);
        same = _mm_and_si128(same, _mm_cmpeq_epi8(mapped, loadCase(plain + i)));
    }
    return _mm_movemask_epi8(same) == 0xFFFF;
}

/// Changes `n` bytes.
inline void changeAsciiCase(Case wanted, const char* from, char* to, std::size_t n) {
    // Moves the letters to the upper end of the signed range, where one comparison finds them.
    const char last = wanted == Case::kUpper ? 'z' : 'Z';
    const __m128i shift = _mm_set1_epi8(static_cast<char>(0x7F - last));
    const __m128i below = _mm_set1_epi8(0x7F - 26);
    const __m128i bit = _mm_set1_epi8(0x20);
    const auto changed = [&](__m128i c) {
        const __m128i isLetter = _mm_cmpgt_epi8(_mm_add_epi8(c, shift), below);
        return _mm_xor_si128(c, _mm_and_si128(isLetter, bit));
    };
    std::size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        const __m128i a = loadCase(from + i);
        const __m128i b = loadCase(from + i + 16);
        const __m128i c = loadCase(from + i + 32);
        const __m128i d = loadCase(from + i + 48);
        storeCase(to + i, changed(a));
        storeCase(to + i + 16, changed(b));
        storeCase(to + i + 32, changed(c));
        storeCase(to + i + 48, changed(d));
    }
    for (; i + 16 <= n; i += 16) storeCase(to + i, changed(loadCase(from + i)));
    for (; i < n; ++i) to[i] = asciiCase(wanted, from[i]);
}

// --- Wide

/// Changes `n` characters, the ASCII ones plainly and the others by `map`.
template <class Map>
void changeAsciiCase(Case wanted, const wchar_t* from, wchar_t* to, std::size_t n, Map map) {
    const wchar_t last = wanted == Case::kUpper ? L'z' : L'Z';
    const __m128i shift = _mm_set1_epi32(0x7FFFFFFF - last);
    const __m128i below = _mm_set1_epi32(0x7FFFFFFF - 26);
    const __m128i bit = _mm_set1_epi32(0x20);
    const __m128i others = _mm_set1_epi32(~0x7F);
    const auto changed = [&](__m128i c) {
        const __m128i isLetter = _mm_cmpgt_epi32(_mm_add_epi32(c, shift), below);
        return _mm_xor_si128(c, _mm_and_si128(isLetter, bit));
    };
    const auto changeOne = [&](std::size_t i) {
        to[i] = from[i] >= 0 && from[i] < 0x80 ? asciiCase(wanted, from[i]) : map(from[i]);
    };
    std::size_t i = 0;
    while (i + 16 <= n) {
        const __m128i a = loadCase(from + i);
        const __m128i b = loadCase(from + i + 4);
        const __m128i c = loadCase(from + i + 8);
        const __m128i d = loadCase(from + i + 12);
        const __m128i all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
        const __m128i ascii = _mm_cmpeq_epi32(_mm_and_si128(all, others), _mm_setzero_si128());
        if (_mm_movemask_epi8(ascii) == 0xFFFF) {
            storeCase(to + i, changed(a));
            storeCase(to + i + 4, changed(b));
            storeCase(to + i + 8, changed(c));
            storeCase(to + i + 12, changed(d));
            i += 16;
        } else {
            for (const std::size_t end = i + 16; i < end; ++i) changeOne(i);
        }
    }
    for (; i < n; ++i) changeOne(i);
}

} // namespace Vq::detail
