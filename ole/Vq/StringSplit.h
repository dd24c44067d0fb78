/// Cutting strings into fields at a separator, and joining them again.
///
///     Vq::StringToVec<LightweightString<char>>::VecT fields;
///     Vq::splitIf(LightweightString<char>("a,,b"), Vq::IsMatchingChar<char>(','), fields, 0);
///     // "a", "", "b"
///
/// Fields keep every character between their separators: nothing is trimmed, unquoted or unescaped.
/// A separator at the very start or end of a text makes no empty field there, except that a text
/// which is one separator and nothing else gives one empty field; between two separators there is
/// always a field. The empty text gives one empty field.
///
/// The templates serve narrow and wide strings alike, and both are exported. Where memory runs out,
/// the platform's exception comes out; fields appended before it stay in the output.
///
/// Thread rule: compatible.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/StdAllocator.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace Vq {

/// Drop fields between two separators that are shorter than **two** characters. Only
/// `convertIndicesToSubStrings` looks at it; `splitIf` does not pass it on.
inline constexpr unsigned int kSplitDropShortFields = 1;

/// A separator inside double quotes does not count, unless it is the double quote itself. A quote
/// behind a backslash neither opens nor closes; the backslash may itself stand behind another. One
/// that is never closed takes in all that follows.
inline constexpr unsigned int kSplitHonourQuotes = 2;

/// Every field that a separator ends keeps it as its last character.
inline constexpr unsigned int kSplitKeepSeparator = 4;

/// The separator: one character, compared by its code. Compatible.
template <class C> class VQ_EXPORT IsMatchingChar {
public:
    constexpr IsMatchingChar(C c) noexcept : c_(c) {}                 ///< the separator is `c`
    constexpr bool operator()(C c) const noexcept { return c == c_; } ///< is `c` the separator?

private:
    C c_;
};

/// A part of a string. A `length` of 0xFFFFFFFF reaches to its end, as does any other too long.
struct StringRegion {
    unsigned int start;  ///< index of the first character
    unsigned int length; ///< characters
};

/// The container that fields of type `S` are appended to.
template <class S> struct StringToVec {
    using VecT = std::vector<S, StdAllocator<S>>; ///< in the platform's memory
};

/// Appends regions of a source string to an output vector; both are borrowed. The source must not
/// be an element of that vector. Compatible.
template <class S> class VQ_EXPORT SplitOutputBuilder {
public:
    using VecT = typename StringToVec<S>::VecT; ///< the output

    /// Keeps both addresses.
    SplitOutputBuilder(VecT* output, const S* source) noexcept : output_(output), source_(source) {}

    /// Appends a copy of the region, cut to the source; the empty string when it lies outside. One
    /// allocation for characters, and one for the output where its capacity does not do.
    void operator()(const StringRegion& region) {
        const unsigned int sourceLength = source_->length();
        if (region.start >= sourceLength) {
            output_->emplace_back();
            return;
        }
        const unsigned int length = std::min(region.length, sourceLength - region.start);
        output_->emplace_back(std::basic_string_view<typename S::value_type>(
            source_->c_str() + region.start, length));
    }

private:
    VecT* output_;
    const S* source_;
};

/// Appends the index of every separator of `text` to `positions`. `flags`: `kSplitHonourQuotes`.
template <class S, class Separator>
VQ_EXPORT void findSeparators(const S& text, Separator sep, std::vector<int>& positions,
                              unsigned int flags) {
    using C = typename S::value_type;
    const bool honourQuotes = (flags & kSplitHonourQuotes) != 0 && !sep(C('"'));
    const C* const characters = text.c_str();
    bool inQuotes = false;
    for (unsigned int i = 0; i < text.length(); ++i) {
        if (sep(characters[i])) {
            if (!inQuotes || !honourQuotes) positions.push_back(static_cast<int>(i));
        } else if (characters[i] == C('"') && (i == 0 || characters[i - 1] != C('\\'))) {
            inQuotes = !inQuotes;
        }
    }
}

/// Calls `builder` with the region of every field of `text` that the separators at `positions`
/// (increasing, within the text) leave, in order. Without any position there is no field to build.
/// `flags`: `kSplitDropShortFields`, `kSplitKeepSeparator`.
template <class S, class Builder>
VQ_EXPORT void convertIndicesToSubStrings(const S& text, const std::vector<int>& positions,
                                          Builder& builder, unsigned int flags) {
    if (positions.empty()) return;
    const unsigned int keep = (flags & kSplitKeepSeparator) != 0 ? 1 : 0;
    const unsigned int shortest = (flags & kSplitDropShortFields) != 0 ? 2 : 0;
    const auto position = [&positions](std::size_t k) {
        return static_cast<unsigned int>(positions[k]);
    };

    if (position(0) != 0 || text.length() == 1) builder(StringRegion{0, position(0) + keep});
    for (std::size_t k = 0; k + 1 < positions.size(); ++k) {
        const unsigned int between = position(k + 1) - position(k) - 1;
        if (between >= shortest) builder(StringRegion{position(k) + 1, between + keep});
    }
    const unsigned int start = position(positions.size() - 1) + 1;
    if (start < text.length()) builder(StringRegion{start, text.length() - start});
}

/// Appends the fields of `text` to `out`, which is not cleared, and returns `out.size()`, what was
/// in it before included. `flags`: `kSplitHonourQuotes`, `kSplitKeepSeparator`. Without a separator
/// the one field shares the block of `text`. `text` may be an element of `out`. At a plain
/// character it costs an allocation for each field that is not empty, and one for `out` where its
/// capacity does not do.
template <class S, class Separator>
VQ_EXPORT unsigned int splitIf(const S& text, Separator sep, typename StringToVec<S>::VecT& out,
                               unsigned int flags) {
    std::vector<int> positions;
    findSeparators(text, sep, positions, flags);
    if (positions.empty()) {
        out.push_back(text);
        return static_cast<unsigned int>(out.size());
    }
    // As an element of the output the text would move away when the output grows.
    const std::less<const S*> before;
    const bool inOutput =
        !out.empty() && !before(&text, out.data()) && before(&text, out.data() + out.size());
    const S held = inOutput ? text : S();
    const S& source = inOutput ? held : text;
    SplitOutputBuilder<S> builder(&out, &source);
    convertIndicesToSubStrings(source, positions, builder, flags & kSplitKeepSeparator);
    return static_cast<unsigned int>(out.size());
}

/// All `parts` one behind the other, with `sep` between them; a `sep` of 0 puts nothing between.
/// An empty part adds nothing but keeps its separators. Nothing is quoted: a part that holds the
/// separator does not survive a later split. Allocates once at most.
VQ_EXPORT LightweightString<wchar_t> pack(
    const StringToVec<LightweightString<wchar_t>>::VecT& parts, wchar_t sep);

/// The last component of a path, by the platform's separator. One separator at the end is dropped
/// first, so "dir/sub/" gives "sub"; "/" and the empty path give the empty string.
VQ_EXPORT LightweightString<wchar_t> splitFilename(const LightweightString<wchar_t>& path);

/// @{
/// The same results at a plain character, from code that looks at several characters at a time.
template <>
VQ_EXPORT void findSeparators(const LightweightString<char>& text, IsMatchingChar<char> sep,
                              std::vector<int>& positions, unsigned int flags);
template <>
VQ_EXPORT void findSeparators(const LightweightString<wchar_t>& text, IsMatchingChar<wchar_t> sep,
                              std::vector<int>& positions, unsigned int flags);
template <>
VQ_EXPORT unsigned int splitIf(const LightweightString<char>& text, IsMatchingChar<char> sep,
                               StringToVec<LightweightString<char>>::VecT& out, unsigned int flags);
template <>
VQ_EXPORT unsigned int splitIf(const LightweightString<wchar_t>& text, IsMatchingChar<wchar_t> sep,
                               StringToVec<LightweightString<wchar_t>>::VecT& out,
                               unsigned int flags);
/// @}

VQ_EXPORTED_INSTANTIATION(class IsMatchingChar<char>);
VQ_EXPORTED_INSTANTIATION(class SplitOutputBuilder<LightweightString<char>>);
VQ_EXPORTED_INSTANTIATION(
    void convertIndicesToSubStrings(const LightweightString<char>&, const std::vector<int>&,
                                    SplitOutputBuilder<LightweightString<char>>&, unsigned int));
VQ_EXPORTED_INSTANTIATION(class IsMatchingChar<wchar_t>);
VQ_EXPORTED_INSTANTIATION(class SplitOutputBuilder<LightweightString<wchar_t>>);
VQ_EXPORTED_INSTANTIATION(
    void convertIndicesToSubStrings(const LightweightString<wchar_t>&, const std::vector<int>&,
                                    SplitOutputBuilder<LightweightString<wchar_t>>&, unsigned int));

} // namespace Vq
