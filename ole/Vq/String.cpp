#include "Vq/String.h"

#include "Vq/Platform.h"
#include "Vq/detail/AsciiCase.h"
#include "Vq/detail/Assertion.h"
#include "Vq/detail/LocaleCase.h"
#include "Vq/detail/NumberText.h"
#include "Vq/detail/SearchBack.h"

#include <algorithm>
#include <cfenv>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include <ctype.h>
#include <langinfo.h>
#include <xmmintrin.h>

template class LightweightString<char>;
template class LightweightString<wchar_t>;
template class Vq::Ptr<LightweightString<char>::Impl, LightweightString<char>::Impl::DtorTraits,
                       Vq::InternalRefCountTraits>;
template class Vq::Ptr<LightweightString<wchar_t>::Impl,
                       LightweightString<wchar_t>::Impl::DtorTraits, Vq::InternalRefCountTraits>;
template void trimTrailingSpaces<LightweightString<char>>(LightweightString<char>&);

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

// --- Joining and width conversion

Narrow operator+(const char* lhs, const Narrow& rhs) {
    Narrow joined(lhs);
    joined += rhs;
    return joined;
}

// Unlike the narrow form, measures first and allocates once.
Wide operator+(const wchar_t* lhs, const Wide& rhs) {
    return Wide::concat({lhs, rhs});
}

Narrow& operator+=(Narrow& s, const Wide& w) {
    // As far as its first zero byte, hence not the converted string as a whole.
    return s += toUTF8(w).c_str();
}

Wide& operator+=(Wide& w, const Narrow& s) {
    return w += fromUTF8(s);
}

Narrow toUTF8(const Wide& w) {
    return OS()->utils()->toUTF8(w);
}

Wide fromUTF8(const Narrow& s) {
    return fromUTF8(s.c_str(), static_cast<int>(s.length()));
}

Wide fromUTF8(const char* text, int length) {
    return OS()->utils()->fromUTF8(text, length);
}

Wide Vq::WStringFromAscii(const char* text) {
    return OS()->utils()->wideFromAscii(text);
}

// --- Case

namespace {

using Vq::detail::Case;

// The one in-place case change: `change(from, to, n)` writes the other case of `n` characters. What
// is shared goes to a block of its own on the way.
template <class T, class Change> void changeCase(LightweightString<T>& s, Change change) {
    if (s.useCount() <= 1) {
        change(s.c_str(), s.data(), s.length());
    } else {
        auto made = LightweightString<T>::withLength(s.length());
        change(s.c_str(), made.data(), s.length());
        s = std::move(made);
    }
}

template <class T>
LightweightString<T> changed(LightweightString<T> copy, void (*change)(LightweightString<T>&)) {
    change(copy);
    return copy;
}

// Shorter texts are changed before their locale would be looked at.
constexpr std::size_t kWorthAProof = 48;

// libc's tables reach down to -128, so that a byte may be looked up as the signed character it is.
void changeCase(Narrow& s, Case wanted, const int* table) {
    changeCase(s, [wanted, table](const char* from, char* to, std::size_t n) {
        if (n >= kWorthAProof && Vq::detail::mapsPlainly(wanted, table)) {
            return Vq::detail::changeAsciiCase(wanted, from, to, n);
        }
        std::transform(from, from + n, to, [table](char c) {
            return static_cast<char>(table[static_cast<signed char>(c)]);
        });
    });
}

template <class Map> void changeCase(Wide& s, Case wanted, Map map) {
    changeCase(s, [wanted, map](const wchar_t* from, wchar_t* to, std::size_t n) {
        if (n >= kWorthAProof && Vq::detail::localeMapsAsciiPlainly(wanted)) {
            return Vq::detail::changeAsciiCase(wanted, from, to, n, map);
        }
        std::transform(from, from + n, to, map);
    });
}

wchar_t upperCase(wchar_t c) {
    return static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
}

wchar_t lowerCase(wchar_t c) {
    return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
}

} // namespace

void toUpper(Narrow& s) {
    changeCase(s, Case::kUpper, *__ctype_toupper_loc());
}

void toLower(Narrow& s) {
    changeCase(s, Case::kLower, *__ctype_tolower_loc());
}

Narrow toUpper(const Narrow& s) {
    return changed<char>(s, toUpper);
}

Narrow toLower(const Narrow& s) {
    return changed<char>(s, toLower);
}

void Vq::toUpper(Wide& s) {
    changeCase(s, Case::kUpper, upperCase);
}

void Vq::toLower(Wide& s) {
    changeCase(s, Case::kLower, lowerCase);
}

Wide Vq::toUpper(const Wide& s) {
    return changed<wchar_t>(s, Vq::toUpper);
}

Wide Vq::toLower(const Wide& s) {
    return changed<wchar_t>(s, Vq::toLower);
}

// --- Trimming and searching

void Vq::stripTrailingChars(Wide& s, wchar_t c) {
    const std::size_t kept = std::wstring_view(s).find_last_not_of(c) + 1;
    // Unlike trimTrailingSpaces, leaves a string of nothing but `c`.
    if (kept != 0) s.truncate(static_cast<unsigned int>(kept));
}

void Vq::stripLeadingChars(Wide& s, wchar_t c) {
    const std::wstring_view text = s;
    const std::size_t run = text.find_first_not_of(c);
    if (run != 0 && run != text.npos) s = Wide(text.substr(run));
}

bool isEssentiallyEmpty(const Narrow& s) {
    return std::string_view(s).find_first_not_of(' ') == std::string_view::npos;
}

bool Vq::endsWith(const Wide& s, wchar_t c, bool caseSensitive) {
    if (s.empty()) return false;
    const wchar_t last = s[s.length() - 1];
    return caseSensitive ? last == c : upperCase(last) == upperCase(c);
}

namespace {

// Starts of what is replaced, the last first.
using Matches = std::vector<unsigned int>;

// `length` characters at each match go, and `replacement` comes.
Wide replaced(std::wstring_view text, const Matches& matches, std::size_t length,
              std::wstring_view replacement) {
    Wide result = Wide::withLength(text.size() - matches.size() * length +
                                   matches.size() * replacement.size());
    wchar_t* to = result.data();
    const auto put = [&to](std::wstring_view part) { to += part.copy(to, part.size()); };
    std::size_t done = 0;
    for (auto match = matches.rbegin(); match != matches.rend(); ++match) {
        put(text.substr(done, *match - done));
        put(replacement);
        done = *match + length;
    }
    put(text.substr(done));
    return result;
}

// The same for a pattern with a zero character, of which more goes than was found: `removed`
// characters, those of replacements made before included.
Wide replacedOverlapping(std::wstring_view text, const Matches& matches, std::size_t removed,
                         std::wstring_view replacement) {
    // The result from its end to its start, so that every step touches the last characters only.
    std::vector<wchar_t> reversed;
    std::size_t from = text.size();
    const auto prepend = [&reversed](std::wstring_view part) {
        reversed.insert(reversed.end(), part.rbegin(), part.rend());
    };
    for (const std::size_t match : matches) {
        prepend(text.substr(match, from - match));
        reversed.resize(reversed.size() - std::min(removed, reversed.size()));
        prepend(replacement);
        from = match;
    }
    prepend(text.substr(0, from));
    std::reverse(reversed.begin(), reversed.end());
    return Wide(std::wstring_view(reversed.data(), reversed.size()));
}

} // namespace

Wide Vq::substituteCaseInsensitive(const Wide& text, const Wide& pattern, const Wide& replacement) {
    const Wide searchedText = Vq::toLower(text);
    const Wide loweredPattern = Vq::toLower(pattern);
    const std::wstring_view searched = searchedText;
    const std::wstring_view sought = loweredPattern.c_str();
    if (sought.empty()) return text;
    std::size_t match = detail::lastOccurrence(searched, sought, searched.size());
    if (match == searched.npos) return text;

    Matches matches;
    matches.reserve(64);
    for (; match != searched.npos; match = detail::lastOccurrence(searched, sought, match)) {
        matches.push_back(static_cast<unsigned int>(match));
    }
    if (pattern.length() != sought.size()) {
        return replacedOverlapping(text, matches, pattern.length(), replacement);
    }
    return replaced(text, matches, sought.size(), replacement);
}

// --- Numbers

namespace {

using Vq::detail::Integer;

template <class T, class N> LightweightString<T> textOf(N n) {
    const Integer integer(n);
    auto text = LightweightString<T>::withLength(integer.length);
    integer.print(text.data());
    return text;
}

template <class N> Narrow& appendInteger(Narrow& s, N n) {
    char digits[32];
    const Integer integer(n);
    integer.print(digits);
    return s.append(std::string_view(digits, integer.length));
}

// libc rounds as the processor is set, and so would from_chars; the two units are set together
// unless someone goes out of his way.
bool roundsToNearest() {
    return std::fegetround() == FE_TONEAREST && (_mm_getcsr() & _MM_ROUND_MASK) == 0;
}

// Does printf write a point on this thread?
bool printsPoint() {
    const char* const point = nl_langinfo(RADIXCHAR);
    return point[0] == '.' && point[1] == '\0';
}

// Does swscanf read one? It looks at a character of its own in the locale.
bool readsPoint() {
    const auto point = reinterpret_cast<std::uintptr_t>(nl_langinfo(_NL_NUMERIC_DECIMAL_POINT_WC));
    return static_cast<std::uint32_t>(point) == L'.';
}

// `d` as libc writes it with a point, cut to the buffer where it does not fit, with a terminator.
template <std::size_t size>
std::string_view formatDouble(char (&buffer)[size], int precision, double d) {
    static_assert(size > Vq::detail::kFixedRoom);
    if (roundsToNearest() && printsPoint()) {
        if (const std::size_t length = Vq::detail::printFixed(buffer, d, precision)) {
            buffer[length] = '\0';
            return {buffer, length};
        }
    }
    const auto format = [&buffer, precision, d] {
        const auto wanted = static_cast<std::size_t>(
            std::max(0, std::snprintf(buffer, size, "%.*f", precision, d)));
        return std::string_view(buffer, std::min(wanted, size - 1));
    };
    std::string_view text = format();
    if (text.find(',') != text.npos) {
        setNumericLocale();
        text = format();
    }
    return text;
}

} // namespace

Narrow& operator+=(Narrow& s, unsigned int n) {
    return appendInteger(s, n);
}

Narrow& operator+=(Narrow& s, int n) {
    return appendInteger(s, n);
}

Narrow& operator+=(Narrow& s, double d) {
    char buffer[384]; // the largest double has 309 digits before the point
    return s.append(formatDouble(buffer, 6, d));
}

Narrow StringFromInteger(int n) {
    return textOf<char>(n);
}

Narrow StringFromFloat(double d) {
    Narrow text;
    text += d;
    return text;
}

Wide Vq::WStringFromInteger(long n) {
    return textOf<wchar_t>(n);
}

Wide Vq::WStringFromFloat(double d, char precision, bool stripZeros) {
    char buffer[256];
    formatDouble(buffer, std::clamp<int>(static_cast<signed char>(precision), 0, 9), d);
    Wide text = WStringFromAscii(buffer);
    if (stripZeros) stripTrailingChars(text, L'0');
    if (const unsigned int length = text.length(); length != 0 && text[length - 1] == L'.') {
        text.truncate(length - 1);
    }
    return text;
}

int Vq::IntFromWString(const Wide& s, int dflt) {
    int number = dflt;
    if (detail::readPlain(s.c_str(), number)) return number;
    std::swscanf(s.c_str(), L"%d", &number);
    return number;
}

double Vq::FloatFromWString(const Wide& s, double dflt) {
    double number = dflt;
    if (roundsToNearest() && readsPoint() && detail::readPlain(s.c_str(), number)) return number;
    std::swscanf(s.c_str(), L"%lf", &number);
    return number;
}

long Vq::Int64FromWString(const Wide& s, long dflt) {
    return s.empty() ? dflt : std::wcstoll(s.c_str(), nullptr, 10);
}

double asDouble(const Narrow& s) {
    return std::strtod(s.c_str(), nullptr);
}

void setNumericLocale() {
    const char* const locale = std::setlocale(LC_NUMERIC, nullptr);
    if (std::strcmp(locale, "C") == 0) return;
    std::printf("Fixing numeric locale (%s)\n", locale);
    // The check that follows a repair sees the name from before it, so its line is always printed.
    Vq::detail::reportFailedAssertion("strcmp( locale, \"C\" ) == 0", "ole/Vq/String line 25");
    std::setlocale(LC_NUMERIC, "C");
}

// --- Reading

namespace {

bool isWhiteSpace(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

std::istream& operator>>(std::istream& in, Narrow& s) {
    const unsigned int lengthBefore = s.length();
    for (int c = in.get(); c != std::istream::traits_type::eof() && !isWhiteSpace(c);
         c = in.get()) {
        // Around this step only: a stream that throws at its end has given its word.
        try {
            s.push_back(static_cast<char>(c)); // which ignores a zero byte
        } catch (...) {
            s.truncate(lengthBefore);
            throw;
        }
    }
    return in;
}
