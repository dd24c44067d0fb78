// Trimming, and the questions about the end and the blankness of a text.
#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"

#include <bit>
#include <cwctype>
#include <string>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringTrimSpaces : public ScriptedTest {};
class StringStripTrailing : public ScriptedTest {};
class StringStripLeading : public ScriptedTest {};
class StringEssentiallyEmpty : public ScriptedTest {};
class StringEndsWith : public ScriptedTest {};

// --- trimTrailingSpaces

TEST_F(StringTrimSpaces, RemovesTheRunOfSpacesAtTheEnd) {
    const struct {
        std::string_view text, trimmed;
    } cases[] = {
        {"abc", "abc"},      {"abc ", "abc"},           {"abc   ", "abc"},
        {" abc ", " abc"},   {"a b c ", "a b c"},       {"a  ", "a"},
        {"abc\t", "abc\t"},  {"abc\t ", "abc\t"},       {"abc \t", "abc \t"},
        {"abc\n ", "abc\n"}, {"a\0  "sv, "a\0"sv},      {"a \0"sv, "a \0"sv},
        {"\xA0 ", "\xA0"},   {"\xC2\xA0 ", "\xC2\xA0"},
    };
    for (const auto& [text, trimmed] : cases) {
        Narrow string(text);
        trimTrailingSpaces(string);
        EXPECT_EQ(string, trimmed);
        EXPECT_EQ(string.c_str()[string.length()], '\0');
    }
}

TEST_F(StringTrimSpaces, TakesOnlyTheSpaceForOneInAnyLocale) {
    const ScopedLocale locale(LC_CTYPE, kTestLocale);
    Narrow text("abc\xA0");
    trimTrailingSpaces(text);
    EXPECT_EQ(text, "abc\xA0");
}

TEST_F(StringTrimSpaces, OfNothingButSpacesGivesTheEmptyString) {
    Narrow text("   ");
    const Counts made = countsOf([&] { trimTrailingSpaces(text); });
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.capacity(), 0u);
    EXPECT_EQ(made[kDeallocate], 1);
    EXPECT_EQ(made[kAllocate], 0);

    const Narrow sharer("   ");
    text = sharer;
    trimTrailingSpaces(text);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(sharer, "   ");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringTrimSpaces, WithNothingToRemoveKeepsSharing) {
    const Narrow sharer(" abc");
    Narrow text = sharer;
    Narrow nothing;
    const Counts made = countsOf([&] {
        trimTrailingSpaces(text);
        trimTrailingSpaces(nothing);
    });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text.c_str(), sharer.c_str());
    EXPECT_TRUE(nothing.empty());
}

TEST_F(StringTrimSpaces, CutsInPlaceForTheOnlyOwner) {
    Narrow text("abc     ");
    const char* const characters = text.c_str();
    const Counts made = countsOf([&] { trimTrailingSpaces(text); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(text.c_str(), characters);
    EXPECT_EQ(text.capacity(), 16u);
    EXPECT_STREQ(text.c_str(), "abc");
}

TEST_F(StringTrimSpaces, CutsASharedTextIntoABlockOfTheSizeItNeeds) {
    const Narrow sharer("abc     ");
    Narrow text = sharer;
    const Counts made = countsOf([&] { trimTrailingSpaces(text); });
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(text.capacity(), 4u);
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(sharer, "abc     ");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringTrimSpaces, LeavesTheTextAsItWasWhenMemoryRunsOut) {
    const Narrow sharer("abc ");
    Narrow text = sharer;
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, "abc ");
        EXPECT_EQ(text.c_str(), sharer.c_str());
        EXPECT_EQ(text.useCount(), 2u);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { trimTrailingSpaces(text); }, standsAsBefore), 1);
    EXPECT_EQ(text, "abc");
}

// --- stripTrailingChars

TEST_F(StringStripTrailing, RemovesTheRunOfTheCharacterAtTheEnd) {
    const struct {
        std::wstring_view text;
        wchar_t character;
        std::wstring_view stripped;
    } cases[] = {
        {L"abcx", L'x', L"abc"},         {L"abcxxx", L'x', L"abc"},    {L"xabxcx", L'x', L"xabxc"},
        {L"abcX", L'x', L"abcX"},        {L"abc", L'x', L"abc"},       {L"ax", L'x', L"a"},
        {L"a\0\0"sv, L'\0', L"a"},       {L"a\0xx"sv, L'x', L"a\0"sv}, {L"1.500", L'0', L"1.5"},
        {L"a\U0001F3AC", 0x1F3AC, L"a"}, {L"a\xFFFFFFFF", -1, L"a"},
    };
    for (const auto& [text, character, stripped] : cases) {
        Wide string(text);
        Vq::stripTrailingChars(string, character);
        EXPECT_EQ(string, stripped);
        EXPECT_EQ(string.c_str()[string.length()], L'\0');
    }
}

TEST_F(StringStripTrailing, LeavesAStringOfNothingButTheCharacterAsItIs) {
    const Wide sharer(L"xxx");
    Wide text = sharer;
    const Counts made = countsOf([&] { Vq::stripTrailingChars(text, L'x'); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text, L"xxx");
    EXPECT_EQ(text.c_str(), sharer.c_str());
}

TEST_F(StringStripTrailing, WithNothingToRemoveKeepsSharing) {
    const Wide sharer(L"xabc");
    Wide text = sharer;
    Wide nothing;
    const Counts made = countsOf([&] {
        Vq::stripTrailingChars(text, L'x');
        Vq::stripTrailingChars(nothing, L'x');
    });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text.c_str(), sharer.c_str());
    EXPECT_TRUE(nothing.empty());
}

TEST_F(StringStripTrailing, CutsInPlaceForTheOnlyOwner) {
    Wide text(L"abcxxxxx");
    const wchar_t* const characters = text.c_str();
    const Counts made = countsOf([&] { Vq::stripTrailingChars(text, L'x'); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.c_str(), characters);
    EXPECT_EQ(text.capacity(), 16u);
}

TEST_F(StringStripTrailing, CutsASharedTextIntoABlockOfTheSizeItNeeds) {
    const Wide sharer(L"abcxxxxx");
    Wide text = sharer;
    Vq::stripTrailingChars(text, L'x');
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.capacity(), 4u);
    EXPECT_EQ(sharer, L"abcxxxxx");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringStripTrailing, LeavesTheTextAsItWasWhenMemoryRunsOut) {
    const Wide sharer(L"abcx");
    Wide text = sharer;
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, L"abcx");
        EXPECT_EQ(text.c_str(), sharer.c_str());
    };
    EXPECT_EQ(forEachFailingAllocation([&] { Vq::stripTrailingChars(text, L'x'); }, standsAsBefore),
              1);
    EXPECT_EQ(text, L"abc");
}

// --- stripLeadingChars

TEST_F(StringStripLeading, RemovesTheRunOfTheCharacterAtTheStart) {
    const struct {
        std::wstring_view text;
        wchar_t character;
        std::wstring_view stripped;
    } cases[] = {
        {L"xabc", L'x', L"abc"},   {L"xxxabc", L'x', L"abc"},    {L"xabxcx", L'x', L"abxcx"},
        {L"Xabc", L'x', L"Xabc"},  {L"abc", L'x', L"abc"},       {L"xa", L'x', L"a"},
        {L"\0\0a"sv, L'\0', L"a"}, {L"xx\0a"sv, L'x', L"\0a"sv}, {L"\U0001F3ACa", 0x1F3AC, L"a"},
    };
    for (const auto& [text, character, stripped] : cases) {
        Wide string(text);
        Vq::stripLeadingChars(string, character);
        EXPECT_EQ(string, stripped);
        EXPECT_EQ(string.c_str()[string.length()], L'\0');
    }
}

TEST_F(StringStripLeading, LeavesAStringOfNothingButTheCharacterAsItIs) {
    const Wide sharer(L"xxx");
    Wide text = sharer;
    const Counts made = countsOf([&] { Vq::stripLeadingChars(text, L'x'); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text, L"xxx");
    EXPECT_EQ(text.c_str(), sharer.c_str());
}

TEST_F(StringStripLeading, WithNothingToRemoveKeepsSharing) {
    const Wide sharer(L"abcx");
    Wide text = sharer;
    Wide nothing;
    const Counts made = countsOf([&] {
        Vq::stripLeadingChars(text, L'x');
        Vq::stripLeadingChars(nothing, L'x');
    });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text.c_str(), sharer.c_str());
    EXPECT_TRUE(nothing.empty());
}

TEST_F(StringStripLeading, AlwaysMovesTheRestIntoABlockOfTheSizeItNeeds) {
    for (unsigned rest = 1; rest <= 9; ++rest) {
        const std::wstring kept(rest, L'a');
        Wide text{std::wstring_view(L"xxxxxxxx" + kept)};
        const Counts made = countsOf([&] { Vq::stripLeadingChars(text, L'x'); });
        EXPECT_EQ(text, kept);
        EXPECT_EQ(text.capacity(), std::bit_ceil(rest + 1));
        EXPECT_EQ(made[kAllocate], 1);
        EXPECT_EQ(made[kDeallocate], 1);
    }
}

TEST_F(StringStripLeading, LeavesOtherSharersUnchanged) {
    const Wide sharer(L"xabc");
    Wide text = sharer;
    Vq::stripLeadingChars(text, L'x');
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(sharer, L"xabc");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringStripLeading, LeavesTheTextAsItWasWhenMemoryRunsOut) {
    Wide text(L"xabc");
    const wchar_t* const characters = text.c_str();
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, L"xabc");
        EXPECT_EQ(text.c_str(), characters);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { Vq::stripLeadingChars(text, L'x'); }, standsAsBefore),
              1);
    EXPECT_EQ(text, L"abc");
}

// --- isEssentiallyEmpty

TEST_F(StringEssentiallyEmpty, IsTrueOfSpacesAndNothingElse) {
    EXPECT_TRUE(isEssentiallyEmpty(Narrow()));
    EXPECT_TRUE(isEssentiallyEmpty(Narrow("")));
    EXPECT_TRUE(isEssentiallyEmpty(Narrow(" ")));
    EXPECT_TRUE(isEssentiallyEmpty(Narrow("     ")));
    for (const std::string_view text :
         {"\t"sv, "\n"sv, "a"sv, " a"sv, "a "sv, "  \t  "sv, "\xA0"sv, "\0"sv, " \0 "sv}) {
        EXPECT_FALSE(isEssentiallyEmpty(Narrow(text))) << text;
    }
}

TEST_F(StringEssentiallyEmpty, AsksThePlatformForNothing) {
    const Narrow blank("   ");
    EXPECT_EQ(countsOf([&] { isEssentiallyEmpty(blank); }).total(), 0);
}

// --- endsWith

TEST_F(StringEndsWith, ComparesTheLastCharacterAsItIs) {
    const Wide text(L"abC");
    EXPECT_TRUE(Vq::endsWith(text, L'C', true));
    EXPECT_FALSE(Vq::endsWith(text, L'c', true));
    EXPECT_FALSE(Vq::endsWith(text, L'b', true));
    EXPECT_TRUE(Vq::endsWith(Wide(L"a\0"sv), L'\0', true));
    EXPECT_FALSE(Vq::endsWith(text, L'\0', true));
}

TEST_F(StringEndsWith, IsFalseOfTheEmptyString) {
    for (const bool caseSensitive : {false, true}) {
        EXPECT_FALSE(Vq::endsWith(Wide(), L'c', caseSensitive));
        EXPECT_FALSE(Vq::endsWith(Wide(), L'\0', caseSensitive));
    }
}

TEST_F(StringEndsWith, WithoutCaseComparesTheCapitalsOfTheLocale) {
    EXPECT_TRUE(Vq::endsWith(Wide(L"abC"), L'c', false));
    EXPECT_TRUE(Vq::endsWith(Wide(L"abc"), L'C', false));
    EXPECT_FALSE(Vq::endsWith(Wide(L"abC"), L'b', false));
    {
        const ScopedLocale locale(LC_CTYPE, "C");
        EXPECT_FALSE(Vq::endsWith(Wide(L"\u00E9"), L'\u00C9', false));
    }
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    EXPECT_TRUE(Vq::endsWith(Wide(L"\u00E9"), L'\u00C9', false));
    // The capital of the long s is S; the kelvin sign is a capital itself, and not K.
    EXPECT_TRUE(Vq::endsWith(Wide(L"\u017F"), L's', false));
    EXPECT_FALSE(Vq::endsWith(Wide(L"\u212A"), L'k', false));
}

TEST_F(StringEndsWith, AgreesWithTowupperOnEveryPairOfLatinAndGreekLetters) {
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    int wrong = 0;
    for (wchar_t last = 1; last < 0x400; ++last) {
        const Wide text(&last, 1);
        for (wchar_t c = 1; c < 0x400; ++c) {
            const bool expected =
                std::towupper(static_cast<wint_t>(last)) == std::towupper(static_cast<wint_t>(c));
            if (Vq::endsWith(text, c, false) != expected) ++wrong;
            if (Vq::endsWith(text, c, true) != (last == c)) ++wrong;
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(StringEndsWith, AsksThePlatformForNothing) {
    const Wide text(L"abC");
    EXPECT_EQ(countsOf([&] { Vq::endsWith(text, L'c', false); }).total(), 0);
}

} // namespace
