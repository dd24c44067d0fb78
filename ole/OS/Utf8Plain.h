/// UTF-8 and UTF-32, one character at a time between runs of ASCII: what the wider paths are held
/// against, what they leave to at the ends of a text, and what converts text that is ill-formed.
///
/// Thread rule: safe.
#pragma once

#include "OS/AsciiRuns.h"

#include <cstddef>
#include <string_view>

namespace Vq::utf8 {

inline constexpr char32_t kReplacement = 0xFFFD;

// --- Decoding

struct Decoded {
    char32_t character;
    unsigned int bytes; ///< how many of the source it stands for, at least 1
};

/// Bytes that must follow `lead`, or -1 where no sequence begins with it.
constexpr int trailingBytes(unsigned char lead) {
    if (lead < 0x80) return 0;
    if (lead >= 0xC2 && lead <= 0xDF) return 1;
    if (lead >= 0xE0 && lead <= 0xEF) return 2;
    if (lead >= 0xF0 && lead <= 0xF4) return 3;
    return -1;
}

/// The first character, or the first maximal subpart, of a text that is not empty.
inline Decoded decodeOne(std::string_view text) {
    const auto byteAt = [text](unsigned int i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(0);
    const int trailing = trailingBytes(lead);
    if (trailing < 0) return {kReplacement, 1};
    if (trailing == 0) return {lead, 1};
    // After four of the leads the second byte is limited: what is outside would be an overlong
    // form, a surrogate or beyond the last character.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t character = lead & (0x3FU >> trailing);
    const auto bytes = static_cast<unsigned int>(trailing) + 1;
    for (unsigned int i = 1; i < bytes; ++i) {
        if (i == text.size() || byteAt(i) < low || byteAt(i) > high) return {kReplacement, i};
        character = character << 6 | (byteAt(i) & 0x3FU);
        low = 0x80;
        high = 0xBF;
    }
    return {character, bytes};
}

/// Characters that `bytes` decode to.
inline std::size_t decodedLength(std::string_view bytes) {
    std::size_t length = 0;
    while (!bytes.empty()) {
        const std::size_t run = asciiRun(bytes);
        length += run;
        bytes.remove_prefix(run);
        // Beyond ASCII a character is seldom alone.
        while (!bytes.empty() && static_cast<unsigned char>(bytes.front()) >= 0x80) {
            ++length;
            bytes.remove_prefix(decodeOne(bytes).bytes);
        }
    }
    return length;
}

/// Decodes to `to`, which has room for all of them.
inline void decode(std::string_view bytes, wchar_t* to) {
    while (!bytes.empty()) {
        const std::size_t run = asciiRun(bytes);
        to = widenAscii(bytes.substr(0, run), to);
        bytes.remove_prefix(run);
        while (!bytes.empty() && static_cast<unsigned char>(bytes.front()) >= 0x80) {
            const Decoded decoded = decodeOne(bytes);
            *to++ = static_cast<wchar_t>(decoded.character);
            bytes.remove_prefix(decoded.bytes);
        }
    }
}

// --- Encoding

constexpr unsigned int encodedBytes(char32_t c) {
    // Surrogates take three bytes as U+FFFD does, so only what lies above the last character is
    // special: beyond 0xFFFF exactly the range of 2^20 characters takes four.
    return 1U + (c > 0x7F) + (c > 0x7FF) + (c - 0x10000U < 0x100000U);
}

/// Bytes that `text` takes.
inline std::size_t encodedLength(std::wstring_view text) {
    std::size_t length = 0;
    for (const wchar_t c : text) length += encodedBytes(static_cast<char32_t>(c));
    return length;
}

constexpr bool isCharacter(char32_t c) {
    return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

/// Writes one character and returns the place behind it.
inline char* encodeOne(char32_t c, char* to) {
    if (!isCharacter(c)) c = kReplacement;
    const unsigned int bytes = encodedBytes(c);
    for (unsigned int i = bytes - 1; i > 0; --i) {
        to[i] = static_cast<char>(0x80 | (c & 0x3F));
        c >>= 6;
    }
    constexpr unsigned char kLeads[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    to[0] = static_cast<char>(kLeads[bytes] | c);
    return to + bytes;
}

/// Encodes to `to`, which has room for all of it.
inline void encode(std::wstring_view text, char* to) {
    while (!text.empty()) {
        const std::size_t run = asciiRun(text);
        to = narrowAscii(text.substr(0, run), to);
        text.remove_prefix(run);
        while (!text.empty() && static_cast<char32_t>(text.front()) >= 0x80) {
            to = encodeOne(static_cast<char32_t>(text.front()), to);
            text.remove_prefix(1);
        }
    }
}

} // namespace Vq::utf8
