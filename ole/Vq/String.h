/// Text utilities on `LightweightString`: joining, width conversion, case, trimming, comparison,
/// numbers, reading words from a stream. Narrow text is UTF-8; narrow utilities live at global
/// scope, wide ones in `Vq`.
///
///     LightweightString<char> line("frame ");
///     line += 25;                                             // "frame 25"
///     LightweightString<wchar_t> title = fromUTF8(line);
///     Vq::toUpper(title);                                     // "FRAME 25"
///
/// Every change follows the string's sharing rule: in place for the only owner with room, otherwise
/// in a new block, so other sharers never see it. Where memory runs out, the platform's exception
/// comes out and the operands are as they were.
///
/// Thread rule: compatible, but for `setNumericLocale` and what calls it.
#pragma once

#include "Vq/LightweightString.h"

#include <istream>

// --- Joining

/// `lhs` (null counts as empty), then all of `rhs`. The result never shares a block with `rhs`.
VQ_EXPORT LightweightString<char> operator+(const char* lhs, const LightweightString<char>& rhs);

/// The same for wide text, in exactly one allocation. `lhs` must **not** be null here.
VQ_EXPORT LightweightString<wchar_t> operator+(const wchar_t* lhs,
                                               const LightweightString<wchar_t>& rhs);

/// Appends the UTF-8 form of `w`, up to the first zero character in it.
VQ_EXPORT LightweightString<char>& operator+=(LightweightString<char>& s,
                                              const LightweightString<wchar_t>& w);

/// Appends the wide form of the UTF-8 text `s`, zero characters included.
VQ_EXPORT LightweightString<wchar_t>& operator+=(LightweightString<wchar_t>& w,
                                                 const LightweightString<char>& s);

// --- Width conversion, all by the platform, whose it is to say what invalid text becomes

/// The UTF-8 form of `w`, by the platform, as all conversions here.
VQ_EXPORT LightweightString<char> toUTF8(const LightweightString<wchar_t>& w);

/// The wide form of the UTF-8 text `s`.
VQ_EXPORT LightweightString<wchar_t> fromUTF8(const LightweightString<char>& s);

/// The wide form of `length` bytes of UTF-8 at `text`.
VQ_EXPORT LightweightString<wchar_t> fromUTF8(const char* text, int length);

namespace Vq {

/// The wide form of a zero-terminated ASCII text.
VQ_EXPORT LightweightString<wchar_t> WStringFromAscii(const char* text);

} // namespace Vq

// --- Case

/// @{
/// In place, byte by byte, by the tables of the current locale: UTF-8 sequences are left alone in
/// the usual locales. The length never changes. A shared text moves to a block of its own even when
/// no character of it has another case.
VQ_EXPORT void toUpper(LightweightString<char>& s);
VQ_EXPORT void toLower(LightweightString<char>& s);
/// @}

/// @{
/// A changed copy.
VQ_EXPORT LightweightString<char> toUpper(const LightweightString<char>& s);
VQ_EXPORT LightweightString<char> toLower(const LightweightString<char>& s);
/// @}

namespace Vq {

/// @{
/// In place, character by character, by `towupper` and `towlower` of the current locale. The length
/// never changes, and a shared text always moves, as with narrow text.
VQ_EXPORT void toUpper(LightweightString<wchar_t>& s);
VQ_EXPORT void toLower(LightweightString<wchar_t>& s);
/// @}

/// @{
/// A changed copy.
VQ_EXPORT LightweightString<wchar_t> toUpper(const LightweightString<wchar_t>& s);
VQ_EXPORT LightweightString<wchar_t> toLower(const LightweightString<wchar_t>& s);
/// @}

// --- Trimming and searching

/// Removes the run of `c` at the end of `s`. A string of nothing but `c` is left as it is.
VQ_EXPORT void stripTrailingChars(LightweightString<wchar_t>& s, wchar_t c);

/// Removes the run of `c` at the start of `s`, always into a new block. A string of nothing but `c`
/// is left as it is.
VQ_EXPORT void stripLeadingChars(LightweightString<wchar_t>& s, wchar_t c);

/// Is `c` the last character of `s`? Without case, `towupper` of both are compared. False for an
/// empty string.
VQ_EXPORT bool endsWith(const LightweightString<wchar_t>& s, wchar_t c, bool caseSensitive);

/// `text` with every occurrence of `pattern`, found by `towlower` of both, replaced by
/// `replacement`. Occurrences are taken from the end towards the start and never overlap: in "aaa",
/// "aa" is found at 1. With none, or with an empty pattern, the result is `text` itself, shared.
VQ_EXPORT LightweightString<wchar_t> substituteCaseInsensitive(
    const LightweightString<wchar_t>& text, const LightweightString<wchar_t>& pattern,
    const LightweightString<wchar_t>& replacement);

} // namespace Vq

/// Removes the run of spaces at the end of `s`, which becomes empty when there is nothing else.
/// Only the space itself counts: tabs stay.
template <class S> VQ_EXPORT void trimTrailingSpaces(S& s) {
    unsigned int length = s.length();
    const auto* const text = s.c_str();
    while (length > 0 && text[length - 1] == ' ') --length;
    s.truncate(length);
}

VQ_EXPORTED_INSTANTIATION(
    void trimTrailingSpaces<LightweightString<char>>(LightweightString<char>&));

/// True when `s` is empty or made only of spaces; a tab is not a space here.
VQ_EXPORT bool isEssentiallyEmpty(const LightweightString<char>& s);

// --- Numbers to text

/// @{
/// Appends `n` as "%u" and "%d" print it. Allocates nothing where
/// `s` is the only owner with room.
VQ_EXPORT LightweightString<char>& operator+=(LightweightString<char>& s, unsigned int n);
VQ_EXPORT LightweightString<char>& operator+=(LightweightString<char>& s, int n);
/// @}

/// Appends `d` as "%f" prints it in the "C" locale, every finite value whole. When the numeric
/// locale writes a comma, it is set to "C" for good; see `setNumericLocale`.
VQ_EXPORT LightweightString<char>& operator+=(LightweightString<char>& s, double d);

/// @{
/// The text that `+=` appends to an empty string: one allocation.
VQ_EXPORT LightweightString<char> StringFromInteger(int n);
VQ_EXPORT LightweightString<char> StringFromFloat(double d);
/// @}

namespace Vq {

/// `n` as "%ld" prints it: one allocation.
VQ_EXPORT LightweightString<wchar_t> WStringFromInteger(long n);

/// `d` with `precision` decimals, 0 to 9 (others count as the nearer end), cut at 255 characters.
/// `stripZeros` cuts the zeros at the end, and a point left at the end goes in any case. Zeros are
/// cut even before the point: 100 with precision 0 comes out as "1". Only a text of nothing but
/// zeros stays. May set the numeric locale, as above.
VQ_EXPORT LightweightString<wchar_t> WStringFromFloat(double d, char precision, bool stripZeros);

// --- Text to numbers

/// @{
/// The number `s` starts with, or `dflt` when there is none. Here and below, white space in front
/// is skipped and reading ends at the first character that cannot go on, so "12abc" is 12; overflow
/// is as libc's parsers have it.
VQ_EXPORT int IntFromWString(const LightweightString<wchar_t>& s, int dflt);
VQ_EXPORT double FloatFromWString(const LightweightString<wchar_t>& s, double dflt);
/// @}

/// The number `s` starts with, or `dflt` for an empty `s` only: a text without a number is **0**
/// here.
VQ_EXPORT long Int64FromWString(const LightweightString<wchar_t>& s, long dflt);

} // namespace Vq

/// The number `s` starts with, or 0.0.
VQ_EXPORT double asDouble(const LightweightString<char>& s);

/// Sets the numeric locale of the whole process to "C", unless it is that already, and says so in
/// two lines on standard output, the second of them a failed assertion. No lock is taken: text made
/// on other threads at that moment may follow either locale.
VQ_EXPORT void setNumericLocale();

/// Appends the next word of `in` to `s`, which is not cleared first. The word ends at the first
/// white space of the "C" locale, which is consumed, or at the end of the stream. Leading white
/// space is not skipped: when it comes first, nothing is appended. Zero bytes are dropped.
VQ_EXPORT std::istream& operator>>(std::istream& in, LightweightString<char>& s);
