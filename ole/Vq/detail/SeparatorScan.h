/// Walks over the characters of a text that split it, sixteen at a time.
///
///     Vq::detail::forEachSeparator(text, ',', false, [&](std::size_t position) { ... });
///
/// SSE2 is there on every processor of this architecture, so there is one path only.
///
/// Thread rule: safe.
#pragma once

#include <bit>
#include <cstddef>
#include <string_view>

#ifdef __x86_64__
#include <emmintrin.h>
#endif

namespace Vq::detail {

inline constexpr std::size_t kScanned = 16;

/// Which of the `kScanned` characters at `text` are `c`: bit i for character i.
#ifdef __x86_64__
inline unsigned int matches(const char* text, char c) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text)); // any address
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(c))));
}

inline unsigned int matches(const wchar_t* text, wchar_t c) {
    const __m128i sought = _mm_set1_epi32(c);
    const auto equal = [&](int i) {
        return _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text) + i), sought);
    };
    // All ones stay all ones however narrow.
    const __m128i low = _mm_packs_epi32(equal(0), equal(1));
    const __m128i high = _mm_packs_epi32(equal(2), equal(3));
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
}
#else
template <class C> unsigned int matches(const C* text, C c) {
    unsigned int found = 0;
    for (unsigned int i = 0; i < kScanned; ++i) found |= (text[i] == c ? 1U : 0U) << i;
    return found;
}
#endif

/// Calls `use` with the position of each `separator`. With `honourQuotes`, not for those inside
/// double quotes; a quote behind a backslash is none. `separator` is no quote then.
template <class C, class Use>
void forEachSeparator(std::basic_string_view<C> text, C separator, bool honourQuotes, Use use) {
    bool inQuotes = false;
    const auto stop = [&](std::size_t i) {
        if (text[i] == separator) {
            if (!inQuotes) use(i);
        } else if (i == 0 || text[i - 1] != C('\\')) {
            inQuotes = !inQuotes;
        }
    };
    std::size_t i = 0;
    for (; i + kScanned <= text.size(); i += kScanned) {
        unsigned int found = matches(text.data() + i, separator);
        if (honourQuotes) found |= matches(text.data() + i, C('"'));
        for (; found != 0; found &= found - 1) {
            stop(i + static_cast<std::size_t>(std::countr_zero(found)));
        }
    }
    for (; i < text.size(); ++i) {
        if (text[i] == separator || (honourQuotes && text[i] == C('"'))) stop(i);
    }
}

} // namespace Vq::detail
