#include "Vq/StringSplit.h"

#include "Vq/Platform.h"
#include "Vq/detail/SeparatorScan.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace Vq {

template class IsMatchingChar<char>;
template class SplitOutputBuilder<LightweightString<char>>;
template void convertIndicesToSubStrings(const LightweightString<char>&, const std::vector<int>&,
                                         SplitOutputBuilder<LightweightString<char>>&,
                                         unsigned int);
template class IsMatchingChar<wchar_t>;
template class SplitOutputBuilder<LightweightString<wchar_t>>;
template void convertIndicesToSubStrings(const LightweightString<wchar_t>&, const std::vector<int>&,
                                         SplitOutputBuilder<LightweightString<wchar_t>>&,
                                         unsigned int);

namespace {

template <class C> using Text = LightweightString<C>;
template <class C> using Fields = typename StringToVec<Text<C>>::VecT;

// The one character that the predicate matches is behind its interface.
template <class C> C characterOf(IsMatchingChar<C> sep) {
    static_assert(sizeof sep == sizeof(C));
    return std::bit_cast<C>(sep);
}

template <class C> bool honoursQuotes(C separator, unsigned int flags) {
    return (flags & kSplitHonourQuotes) != 0 && separator != C('"');
}

/// What there is to find in a text, before anything is made of it.
struct Separators {
    std::size_t count = 0;
    std::size_t first = 0;
    std::size_t last = 0;

    template <class C> Separators(std::basic_string_view<C> text, C separator, bool honourQuotes) {
        detail::forEachSeparator(text, separator, honourQuotes, [&](std::size_t position) {
            if (count++ == 0) first = position;
            last = position;
        });
    }

    /// Those between two separators, and those at the ends where there is text.
    std::size_t fieldsOf(std::size_t length) const {
        return count - 1 + (first != 0 || length == 1 ? 1 : 0) + (last + 1 != length ? 1 : 0);
    }
};

// Room for that many more. Twice as much as before at least, lest a caller who appends little by
// little pays for a new block each time.
template <class Vector> void reserveMore(Vector& vector, std::size_t count) {
    const std::size_t needed = vector.size() + count;
    if (needed > vector.capacity()) vector.reserve(std::max(needed, 2 * vector.capacity()));
}

template <class C>
void findPlain(const Text<C>& text, C separator, std::vector<int>& positions, unsigned int flags) {
    const bool honourQuotes = honoursQuotes(separator, flags);
    reserveMore(positions,
                Separators(std::basic_string_view<C>(text), separator, honourQuotes).count);
    detail::forEachSeparator<C>(text, separator, honourQuotes, [&](std::size_t position) {
        positions.push_back(static_cast<int>(position));
    });
}

// What `findSeparators` and `convertIndicesToSubStrings` do together, without the positions in
// between: they are counted for the output's one allocation and then used as they come.
template <class C>
unsigned int splitPlain(const Text<C>& text, C separator, Fields<C>& out, unsigned int flags) {
    const bool honourQuotes = honoursQuotes(separator, flags);
    const Separators found(std::basic_string_view<C>(text), separator, honourQuotes);
    if (found.count == 0) {
        out.push_back(text);
        return static_cast<unsigned int>(out.size());
    }
    // As an element of the output the text would move away when the output grows.
    const std::less<const Text<C>*> before;
    const bool inOutput =
        !out.empty() && !before(&text, out.data()) && before(&text, out.data() + out.size());
    const Text<C> held = inOutput ? text : Text<C>();
    const std::basic_string_view<C> source = inOutput ? held : text;
    reserveMore(out, found.fieldsOf(source.size()));

    const std::size_t keep = (flags & kSplitKeepSeparator) != 0 ? 1 : 0;
    std::size_t start = 0;
    detail::forEachSeparator(source, separator, honourQuotes, [&](std::size_t position) {
        // No field before a separator that starts a longer text.
        if (position != 0 || source.size() == 1) {
            out.emplace_back(source.substr(start, position - start + keep));
        }
        start = position + 1;
    });
    if (start < source.size()) out.emplace_back(source.substr(start));
    return static_cast<unsigned int>(out.size());
}

} // namespace

template <>
void findSeparators(const Text<char>& text, IsMatchingChar<char> sep, std::vector<int>& positions,
                    unsigned int flags) {
    findPlain(text, characterOf(sep), positions, flags);
}

template <>
void findSeparators(const Text<wchar_t>& text, IsMatchingChar<wchar_t> sep,
                    std::vector<int>& positions, unsigned int flags) {
    findPlain(text, characterOf(sep), positions, flags);
}

template <>
unsigned int splitIf(const Text<char>& text, IsMatchingChar<char> sep,
                     StringToVec<Text<char>>::VecT& out, unsigned int flags) {
    return splitPlain(text, characterOf(sep), out, flags);
}

template <>
unsigned int splitIf(const Text<wchar_t>& text, IsMatchingChar<wchar_t> sep,
                     StringToVec<Text<wchar_t>>::VecT& out, unsigned int flags) {
    return splitPlain(text, characterOf(sep), out, flags);
}

using Wide = LightweightString<wchar_t>;

Wide pack(const StringToVec<Wide>::VecT& parts, wchar_t sep) {
    const std::size_t separator = sep != L'\0' ? 1 : 0;
    std::size_t total = parts.empty() ? 0 : (parts.size() - 1) * separator;
    for (const Wide& part : parts) total += part.length();

    Wide packed = Wide::withLength(total);
    wchar_t* to = packed.data();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        to = std::copy(parts[i].begin(), parts[i].end(), to);
        if (separator != 0 && i + 1 < parts.size()) *to++ = sep;
    }
    return packed;
}

Wide splitFilename(const Wide& path) {
    StringToVec<Wide>::VecT components;
    const wchar_t separator = OS()->fileSystem()->pathSeparator();
    const unsigned int count =
        splitIf(path, IsMatchingChar<wchar_t>(separator), components, kSplitDropShortFields);
    return components[count - 1];
}

} // namespace Vq
