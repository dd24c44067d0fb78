// Text to numbers, and words from streams.
#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"

#include <bit>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace vqtest;
using namespace std::string_literals;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringParse : public ScriptedTest {};
class StringReadWord : public ScriptedTest {};

// --- The definitions, on libc

int definitionOfInt(const std::wstring& text, int dflt) {
    if (text.empty()) return dflt;
    int result = dflt;
    std::swscanf(text.c_str(), L"%d", &result);
    return result;
}

double definitionOfFloat(const std::wstring& text, double dflt) {
    if (text.empty()) return dflt;
    double result = dflt;
    std::swscanf(text.c_str(), L"%lf", &result);
    return result;
}

long definitionOfInt64(const std::wstring& text, long dflt) {
    return text.empty() ? dflt : std::wcstoll(text.c_str(), nullptr, 10);
}

double definitionOfAsDouble(const std::string& text) {
    return text.empty() ? 0.0 : std::strtod(text.c_str(), nullptr);
}

/// Equal to the last bit, so that -0.0 and the kinds of NaN count.
bool same(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

std::vector<std::string> numberLikeTexts() {
    std::vector<std::string> texts = {"",
                                      " ",
                                      "0",
                                      "-0",
                                      "+0",
                                      "7",
                                      "-7",
                                      "+7",
                                      "007",
                                      "12abc",
                                      "abc",
                                      "xyz",
                                      "- 7",
                                      "--7",
                                      "+-7",
                                      "  42",
                                      "\t\n\v\f\r42",
                                      "42 43",
                                      "1,5",
                                      "1.5",
                                      ".5",
                                      "5.",
                                      ".",
                                      "-.5",
                                      "-.",
                                      "1e5",
                                      "1e",
                                      "1e+",
                                      "1e-5x",
                                      "1E5",
                                      "e5",
                                      "0x1F",
                                      "0x",
                                      "0x1p3",
                                      "0x.8p1",
                                      "inf",
                                      "-INF",
                                      "infinity",
                                      "infinit",
                                      "nan",
                                      "NaN",
                                      "nan(12)",
                                      "nan(",
                                      "-nan",
                                      "2147483647",
                                      "2147483648",
                                      "-2147483648",
                                      "-2147483649",
                                      "4294967295",
                                      "4294967296",
                                      "9223372036854775807",
                                      "9223372036854775808",
                                      "-9223372036854775808",
                                      "-9223372036854775809",
                                      "18446744073709551616",
                                      "1e308",
                                      "1e309",
                                      "-1e309",
                                      "4.9e-324",
                                      "1e-400",
                                      "0.1",
                                      "123456789.123456789",
                                      "1_000",
                                      "1'000",
                                      "\xA0"
                                      "5"};
    texts.push_back(std::string(400, '9'));
    texts.push_back("0." + std::string(400, '0') + "1");
    texts.push_back(std::string(2000, ' ') + "5");
    texts.push_back(std::string("5\0"
                                "6",
                                3));
    texts.push_back(std::string("\0"
                                "6",
                                2));
    std::mt19937 random(3);
    constexpr std::string_view kAlphabet = "0123456789+-.,eExXpP \tinfa";
    for (int i = 0; i < 20000; ++i) {
        std::string text(random() % 12, ' ');
        for (char& c : text) c = kAlphabet[random() % kAlphabet.size()];
        texts.push_back(text);
    }
    return texts;
}

void expectTheDefinitions() {
    for (const std::string& text : numberLikeTexts()) {
        std::wstring wideText;
        for (const char c : text) wideText.push_back(static_cast<unsigned char>(c));
        const Narrow narrow{std::string_view(text)};
        const Wide wide{std::wstring_view(wideText)};
        ASSERT_EQ(Vq::IntFromWString(wide, 77), definitionOfInt(wideText, 77)) << text;
        ASSERT_EQ(Vq::Int64FromWString(wide, 77), definitionOfInt64(wideText, 77)) << text;
        ASSERT_TRUE(same(Vq::FloatFromWString(wide, 7.5), definitionOfFloat(wideText, 7.5)))
            << text;
        ASSERT_TRUE(same(asDouble(narrow), definitionOfAsDouble(text))) << text;
    }
}

TEST_F(StringParse, ReadsWhatLibcReads) {
    expectTheDefinitions();
}

TEST_F(StringParse, ReadsWhatLibcReadsInACommaLocale) {
    const ScopedLocale comma(LC_ALL, kTestLocale);
    expectTheDefinitions();
}

TEST_F(StringParse, ReadsWhatLibcReadsInAUnicodeLocale) {
    const ScopedLocale unicode(LC_ALL, kUnicodeLocale);
    expectTheDefinitions();
    for (const wchar_t* const text : {L"\u20035", L"\u00A05", L"\u30005", L"\uFF15", L"\u0665"}) {
        EXPECT_EQ(Vq::IntFromWString(text, 77), definitionOfInt(text, 77));
        EXPECT_EQ(Vq::Int64FromWString(text, 77), definitionOfInt64(text, 77));
        EXPECT_EQ(Vq::FloatFromWString(text, 77), definitionOfFloat(text, 77));
    }
}

TEST_F(StringParse, SkipsLeadingWhiteSpaceAndStopsWhereTheNumberEnds) {
    EXPECT_EQ(Vq::IntFromWString(L" \t\n12abc", 7), 12);
    EXPECT_EQ(Vq::Int64FromWString(L" \t\n12abc", 7), 12);
    EXPECT_EQ(Vq::FloatFromWString(L" \t\n1.25abc", 7), 1.25);
    EXPECT_EQ(asDouble(" \t\n1.25abc"), 1.25);
}

TEST_F(StringParse, GivesTheDefaultForTheEmptyString) {
    EXPECT_EQ(Vq::IntFromWString(Wide(), 7), 7);
    EXPECT_EQ(Vq::Int64FromWString(Wide(), 7), 7);
    EXPECT_EQ(Vq::FloatFromWString(Wide(), 7.5), 7.5);
    EXPECT_EQ(asDouble(Narrow()), 0.0);
}

TEST_F(StringParse, GivesTheDefaultForTextWithoutANumberButZeroAsALongAndAsADouble) {
    EXPECT_EQ(Vq::IntFromWString(L"xyz", 7), 7);
    EXPECT_EQ(Vq::FloatFromWString(L"xyz", 7.5), 7.5);
    EXPECT_EQ(Vq::Int64FromWString(L"xyz", 7), 0);
    EXPECT_TRUE(same(asDouble("xyz"), 0.0));
}

TEST_F(StringParse, OfALongStaysWithinItsRange) {
    EXPECT_EQ(Vq::Int64FromWString(L"9223372036854775808", 7), LONG_MAX);
    EXPECT_EQ(Vq::Int64FromWString(L"-9223372036854775809", 7), LONG_MIN);
}

TEST_F(StringParse, EndsAtAZeroCharacter) {
    EXPECT_EQ(Vq::IntFromWString(Wide(L"1\0002"sv), 7), 1);
    EXPECT_EQ(Vq::IntFromWString(Wide(L"\0002"sv), 7), 7);
    EXPECT_EQ(asDouble(Narrow("1\0002"sv)), 1.0);
}

TEST_F(StringParse, AsksThePlatformForNothing) {
    const Wide wide(L"12");
    const Narrow narrow("12");
    const Counts made = countsOf([&] {
        Vq::IntFromWString(wide, 7);
        Vq::Int64FromWString(wide, 7);
        Vq::FloatFromWString(wide, 7);
        asDouble(narrow);
    });
    EXPECT_EQ(made.total(), 0) << made;
}

// --- operator>>

TEST_F(StringReadWord, TakesTheFirstWordAndItsSpaceOnly) {
    std::istringstream in("first second");
    Narrow word;
    EXPECT_EQ(&(in >> word), &in);
    EXPECT_EQ(word, "first");
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.tellg(), 6);
    EXPECT_EQ(in.peek(), 's');
}

TEST_F(StringReadWord, AtWhiteSpaceTakesThatOneCharacterAndAppendsNothing) {
    std::istringstream in("  word");
    const Narrow sharer("kept");
    Narrow word = sharer;
    in >> word;
    EXPECT_EQ(word, "kept");
    EXPECT_EQ(word.c_str(), sharer.c_str());
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.tellg(), 1);
}

TEST_F(StringReadWord, DoesNotSkipLeadingWhiteSpaceWhateverTheStreamSays) {
    std::istringstream in(" word");
    Narrow word;
    in >> std::skipws >> word;
    EXPECT_TRUE(word.empty());
}

void expectWordsToEndAtWhiteSpaceOfTheCLocale() {
    for (int byte = 0; byte <= 0xFF; ++byte) {
        const char c = static_cast<char>(byte);
        std::istringstream in(std::string("a") + c + "b");
        Narrow word;
        in >> word;
        if (" \t\n\v\f\r"sv.find(c) != std::string_view::npos) {
            EXPECT_EQ(word, "a") << byte;
            EXPECT_EQ(in.peek(), 'b') << byte;
        } else if (c == '\0') {
            EXPECT_EQ(word, "ab");
        } else {
            EXPECT_EQ(word, std::string("a") + c + "b") << byte;
        }
    }
}

TEST_F(StringReadWord, EndsAtTheSixWhiteSpaceCharactersAndNoOther) {
    expectWordsToEndAtWhiteSpaceOfTheCLocale();
}

TEST_F(StringReadWord, EndsAtTheSameCharactersInALocaleWithMoreWhiteSpace) {
    const ScopedLocale locale(LC_ALL, kTestLocale);
    ASSERT_TRUE(std::isspace(0xA0));
    expectWordsToEndAtWhiteSpaceOfTheCLocale();
}

TEST_F(StringReadWord, SkipsZeroBytes) {
    std::istringstream in("\0a\0\0b\0 c"s);
    Narrow word;
    in >> word;
    EXPECT_EQ(word, "ab");
    EXPECT_EQ(in.peek(), 'c');
}

TEST_F(StringReadWord, OfZeroBytesOnlyLeavesTheStringAlone) {
    std::istringstream in("\0\0 x"s);
    const Narrow sharer("kept");
    Narrow word = sharer;
    in >> word;
    EXPECT_EQ(word.c_str(), sharer.c_str());
    EXPECT_EQ(in.peek(), 'x');
}

TEST_F(StringReadWord, TakesEveryByteAbove127) {
    std::istringstream in("\xFF\x80\xC3\xA9 x");
    Narrow word;
    in >> word;
    EXPECT_EQ(word, "\xFF\x80\xC3\xA9");
}

TEST_F(StringReadWord, AtTheEndOfTheStreamSetsTheFlagsThatGetSets) {
    std::istringstream in("last");
    Narrow word;
    in >> word;
    EXPECT_EQ(word, "last");
    EXPECT_TRUE(in.eof());
    EXPECT_TRUE(in.fail());
    EXPECT_FALSE(in.bad());
    in >> word;
    EXPECT_EQ(word, "last");
}

TEST_F(StringReadWord, BeforeWhiteSpaceAtTheEndLeavesTheStreamGood) {
    std::istringstream in("last\n");
    Narrow word;
    in >> word;
    EXPECT_EQ(word, "last");
    EXPECT_TRUE(in.good());
    in >> word;
    EXPECT_EQ(word, "last");
    EXPECT_TRUE(in.eof());
}

TEST_F(StringReadWord, OfAFailedStreamTakesNothing) {
    std::istringstream in("word");
    in.setstate(std::ios::failbit);
    Narrow word("kept");
    in >> word;
    EXPECT_EQ(word, "kept");
    in.clear();
    EXPECT_EQ(in.peek(), 'w');
}

TEST_F(StringReadWord, AppendsToWhatTheStringHolds) {
    std::istringstream in("one two three");
    Narrow words;
    in >> words >> words >> words;
    EXPECT_EQ(words, "onetwothree");
}

TEST_F(StringReadWord, HasNoWidthLimit) {
    const std::string longWord(100000, 'w');
    std::istringstream in(longWord + " x");
    Narrow word;
    in >> std::setw(3) >> word;
    EXPECT_EQ(word, longWord);
}

TEST_F(StringReadWord, AppendsInPlaceForTheOnlyOwnerWithRoom) {
    std::istringstream in("efg x");
    Narrow word("abcd");
    const char* const characters = word.c_str();
    const Counts made = countsOf([&] { in >> word; });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(word, "abcdefg");
    EXPECT_EQ(word.c_str(), characters);
}

TEST_F(StringReadWord, LeavesOtherSharersUnchanged) {
    std::istringstream in("efgh x");
    const Narrow sharer("abcd");
    Narrow word = sharer;
    in >> word;
    EXPECT_EQ(word, "abcdefgh");
    EXPECT_EQ(word.capacity(), 16u);
    EXPECT_EQ(sharer, "abcd");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringReadWord, LeavesTheTextAsItWasWhenMemoryRunsOut) {
    std::istringstream in("word-of-several-blocks");
    for (const char* const before : {"", "abcd"}) {
        Narrow text(before);
        const auto read = [&] {
            in.clear();
            in.seekg(0);
            in >> text;
        };
        EXPECT_GE(forEachFailingAllocation(read, [&] { EXPECT_EQ(text, before); }), 2);
        EXPECT_EQ(text, before + "word-of-several-blocks"s);
    }
}

TEST_F(StringReadWord, LeavesASharedTextAsItWasWhenMemoryRunsOut) {
    const Narrow sharer("abcd");
    for (const int failing : {1, 2}) {
        std::istringstream in("word-of-several-blocks");
        Narrow text = sharer;
        platform().calls().fail(kAllocate, failing);
        EXPECT_THROW(in >> text, std::bad_alloc);
        EXPECT_EQ(text, "abcd");
        EXPECT_EQ(sharer, "abcd");
    }
}

TEST_F(StringReadWord, KeepsTheWordWhenTheStreamThrowsAtItsEnd) {
    std::istringstream in("last");
    in.exceptions(std::ios::eofbit);
    Narrow word;
    EXPECT_THROW(in >> word, std::ios::failure);
    EXPECT_EQ(word, "last");
}

} // namespace
