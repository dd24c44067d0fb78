/// Searching wide text from its end, sixteen places at a time.
///
/// SSE2 is part of every x86-64 processor. No function reads beyond its arguments.
///
/// Thread rule: safe.
#pragma once

#include <bit>
#include <cstddef>
#include <cwchar>
#include <emmintrin.h>
#include <string_view>

namespace Vq::detail {

/// Where the last occurrence of `sought`, which is not empty, starts that ends at `end` of `text`
/// or before; `npos` where there is none.
inline std::size_t lastOccurrence(std::wstring_view text, std::wstring_view sought,
                                  std::size_t end) {
    const std::size_t length = sought.size();
    if (end < length) return text.npos;
    const auto matchesAt = [&](std::size_t start) {
        return std::wmemcmp(text.data() + start, sought.data(), length) == 0;
    };
    // Where the first and the last character are right, all are looked at.
    const __m128i first = _mm_set1_epi32(sought.front());
    const __m128i last = _mm_set1_epi32(sought.back());
    const auto candidates = [&](const wchar_t* at) {
        const auto load = [](const wchar_t* from) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        };
        return _mm_and_si128(_mm_cmpeq_epi32(load(at), first),
                             _mm_cmpeq_epi32(load(at + length - 1), last));
    };
    std::size_t starts = end - length + 1; // below this an occurrence may start
    for (; starts >= 16; starts -= 16) {
        const wchar_t* const at = text.data() + starts - 16;
        const __m128i low = _mm_packs_epi32(candidates(at), candidates(at + 4));
        const __m128i high = _mm_packs_epi32(candidates(at + 8), candidates(at + 12));
        auto found = static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
        while (found != 0) {
            const auto highest = static_cast<unsigned int>(std::bit_width(found)) - 1;
            if (matchesAt(starts - 16 + highest)) return starts - 16 + highest;
            found ^= 1U << highest;
        }
    }
    while (starts > 0) {
        if (text[--starts] == sought.front() && matchesAt(starts)) return starts;
    }
    return text.npos;
}

} // namespace Vq::detail
