/// Numbers as libc prints and reads them, for the plain cases, which are nearly all. What is not
/// plain is refused and left to libc. The caller sees to it that the calling thread's locale has a
/// decimal point and that the rounding mode is to nearest.
///
/// Thread rule: safe.
#pragma once

#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>

namespace Vq::detail {

// --- Printing

inline constexpr std::uint64_t kPowersOf10[] = {
    1,
    10,
    100,
    1000,
    10000,
    100000,
    1000000,
    10000000,
    100000000,
    1000000000,
    10000000000,
    100000000000,
    1000000000000,
    10000000000000,
    100000000000000,
    1000000000000000,
    10000000000000000,
    100000000000000000,
    1000000000000000000,
    10000000000000000000u,
};

/// How many decimal digits `n` has, one for 0.
constexpr unsigned int decimalDigits(std::uint64_t n) {
    // 1233 / 4096 is a little more than log10(2).
    const auto bits = static_cast<unsigned int>(std::bit_width(n | 1));
    const unsigned int guess = bits * 1233 >> 12;
    return guess + ((n | 1) >= kPowersOf10[guess]);
}

// Not within its user, which would put a copy of it on the stack at each call.
inline constexpr char kPairs[] = "00010203040506070809101112131415161718192021222324"
                                 "25262728293031323334353637383940414243444546474849"
                                 "50515253545556575859606162636465666768697071727374"
                                 "75767778798081828384858687888990919293949596979899";

/// Writes `digits` digits of `n` to `to`, zeros in front.
template <class T> constexpr void printDigits(T* to, unsigned int digits, std::uint64_t n) {
    for (; digits >= 2; digits -= 2, n /= 100) {
        to[digits - 1] = static_cast<T>(kPairs[2 * (n % 100) + 1]);
        to[digits - 2] = static_cast<T>(kPairs[2 * (n % 100)]);
    }
    if (digits != 0) to[0] = static_cast<T>('0' + n % 10);
}

inline constexpr std::uint64_t kEightDigits = 100000000;

/// The eight digits of `n`, which is below 10^8, zeros in front, as characters: the first one in
/// the lowest byte. Halves are split in two at once, then all four quarters, then all pairs.
constexpr std::uint64_t eightDigits(std::uint64_t n) {
    const std::uint64_t halves = n / 10000 | n % 10000 << 32;
    // Divisions by 100 and by 10, exact for what the fields hold.
    const std::uint64_t hundreds = halves * 10486 >> 20 & 0x0000007F'0000007F;
    const std::uint64_t pairs = (halves - 100 * hundreds) << 16 | hundreds;
    const std::uint64_t tens = pairs * 103 >> 10 & 0x000F000F'000F000F;
    return ((pairs - 10 * tens) << 8 | tens) + 0x30303030'30303030;
}

/// The last `digits` of them, 1 to 8, in the lowest bytes; 0 above.
constexpr std::uint64_t lastDigits(std::uint64_t n, unsigned int digits) {
    return eightDigits(n) >> (64 - 8 * digits);
}

/// Writes the lowest `n` bytes of `characters`, 1 to 8: two halves that may overlap.
inline void storeCharacters(char* to, std::uint64_t characters, unsigned int n) {
    if (n >= 4) {
        const std::uint64_t rest = characters >> (8 * n - 32);
        std::memcpy(to, &characters, 4);
        std::memcpy(to + n - 4, &rest, 4);
    } else if (n >= 2) {
        const std::uint64_t rest = characters >> (8 * n - 16);
        std::memcpy(to, &characters, 2);
        std::memcpy(to + n - 2, &rest, 2);
    } else {
        *to = static_cast<char>(characters);
    }
}

inline void storeCharacters(wchar_t* to, std::uint64_t characters, unsigned int n) {
    const auto storeFour = [](wchar_t* at, std::uint64_t four) {
        const __m128i bytes = _mm_cvtsi64_si128(static_cast<long long>(four));
        const __m128i pairs = _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at),
                         _mm_unpacklo_epi16(pairs, _mm_setzero_si128()));
    };
    if (n >= 4) {
        storeFour(to, characters);
        storeFour(to + n - 4, characters >> (8 * n - 32));
    } else {
        for (; n != 0; --n, characters >>= 8) *to++ = static_cast<wchar_t>(characters & 0xFF);
    }
}

/// A whole number apart: the sign, the digits without it and how many characters both are.
struct Integer {
    template <class N>
    constexpr explicit Integer(N n) : isNegative(n < 0), magnitude(static_cast<std::uint64_t>(n)) {
        if (isNegative) magnitude = 0 - magnitude;
        length = isNegative + decimalDigits(magnitude);
    }

    /// Writes `length` characters.
    template <class T> void print(T* to) const {
        if (isNegative) *to++ = T('-');
        const unsigned int digits = length - isNegative;
        if (magnitude < kEightDigits) {
            storeCharacters(to, lastDigits(magnitude, digits), digits);
        } else {
            printDigits(to, digits - 8, magnitude / kEightDigits);
            storeCharacters(to + digits - 8, eightDigits(magnitude % kEightDigits), 8);
        }
    }

    bool isNegative;
    std::uint64_t magnitude;
    unsigned int length;
};

/// What `printFixed` may write.
inline constexpr std::size_t kFixedRoom = 40;

/// Writes `d` with `precision` decimals, 0 to 9, to `to`, which has `kFixedRoom`, as "%.*f" does.
/// Returns the length, or 0 where it does not apply: from 2^63 on and for what is no number.
inline std::size_t printFixed(char* to, double d, int precision) {
    __extension__ using Wide = unsigned __int128;
    const auto bits = std::bit_cast<std::uint64_t>(d);
    const int exponentBits = static_cast<int>(bits >> 52 & 0x7FF);
    const std::uint64_t fractionBits = bits & ((std::uint64_t{1} << 52) - 1);
    const std::uint64_t mantissa =
        exponentBits == 0 ? fractionBits : fractionBits | std::uint64_t{1} << 52;
    // |d| is mantissa * 2^exponent.
    const int exponent = (exponentBits == 0 ? 1 : exponentBits) - 1075;
    if (exponent > 10) return 0;

    std::uint64_t whole = 0;
    std::uint64_t decimals = 0;
    const std::uint64_t scale = kPowersOf10[precision];
    if (exponent >= 0) {
        whole = mantissa << exponent;
    } else if (exponent >= -84) { // below, even 9 decimals are less than half of the last one
        const int shift = -exponent;
        whole = shift < 64 ? mantissa >> shift : 0;
        const std::uint64_t fraction = shift < 64 ? mantissa - (whole << shift) : mantissa;
        // Exact: 53 bits by 30. What is cut off says how to round, half to even.
        const Wide scaled = Wide{fraction} * scale;
        const Wide cut = scaled & ((Wide{1} << shift) - 1);
        const Wide half = Wide{1} << (shift - 1);
        decimals = static_cast<std::uint64_t>(scaled >> shift);
        const bool isOdd = ((precision == 0 ? whole : decimals) & 1) != 0;
        if (cut > half || (cut == half && isOdd)) ++decimals;
        if (decimals == scale) {
            decimals = 0;
            ++whole;
        }
    }

    char* const start = to;
    if (bits >> 63 != 0) *to++ = '-';
    // There is room for more than what is meant, so eight characters are stored at once.
    const auto put = [&to](std::uint64_t n, unsigned int digits) {
        if (n < kEightDigits && digits <= 8) {
            const std::uint64_t characters = lastDigits(n, digits);
            std::memcpy(to, &characters, sizeof characters);
        } else {
            printDigits(to, digits, n);
        }
        to += digits;
    };
    put(whole, decimalDigits(whole));
    if (precision > 0) {
        *to++ = '.';
        put(decimals, static_cast<unsigned int>(precision));
    }
    return static_cast<std::size_t>(to - start);
}

// --- Reading

constexpr bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

constexpr bool isSign(wchar_t c) {
    return c == L'-' || c == L'+';
}

/// Does a number end before `c` whatever the locale? Of much that ends one in most, it is not said.
constexpr bool endsNumber(wchar_t c) {
    return c == 0 || c == L' ' || (c >= L'\t' && c <= L'\r');
}

/// What "%d" reads of a text that starts with a sign or a digit: up to nine digits, and behind them
/// the end or white space. False where the text is anything else.
inline bool readPlain(const wchar_t* text, int& number) {
    constexpr int kMostDigits = 9; // which every int can hold
    const wchar_t* const digits = text + isSign(*text);
    const wchar_t* at = digits;
    int magnitude = 0;
    while (isDigit(*at) && at - digits < kMostDigits) magnitude = 10 * magnitude + (*at++ - L'0');
    if (at == digits || !endsNumber(*at)) return false;
    number = *text == L'-' ? -magnitude : magnitude;
    return true;
}

/// What "%lf" reads of a text that is a sign, digits and at most one point among them, and behind
/// them the end or white space. False where the text is anything else, or long.
inline bool readPlain(const wchar_t* text, double& number) {
    char copy[64];
    char* to = copy;
    const wchar_t* at = text;
    if (*at == L'-') *to++ = '-';
    at += isSign(*at);
    bool hasDigit = false;
    bool hasPoint = false;
    for (; isDigit(*at) || (*at == L'.' && !hasPoint); ++at) {
        if (to == copy + sizeof copy) return false;
        (*at == L'.' ? hasPoint : hasDigit) = true;
        *to++ = static_cast<char>(*at);
    }
    if (!hasDigit || !endsNumber(*at)) return false;
    // Like libc, rounds correctly; neither end of the range is within reach.
    return std::from_chars(copy, to, number).ec == std::errc();
}

} // namespace Vq::detail
