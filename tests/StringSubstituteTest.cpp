#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"

#include <algorithm>
#include <bit>
#include <cwchar>
#include <cwctype>
#include <random>
#include <string>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;

using Wide = LightweightString<wchar_t>;

class StringSubstitute : public ScriptedTest {};

Wide substitute(std::wstring_view text, std::wstring_view pattern, std::wstring_view replacement) {
    return Vq::substituteCaseInsensitive(Wide(text), Wide(pattern), Wide(replacement));
}

// --- The definition, step by step

std::wstring lowered(std::wstring text) {
    for (wchar_t& c : text) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    return text;
}

/// The last match of `pattern` that starts at `start` or before; below 0 when there is none.
long searchBack(const std::wstring& searched, const std::wstring& pattern, long start) {
    const std::size_t n = std::wcslen(pattern.c_str());
    while (start >= 0 && std::wcsncmp(pattern.c_str(), searched.c_str() + start, n) != 0) --start;
    return start;
}

std::wstring definition(const std::wstring& text, const std::wstring& pattern,
                        const std::wstring& replacement) {
    std::wstring result = text;
    const std::wstring searched = lowered(text);
    const std::wstring sought = lowered(pattern);
    const long n = static_cast<long>(std::wcslen(sought.c_str()));
    const long searchedLength = static_cast<long>(searched.size());
    if (n == 0) return text;
    long match = searchBack(searched, sought, searchedLength - n);
    while (match >= 0) {
        if (match < static_cast<long>(result.size())) {
            result.replace(static_cast<std::size_t>(match), pattern.size(), replacement);
        }
        if (match == 0) break;
        match = searchBack(searched, sought, std::min(match - 1, searchedLength - 1) - n + 1);
    }
    return result;
}

std::wstring randomText(std::mt19937& random, std::wstring_view alphabet, std::size_t longest) {
    std::wstring text(random() % (longest + 1), L'\0');
    for (wchar_t& c : text) c = alphabet[random() % alphabet.size()];
    return text;
}

void expectTheDefinition(std::wstring_view alphabet, std::size_t longestPattern) {
    std::mt19937 random(20);
    for (int round = 0; round < 20000; ++round) {
        const std::wstring text = randomText(random, alphabet, 24);
        const std::wstring pattern = randomText(random, alphabet, longestPattern);
        const std::wstring replacement = randomText(random, alphabet, 4);
        const Wide result = substitute(text, pattern, replacement);
        ASSERT_EQ(result, definition(text, pattern, replacement)) << "round " << round;
        const auto length = static_cast<unsigned>(result.length());
        if (result != Wide(std::wstring_view(text))) {
            ASSERT_EQ(result.capacity(), length == 0 ? 0 : std::bit_ceil(length + 1));
        }
    }
}

TEST_F(StringSubstitute, FollowsItsDefinition) {
    const ScopedLocale locale(LC_CTYPE, "C");
    expectTheDefinition(L"aAb", 3);
}

TEST_F(StringSubstitute, FollowsItsDefinitionWithManyMatches) {
    const ScopedLocale locale(LC_CTYPE, "C");
    expectTheDefinition(L"aA", 2);
}

TEST_F(StringSubstitute, FollowsItsDefinitionInUnicode) {
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    expectTheDefinition(L"\u00E9\u00C9\u017Fs\u212Ak", 2);
}

TEST_F(StringSubstitute, FollowsItsDefinitionWithZeroCharacters) {
    const ScopedLocale locale(LC_CTYPE, "C");
    expectTheDefinition(L"aAb\0"sv, 4);
}

TEST_F(StringSubstitute, FollowsItsDefinitionInLongTexts) {
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    std::mt19937 random(22);
    for (int round = 0; round < 1000; ++round) {
        const std::wstring text = randomText(random, L"aAbB\u00E9\u00C9", 300);
        const std::wstring pattern = randomText(random, L"aAbB\u00E9\u00C9", 3);
        const std::wstring replacement = randomText(random, L"xyz", 20);
        ASSERT_EQ(substitute(text, pattern, replacement), definition(text, pattern, replacement))
            << "round " << round;
    }
}

// --- What follows from it

TEST_F(StringSubstitute, ReplacesEveryOccurrenceWithoutRegardToCase) {
    EXPECT_EQ(substitute(L"Hello hello HELLO", L"hello", L"bye"), L"bye bye bye");
    EXPECT_EQ(substitute(L"Hello hello HELLO", L"hELLo", L"bye"), L"bye bye bye");
}

TEST_F(StringSubstitute, TakesOccurrencesFromTheEndWithoutOverlap) {
    EXPECT_EQ(substitute(L"aaaa", L"aa", L"b"), L"bb");
    EXPECT_EQ(substitute(L"aaa", L"aa", L"b"), L"ab");
    EXPECT_EQ(substitute(L"ababa", L"aba", L"x"), L"abx");
}

TEST_F(StringSubstitute, KeepsTheCaseOfTheRest) {
    EXPECT_EQ(substitute(L"ABcaBC", L"CA", L"-"), L"AB-BC");
}

TEST_F(StringSubstitute, PutsTheReplacementInAsItIsAndDoesNotSearchIt) {
    EXPECT_EQ(substitute(L"axa", L"A", L"aA"), L"aAxaA");
    EXPECT_EQ(substitute(L"ab", L"b", L"ab"), L"aab");
    EXPECT_EQ(substitute(L"aab", L"ab", L"b"), L"ab");
}

TEST_F(StringSubstitute, ByNothingRemoves) {
    EXPECT_EQ(substitute(L"-a--b-", L"-", L""), L"ab");
    const Wide nothing = substitute(L"aAa", L"a", L"");
    EXPECT_TRUE(nothing.empty());
    EXPECT_EQ(nothing.capacity(), 0u);
}

TEST_F(StringSubstitute, ReplacesAWholeText) {
    EXPECT_EQ(substitute(L"Whole", L"wHOLE", L"part"), L"part");
    EXPECT_EQ(substitute(L"x", L"X", L"longer"), L"longer");
}

TEST_F(StringSubstitute, WithoutOccurrenceIsTheTextItselfShared) {
    const Wide text(L"Hello");
    for (const wchar_t* const pattern : {L"bye", L"ello!", L"hello and more"}) {
        const Wide result = Vq::substituteCaseInsensitive(text, pattern, L"x");
        EXPECT_EQ(result.c_str(), text.c_str());
        EXPECT_EQ(text.useCount(), 2u);
    }
}

TEST_F(StringSubstitute, OfAnEmptyPatternIsTheTextItselfShared) {
    const Wide text(L"Hello");
    EXPECT_EQ(Vq::substituteCaseInsensitive(text, Wide(), L"x").c_str(), text.c_str());
    EXPECT_TRUE(Vq::substituteCaseInsensitive(Wide(), Wide(), L"x").empty());
    const Wide startsWithZero(L"\0Hello"sv);
    EXPECT_EQ(Vq::substituteCaseInsensitive(text, startsWithZero, L"x").c_str(), text.c_str());
}

TEST_F(StringSubstitute, InTheEmptyTextIsTheEmptyString) {
    EXPECT_TRUE(substitute(L"", L"a", L"b").empty());
}

TEST_F(StringSubstitute, SearchesThePatternUpToItsZeroButReplacesItsWholeLength) {
    EXPECT_EQ(substitute(L"..abcd", L"AB\0"sv, L"-"), L"..-d");
    EXPECT_EQ(substitute(L"..ab", L"AB\0\0"sv, L"-"), L"..-");
    // The replacement at 2 is itself part of what the match at 0 replaces.
    EXPECT_EQ(substitute(L"a.a", L"a\0\0"sv, L"xy"), L"xyy");
}

TEST_F(StringSubstitute, FindsWhatHasTheSameSmallLetters) {
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    EXPECT_EQ(substitute(L"\u00C9t\u00E9", L"\u00E9", L"e"), L"ete");
    // The kelvin sign has the small letter k; the long s is a small letter itself.
    EXPECT_EQ(substitute(L"\u212A\u017F", L"K", L"-"), L"-\u017F");
    EXPECT_EQ(substitute(L"\u212A\u017F", L"S", L"-"), L"\u212A\u017F");
}

TEST_F(StringSubstitute, InTheCLocaleKnowsTheCaseOfAsciiOnly) {
    const ScopedLocale locale(LC_CTYPE, "C");
    EXPECT_EQ(substitute(L"\u00C9aA", L"\u00E9", L"e"), L"\u00C9aA");
}

TEST_F(StringSubstitute, TakesOneStringForAllThree) {
    Wide text(L"abc");
    EXPECT_EQ(Vq::substituteCaseInsensitive(text, text, text), L"abc");
    text = Vq::substituteCaseInsensitive(text, text, text);
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.useCount(), 1u);

    const Wide mixed(L"ABab");
    EXPECT_EQ(Vq::substituteCaseInsensitive(mixed, Wide(L"ab"), mixed), L"ABabABab");
}

TEST_F(StringSubstitute, LeavesItsArgumentsAlone) {
    const Wide text(L"Hello");
    const Wide sharer = text;
    const Wide pattern(L"L");
    const Wide replacement(L"r");
    const Wide result = Vq::substituteCaseInsensitive(text, pattern, replacement);
    EXPECT_EQ(result, L"Herro");
    EXPECT_EQ(result.useCount(), 1u);
    EXPECT_EQ(text, L"Hello");
    EXPECT_EQ(text.useCount(), 2u);
    EXPECT_EQ(pattern, L"L");
    EXPECT_EQ(pattern.useCount(), 1u);
    EXPECT_EQ(replacement.useCount(), 1u);
}

TEST_F(StringSubstitute, LeavesItsArgumentsAloneWhenMemoryRunsOut) {
    const Wide text(L"Hello hello");
    const Wide pattern(L"L");
    const Wide replacement(L"a longer text");
    Wide result;
    const int failures = forEachFailingAllocation(
        [&] { result = Vq::substituteCaseInsensitive(text, pattern, replacement); },
        [&] {
            EXPECT_EQ(text, L"Hello hello");
            EXPECT_EQ(text.useCount(), 1u);
            EXPECT_EQ(pattern, L"L");
            EXPECT_EQ(replacement, L"a longer text");
            EXPECT_TRUE(result.empty());
        });
    EXPECT_GE(failures, 3);
    EXPECT_EQ(result, definition(L"Hello hello", L"L", L"a longer text"));
}

TEST_F(StringSubstitute, OfManyOccurrencesTakesTimeInProportionToTheText) {
    // A copy of the whole result per occurrence would be 2 * 10^11 characters here.
    const std::wstring text(600000, L'a');
    const Wide result = substitute(text, L"a", L"bc");
    EXPECT_EQ(result.length(), 1200000u);
    EXPECT_EQ(result[0], L'b');
    EXPECT_EQ(result[1199999], L'c');
}

} // namespace
