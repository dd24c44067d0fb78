#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"

#include <cctype>
#include <cwctype>
#include <limits>
#include <string>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringNarrowCase : public ScriptedTest {};
class StringWideCase : public ScriptedTest {};

/// The four conversions in one shape, so that the sharing rules are asked of each.
struct NarrowUpper {
    using String = Narrow;
    static String before() { return String("aBc\0d"sv); }
    static String after() { return String("ABC\0D"sv); }
    static void change(String& s) { toUpper(s); }
    static String changed(const String& s) { return toUpper(s); }
};
struct NarrowLower {
    using String = Narrow;
    static String before() { return String("aBc\0D"sv); }
    static String after() { return String("abc\0d"sv); }
    static void change(String& s) { toLower(s); }
    static String changed(const String& s) { return toLower(s); }
};
struct WideUpper {
    using String = Wide;
    static String before() { return String(L"aBc\0d"sv); }
    static String after() { return String(L"ABC\0D"sv); }
    static void change(String& s) { Vq::toUpper(s); }
    static String changed(const String& s) { return Vq::toUpper(s); }
};
struct WideLower {
    using String = Wide;
    static String before() { return String(L"aBc\0D"sv); }
    static String after() { return String(L"abc\0d"sv); }
    static void change(String& s) { Vq::toLower(s); }
    static String changed(const String& s) { return Vq::toLower(s); }
};

template <class Conversion> class StringCase : public ScriptedTest {};
using Conversions = ::testing::Types<NarrowUpper, NarrowLower, WideUpper, WideLower>;
TYPED_TEST_SUITE(StringCase, Conversions);

TYPED_TEST(StringCase, ChangesEveryCharacterAlsoBehindAZero) {
    auto text = TypeParam::before();
    TypeParam::change(text);
    EXPECT_EQ(text, TypeParam::after());
    EXPECT_EQ(TypeParam::changed(TypeParam::before()), TypeParam::after());
}

TYPED_TEST(StringCase, OfTheOnlyOwnerIsDoneInPlace) {
    auto text = TypeParam::before();
    const auto* const characters = text.c_str();
    const unsigned capacity = text.capacity();
    const Counts made = countsOf([&] { TypeParam::change(text); });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text.c_str(), characters);
    EXPECT_EQ(text.capacity(), capacity);
}

TYPED_TEST(StringCase, OfASharedTextLeavesTheOthersAlone) {
    const auto sharer = TypeParam::before();
    auto text = sharer;
    const Counts made = countsOf([&] { TypeParam::change(text); });
    EXPECT_EQ(text, TypeParam::after());
    EXPECT_EQ(sharer, TypeParam::before());
    EXPECT_EQ(sharer.useCount(), 1u);
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(text.capacity(), 8u);
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made[kAtomicDecrement], 1);
}

TYPED_TEST(StringCase, OfASharedTextMakesAPrivateCopyEvenWhenNoCharacterChanges) {
    const auto sharer = TypeParam::after();
    auto text = sharer;
    TypeParam::change(text);
    EXPECT_EQ(text, sharer);
    EXPECT_NE(text.c_str(), sharer.c_str());
}

TYPED_TEST(StringCase, OfTheEmptyStringDoesNothing) {
    typename TypeParam::String text;
    const Counts made = countsOf([&] {
        TypeParam::change(text);
        EXPECT_TRUE(TypeParam::changed(text).empty());
    });
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(made.total(), 0) << made;
}

TYPED_TEST(StringCase, CopyLeavesItsArgumentAlone) {
    const auto text = TypeParam::before();
    const auto sharer = text;
    const auto* const characters = text.c_str();
    typename TypeParam::String result;
    const Counts made = countsOf([&] { result = TypeParam::changed(text); });
    EXPECT_EQ(result, TypeParam::after());
    EXPECT_EQ(result.useCount(), 1u);
    EXPECT_EQ(result.capacity(), 8u);
    EXPECT_EQ(text, TypeParam::before());
    EXPECT_EQ(text.c_str(), characters);
    EXPECT_EQ(text.useCount(), 2u);
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 0);
}

TYPED_TEST(StringCase, CopyMayReplaceItsArgument) {
    auto text = TypeParam::before();
    text = TypeParam::changed(text);
    EXPECT_EQ(text, TypeParam::after());
    EXPECT_EQ(text.useCount(), 1u);
}

TYPED_TEST(StringCase, LeavesEverythingAsItWasWhenMemoryRunsOut) {
    const auto sharer = TypeParam::before();
    auto text = sharer;
    typename TypeParam::String result;
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, TypeParam::before());
        EXPECT_EQ(text.c_str(), sharer.c_str());
        EXPECT_EQ(text.useCount(), 2u);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { result = TypeParam::changed(text); }, standsAsBefore),
              1);
    EXPECT_EQ(forEachFailingAllocation([&] { TypeParam::change(text); }, standsAsBefore), 1);
    EXPECT_EQ(sharer, TypeParam::before());
}

// --- Narrow: libc's tables

Narrow allBytes() {
    std::string bytes;
    for (int byte = 0; byte <= 0xFF; ++byte) bytes.push_back(static_cast<char>(byte));
    return Narrow(std::string_view(bytes));
}

void expectTheTablesOfTheLocale() {
    const Narrow bytes = allBytes();
    const Narrow upper = toUpper(bytes);
    const Narrow lower = toLower(bytes);
    ASSERT_EQ(upper.length(), 256u);
    ASSERT_EQ(lower.length(), 256u);
    // As a signed character 0xFF is -1, the end of file, which has no case in any locale.
    for (unsigned byte = 0; byte < 0xFF; ++byte) {
        const int value = static_cast<int>(byte);
        EXPECT_EQ(upper[byte], static_cast<char>(std::toupper(value))) << byte;
        EXPECT_EQ(lower[byte], static_cast<char>(std::tolower(value))) << byte;
    }
    EXPECT_EQ(upper[0xFF], '\xFF');
    EXPECT_EQ(lower[0xFF], '\xFF');
}

TEST_F(StringNarrowCase, FollowsTheTablesOfTheCLocale) {
    const ScopedLocale locale(LC_CTYPE, "C");
    expectTheTablesOfTheLocale();
}

TEST_F(StringNarrowCase, FollowsTheTablesOfTheUnicodeLocale) {
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    expectTheTablesOfTheLocale();
    EXPECT_EQ(toUpper(Narrow("stra\xC3\x9F"
                             "e \xC3\xA9")),
              "STRA\xC3\x9F"
              "E \xC3\xA9");
}

TEST_F(StringNarrowCase, FollowsTheTablesOfALocaleThatHasLettersAbove127) {
    const ScopedLocale locale(LC_CTYPE, kTestLocale);
    expectTheTablesOfTheLocale();
    EXPECT_EQ(toUpper(Narrow("\xE9\xE0x\xF7\xFF")), "\xC9\xC0X\xF7\xFF");
    EXPECT_EQ(toLower(Narrow("\xC9\xC0X\xD7\xBE")), "\xE9\xE0x\xD7\xFF");
}

// --- Wide: towupper and towlower

/// Every code point, and values that are none.
Wide allCharacters() {
    constexpr int kCodePoints = 0x110000;
    std::wstring characters;
    for (int c = 0; c < kCodePoints; ++c) characters.push_back(static_cast<wchar_t>(c));
    characters += {-1, std::numeric_limits<wchar_t>::min(), std::numeric_limits<wchar_t>::max()};
    return Wide(std::wstring_view(characters));
}

/// The index of the first character that differs, or the length.
template <class Mapping> unsigned firstDifference(const Wide& from, const Wide& to, Mapping map) {
    unsigned i = 0;
    while (i < from.length() && to[i] == static_cast<wchar_t>(map(static_cast<wint_t>(from[i])))) {
        ++i;
    }
    return i;
}

void expectTheMappingsOfTheLocale() {
    const Wide characters = allCharacters();
    const Wide upper = Vq::toUpper(characters);
    const Wide lower = Vq::toLower(characters);
    ASSERT_EQ(upper.length(), characters.length());
    ASSERT_EQ(lower.length(), characters.length());
    EXPECT_EQ(firstDifference(characters, upper, std::towupper), characters.length());
    EXPECT_EQ(firstDifference(characters, lower, std::towlower), characters.length());
}

TEST_F(StringWideCase, FollowsTheCLocale) {
    const ScopedLocale locale(LC_CTYPE, "C");
    expectTheMappingsOfTheLocale();
    EXPECT_EQ(Vq::toUpper(Wide(L"a\u00E9")), L"A\u00E9");
}

TEST_F(StringWideCase, FollowsTheUnicodeLocale) {
    const ScopedLocale locale(LC_CTYPE, kUnicodeLocale);
    expectTheMappingsOfTheLocale();
    EXPECT_EQ(Vq::toUpper(Wide(L"a\u00E9\u044F\u00DF\U00010428")),
              L"A\u00C9\u042F\u00DF\U00010400");
    EXPECT_EQ(Vq::toLower(Wide(L"A\u00C9\u042F\U00010400")), L"a\u00E9\u044F\U00010428");
}

TEST_F(StringWideCase, FollowsALocaleOfFewLetters) {
    const ScopedLocale locale(LC_CTYPE, kTestLocale);
    expectTheMappingsOfTheLocale();
    EXPECT_EQ(Vq::toUpper(Wide(L"\u00E9\u044F")), L"\u00C9\u044F");
}

} // namespace
