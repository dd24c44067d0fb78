/// The text form of identifiers between bytes and characters: the definition, and the same with all
/// sixteen bytes at a time.
///
///     char text[36];
///     Vq::detail::printUuid(bytes, text);
///     if (!Vq::detail::parseUuid(text, bytes)) ...    // not two digits per byte, hyphens in place
///
/// SSE2 is there on every processor of this architecture, so that nothing is chosen at run time.
///
/// Thread rule: safe.
#pragma once

#include <cstdint>
#include <cstring>

#ifdef __x86_64__
#include <emmintrin.h>
#endif

namespace Vq::detail {

inline constexpr unsigned int kUuidBytes = 16;
inline constexpr unsigned int kUuidText = 36;

/// Is there a hyphen in front of this byte?
constexpr bool startsGroup(unsigned int byte) {
    return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

/// The definition: writes 36 characters.
template <class C> void printUuidPlain(const unsigned char* bytes, C* out) {
    for (unsigned int i = 0; i < kUuidBytes; ++i) {
        if (startsGroup(i)) *out++ = C('-');
        *out++ = static_cast<C>("0123456789abcdef"[bytes[i] >> 4]);
        *out++ = static_cast<C>("0123456789abcdef"[bytes[i] & 15]);
    }
}

/// The digit's value, or more than 15.
template <class C> unsigned int digitValue(C c) {
    if (c >= C('0') && c <= C('9')) return static_cast<unsigned int>(c - C('0'));
    if (c >= C('a') && c <= C('f')) return static_cast<unsigned int>(c - C('a')) + 10;
    if (c >= C('A') && c <= C('F')) return static_cast<unsigned int>(c - C('A')) + 10;
    return 16;
}

/// The definition: false unless `text` begins with two digits for every byte and every hyphen in
/// its place. `bytes` may have changed then. Nothing behind a character that is wrong is read.
template <class C> bool parseUuidPlain(const C* text, unsigned char* bytes) {
    for (unsigned int i = 0; i < kUuidBytes; ++i) {
        if (startsGroup(i) && *text++ != C('-')) return false;
        const unsigned int high = digitValue(*text++);
        if (high > 15) return false;
        const unsigned int low = digitValue(*text++);
        if (low > 15) return false;
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
    }
    return true;
}

#ifdef __x86_64__

template <class N> N loaded(const char* from) {
    N value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// The characters of sixteen digits' values.
inline __m128i digitsOf(__m128i values) {
    const __m128i beyondNine = _mm_cmpgt_epi8(values, _mm_set1_epi8(9));
    const __m128i letters = _mm_and_si128(beyondNine, _mm_set1_epi8('a' - '0' - 10));
    return _mm_add_epi8(_mm_add_epi8(values, _mm_set1_epi8('0')), letters);
}

inline void printUuid(const unsigned char* bytes, char* out) {
    const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)); // any address
    const __m128i four = _mm_set1_epi8(15);
    const __m128i high = _mm_and_si128(_mm_srli_epi16(all, 4), four);
    const __m128i low = _mm_and_si128(all, four);
    char digits[2 * kUuidBytes];
    auto* const to = reinterpret_cast<__m128i*>(digits);
    _mm_storeu_si128(to, digitsOf(_mm_unpacklo_epi8(high, low)));
    _mm_storeu_si128(to + 1, digitsOf(_mm_unpackhi_epi8(high, low)));
    std::memcpy(out, digits, 8);
    out[8] = '-';
    std::memcpy(out + 9, digits + 8, 4);
    out[13] = '-';
    std::memcpy(out + 14, digits + 12, 4);
    out[18] = '-';
    std::memcpy(out + 19, digits + 16, 4);
    out[23] = '-';
    std::memcpy(out + 24, digits + 20, 4);
    std::memcpy(out + 28, digits + 24, 8);
}

inline void printUuid(const unsigned char* bytes, wchar_t* out) {
    char text[kUuidText];
    printUuid(bytes, text);
    const __m128i zero = _mm_setzero_si128();
    for (unsigned int i = 0; i < kUuidText; i += 4) {
        const __m128i four = _mm_cvtsi32_si128(loaded<std::int32_t>(text + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                         _mm_unpacklo_epi16(_mm_unpacklo_epi8(four, zero), zero));
    }
}

/// The values of sixteen digits; `valid` is cleared where one is none.
inline __m128i valuesOf(__m128i digits, __m128i& valid) {
    const auto atMost = [](__m128i value, char limit) {
        return _mm_cmpeq_epi8(_mm_min_epu8(value, _mm_set1_epi8(limit)), value);
    };
    const __m128i number = _mm_sub_epi8(digits, _mm_set1_epi8('0'));
    const __m128i lower = _mm_or_si128(digits, _mm_set1_epi8(0x20));
    const __m128i letter = _mm_sub_epi8(lower, _mm_set1_epi8('a'));
    const __m128i isNumber = atMost(number, 9);
    const __m128i isLetter = atMost(letter, 5);
    valid = _mm_and_si128(valid, _mm_or_si128(isNumber, isLetter));
    return _mm_or_si128(_mm_and_si128(isNumber, number),
                        _mm_and_si128(isLetter, _mm_add_epi8(letter, _mm_set1_epi8(10))));
}

/// One byte in each 16-bit lane, from its two digits there.
inline __m128i joinedPairs(__m128i values) {
    const __m128i high = _mm_slli_epi16(values, 4);
    const __m128i low = _mm_srli_epi16(values, 8);
    return _mm_and_si128(_mm_or_si128(high, low), _mm_set1_epi16(0xFF));
}

/// As `parseUuidPlain`, of 36 characters that are all there.
inline bool parseUuid(const char* text, unsigned char* bytes) {
    if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') return false;
    const auto fours = [text](unsigned int first, unsigned int second) {
        return static_cast<long>(loaded<std::uint32_t>(text + first) |
                                 std::uint64_t{loaded<std::uint32_t>(text + second)} << 32);
    };
    __m128i valid = _mm_set1_epi8(-1);
    const __m128i first = valuesOf(_mm_set_epi64x(fours(9, 14), loaded<long>(text)), valid);
    const __m128i last = valuesOf(_mm_set_epi64x(loaded<long>(text + 28), fours(19, 24)), valid);
    if (_mm_movemask_epi8(valid) != 0xFFFF) return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes),
                     _mm_packus_epi16(joinedPairs(first), joinedPairs(last)));
    return true;
}

inline bool parseUuid(const wchar_t* text, unsigned char* bytes) {
    char narrow[kUuidText];
    for (unsigned int i = 0; i < kUuidText; i += 4) {
        // Saturation keeps what is no character of the form from becoming one.
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const __m128i words = _mm_packs_epi32(four, four);
        const std::int32_t packed = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(narrow + i, &packed, sizeof packed);
    }
    return parseUuid(narrow, bytes);
}

#else

template <class C> void printUuid(const unsigned char* bytes, C* out) {
    printUuidPlain(bytes, out);
}

template <class C> bool parseUuid(const C* text, unsigned char* bytes) {
    return parseUuidPlain(text, bytes);
}

#endif

} // namespace Vq::detail
