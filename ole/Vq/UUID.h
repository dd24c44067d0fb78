/// `Vq::UUID`, a 128-bit identifier.
///
///     Vq::UUID id("00112233-4455-6677-8899-aabbccddeeff");
///     if (id.valid()) store(id.asString());
///     Vq::UUID fresh = Vq::UUID::generate();
///
/// The text form is 36 characters: the sixteen bytes in memory order, two hexadecimal digits each,
/// with hyphens after bytes 3, 5, 7 and 9. No byte is swapped. It is written in lower case and read
/// in either, also within braces. Text that does not match gives the invalid value, never an error.
///
/// Digits are read as libc's `scanf` family reads "%02x": a pair may also be a blank and a digit, a
/// sign and a digit ("-1" is 0xff) or a single digit before a hyphen.
///
/// Thread rule: compatible; `generate` is safe.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/detail/Export.h"

#include <cstddef>
#include <functional>
#include <ostream>

/// Sixteen bytes without behaviour, for interfaces in other languages and file headers.
struct SimpleUUID {
    unsigned char bytes[16]; ///< in memory order, which is the order of the text form
};

namespace Vq {

/// An identifier value. All sixteen bytes zero is the invalid value. It is sixteen bytes wide, owns
/// nothing and is copied like a number.
///
/// \copydetails UUID.h
class VQ_EXPORT UUID {
public:
    /// Characters of the text form, terminator not counted.
    static constexpr unsigned int kTextLength = 36;

    UUID() noexcept = default;       ///< the invalid value
    UUID(std::nullptr_t) noexcept {} ///< the invalid value

    /// The sixteen bytes as they are.
    UUID(const SimpleUUID& bytes) noexcept;

    /// @{
    /// As `initFromString` of the text up to its terminator, or of the whole string; null gives the
    /// invalid value.
    UUID(const char* text);
    UUID(const wchar_t* text);
    UUID(const LightweightString<char>& text);
    UUID(const LightweightString<wchar_t>& text);
    /// @}

    /// A new identifier of the platform. Throws what the platform throws.
    static UUID generate();

    /// @{
    /// Becomes what the first `length` characters of `text` say, which must be there: 36 of the
    /// text form, or 38 with braces around it. Anything else, null included, makes it invalid.
    void initFromString(const char* text, unsigned int length);
    void initFromString(const wchar_t* text, unsigned int length);
    /// @}

    /// Becomes the invalid value.
    void invalidate() noexcept;

    /// Is any byte non-zero?
    bool valid() const noexcept;

    /// Are all sixteen bytes equal?
    bool operator==(const UUID& other) const noexcept;

    /// By bytes as unsigned values, byte 0 first.
    bool operator<(const UUID& other) const noexcept;

    /// @{
    /// Writes the text form and its terminator, 37 characters in all, to `out`, which has room for
    /// them.
    void asString(char* out) const noexcept;
    void asWString(wchar_t* out) const noexcept;
    /// @}

    /// @{
    /// The text form: one allocation. Throws only for want of memory.
    LightweightString<char> asString() const;
    LightweightString<wchar_t> asWString() const;
    /// @}

    /// Writes the text form, without a string; width and fill of the stream apply.
    friend std::ostream& operator<<(std::ostream& out, const UUID& id) {
        char text[kTextLength + 1];
        id.asString(text);
        return out << text;
    }

private:
    friend struct std::hash<UUID>;

    unsigned long words_[2] = {};
};

} // namespace Vq

/// In step with `==`. Not for tables that an adversary fills with identifiers of its choice.
template <> struct std::hash<Vq::UUID> {
    /// A mix of both words.
    std::size_t operator()(const Vq::UUID& id) const noexcept {
        // Random identifiers need no mixing, counted ones differ in a few bits of either word.
        const unsigned long mixed =
            (id.words_[0] ^ (id.words_[1] >> 32 | id.words_[1] << 32)) * 0x9E3779B97F4A7C15ul;
        return mixed ^ mixed >> 32;
    }
};
