// Numbers to text, in the "C" numeric locale. Other locales: StringLocaleTest.
#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cwchar>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringInteger : public ScriptedTest {};
class StringFloat : public ScriptedTest {};
class StringWideFloat : public ScriptedTest {};

/// What libc's `snprintf` makes of `value`, as much of it as a buffer of `size` takes.
template <class T> std::string libcText(const char* format, T value, std::size_t size = 512) {
    std::vector<char> buffer(size);
    std::snprintf(buffer.data(), size, format, value);
    return buffer.data();
}

template <class Integer> std::vector<Integer> integers() {
    using Limits = std::numeric_limits<Integer>;
    std::vector<Integer> values = {0, 1, 9, 10, 99, 100, Limits::max(), Limits::min()};
    for (Integer power = 1; power <= Limits::max() / 10; power = static_cast<Integer>(power * 10)) {
        values.insert(values.end(), {power, power - 1, power + 1, Integer(0) - power});
    }
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        values.push_back(static_cast<Integer>(random() >> (random() % 64)));
    }
    return values;
}

/// Ordinary values, the ends of the range, and what is no number.
std::vector<double> doubles() {
    std::vector<double> values = {0.0,
                                  1.0,
                                  1.5,
                                  2.5,
                                  100.0,
                                  0.1,
                                  0.5,
                                  1e-6,
                                  4.999999e-7,
                                  5e-7,
                                  0.0000005,
                                  1.0000005,
                                  999999.5,
                                  0.9999995,
                                  1e15,
                                  1e16,
                                  1e17,
                                  123456789.123456789,
                                  DBL_MAX,
                                  DBL_MIN,
                                  DBL_EPSILON,
                                  std::numeric_limits<double>::denorm_min(),
                                  std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  std::nextafter(1.0, 2.0),
                                  std::nextafter(1.0, 0.0)};
    std::mt19937_64 random(11);
    for (int i = 0; i < 300; ++i) values.push_back(std::bit_cast<double>(random()));
    for (int i = 0; i < 300; ++i) values.push_back(static_cast<double>(random() % 100000) / 1000.0);
    const std::vector<double> positive = values;
    for (const double value : positive) values.push_back(-value);
    return values;
}

// --- Integers

TEST_F(StringInteger, AppendsTheDecimalTextOfASignedNumber) {
    for (const int n : integers<int>()) {
        Narrow text("n=");
        text += n;
        ASSERT_EQ(text, "n=" + libcText("%d", n));
        ASSERT_EQ(StringFromInteger(n), libcText("%d", n));
    }
    Narrow least;
    least += INT_MIN;
    EXPECT_EQ(least, "-2147483648");
}

TEST_F(StringInteger, AppendsTheDecimalTextOfAnUnsignedNumber) {
    for (const unsigned n : integers<unsigned>()) {
        Narrow text("n=");
        text += n;
        ASSERT_EQ(text, "n=" + libcText("%u", n));
    }
    Narrow largest;
    largest += UINT_MAX;
    EXPECT_EQ(largest, "4294967295");
}

TEST_F(StringInteger, BecomesTheSameWideTextAsLibcMakes) {
    for (const long n : integers<long>()) {
        wchar_t expected[32];
        std::swprintf(expected, 32, L"%ld", n);
        ASSERT_EQ(Vq::WStringFromInteger(n), expected);
    }
    EXPECT_EQ(Vq::WStringFromInteger(LONG_MIN), L"-9223372036854775808");
}

TEST_F(StringInteger, AppendReturnsItsLeftOperand) {
    Narrow text;
    EXPECT_EQ(&(text += 1), &text);
    EXPECT_EQ(&(text += 2u), &text);
    EXPECT_EQ(text, "12");
}

TEST_F(StringInteger, AppendsInPlaceWithoutAllocationForTheOnlyOwnerWithRoom) {
    Narrow text("abcd");
    const char* const characters = text.c_str();
    const Counts made = countsOf([&] {
        text += -1;
        text += 2u;
    });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text, "abcd-12");
    EXPECT_EQ(text.c_str(), characters);
}

TEST_F(StringInteger, AppendGrowsToTheNextPowerOfTwo) {
    Narrow text("abcd");
    const Counts made = countsOf([&] { text += 1234; });
    EXPECT_EQ(text, "abcd1234");
    EXPECT_EQ(text.capacity(), 16u);
    EXPECT_EQ(made[kAllocate], 1);
}

TEST_F(StringInteger, AppendLeavesOtherSharersUnchanged) {
    const Narrow sharer("abcd");
    Narrow text = sharer;
    text += 1;
    EXPECT_EQ(text, "abcd1");
    EXPECT_EQ(sharer, "abcd");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringInteger, TextIsMadeInOneBlockOfTheSizeItNeeds) {
    Narrow narrow;
    Wide wide;
    const Counts made = countsOf([&] {
        narrow = StringFromInteger(1234);
        wide = Vq::WStringFromInteger(-12345678);
    });
    EXPECT_EQ(made[kAllocate], 2);
    EXPECT_EQ(made[kDeallocate], 0);
    EXPECT_EQ(narrow.capacity(), 8u);
    EXPECT_EQ(wide.capacity(), 16u);
    EXPECT_EQ(narrow.useCount(), 1u);
    EXPECT_EQ(wide.useCount(), 1u);
}

TEST_F(StringInteger, LeavesTheTextAsItWasWhenMemoryRunsOut) {
    const Narrow sharer("abcd");
    Narrow text = sharer;
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, "abcd");
        EXPECT_EQ(text.useCount(), 2u);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { text += 1; }, standsAsBefore), 1);
    text = sharer;
    EXPECT_EQ(forEachFailingAllocation([&] { text += 1u; }, standsAsBefore), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { StringFromInteger(1); }, [] {}), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { Vq::WStringFromInteger(1); }, [] {}), 1);
}

// --- Doubles with six decimals

TEST_F(StringFloat, AppendsWhatLibcWrites) {
    for (const double d : doubles()) {
        Narrow text("d=");
        text += d;
        ASSERT_EQ(text, "d=" + libcText("%f", d));
        ASSERT_EQ(StringFromFloat(d), libcText("%f", d));
    }
}

TEST_F(StringFloat, HasSixDecimals) {
    EXPECT_EQ(StringFromFloat(1.5), "1.500000");
    EXPECT_EQ(StringFromFloat(-0.0), "-0.000000");
    EXPECT_EQ(StringFromFloat(1e-7), "0.000000");
}

TEST_F(StringFloat, AppendsTheLargestValuesWhole) {
    Narrow text;
    text += -DBL_MAX;
    EXPECT_EQ(text.length(), 317u);
    EXPECT_EQ(text, libcText("%f", -DBL_MAX));
    EXPECT_EQ(text.capacity(), 512u);
}

TEST_F(StringFloat, AppendReturnsItsLeftOperand) {
    Narrow text;
    EXPECT_EQ(&(text += 0.5), &text);
}

TEST_F(StringFloat, AppendsInPlaceWithoutAllocationForTheOnlyOwnerWithRoom) {
    Narrow text("0123456789abcdef");
    const char* const characters = text.c_str();
    const Counts made = countsOf([&] { text += 0.5; });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(text, "0123456789abcdef0.500000");
    EXPECT_EQ(text.c_str(), characters);
}

TEST_F(StringFloat, AppendLeavesOtherSharersUnchanged) {
    const Narrow sharer("abcd");
    Narrow text = sharer;
    text += 0.5;
    EXPECT_EQ(text, "abcd0.500000");
    EXPECT_EQ(text.capacity(), 16u);
    EXPECT_EQ(sharer, "abcd");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringFloat, LeavesTheTextAsItWasWhenMemoryRunsOut) {
    const Narrow sharer("abcd");
    Narrow text = sharer;
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text, "abcd");
        EXPECT_EQ(text.useCount(), 2u);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { text += 0.5; }, standsAsBefore), 1);
    EXPECT_EQ(forEachFailingAllocation([&] { StringFromFloat(0.5); }, [] {}), 1);
}

// --- WStringFromFloat

/// The definition, step by step, on what `snprintf` writes into 256 bytes.
std::wstring definition(double d, signed char precision, bool stripZeros) {
    const int decimals = std::clamp<int>(precision, 0, 9);
    const std::string format = "%." + std::to_string(decimals) + "lf";
    const std::string narrow = libcText(format.c_str(), d, 256);
    std::wstring text(narrow.begin(), narrow.end());
    if (stripZeros) {
        const std::size_t last = text.find_last_not_of(L'0');
        if (last != text.npos) text.erase(last + 1);
    }
    if (!text.empty() && text.back() == L'.') text.pop_back();
    return text;
}

TEST_F(StringWideFloat, FollowsItsDefinitionForEveryPrecision) {
    for (const double d : {0.0, -0.0, 1.25, 100.0, 1e300, -DBL_MAX}) {
        for (int precision = SCHAR_MIN; precision <= SCHAR_MAX; ++precision) {
            for (const bool strip : {false, true}) {
                const auto asked = static_cast<signed char>(precision);
                ASSERT_EQ(Vq::WStringFromFloat(d, static_cast<char>(asked), strip),
                          definition(d, asked, strip))
                    << d << ' ' << precision << ' ' << strip;
            }
        }
    }
}

TEST_F(StringWideFloat, FollowsItsDefinitionForManyValues) {
    for (const double d : doubles()) {
        for (signed char precision = -1; precision <= 10; ++precision) {
            for (const bool strip : {false, true}) {
                ASSERT_EQ(Vq::WStringFromFloat(d, static_cast<char>(precision), strip),
                          definition(d, precision, strip))
                    << d << ' ' << int{precision} << ' ' << strip;
            }
        }
    }
}

TEST_F(StringWideFloat, HasThePrecisionAskedForBetween0And9) {
    EXPECT_EQ(Vq::WStringFromFloat(2.5, 3, false), L"2.500");
    EXPECT_EQ(Vq::WStringFromFloat(1.25, 9, false), L"1.250000000");
    EXPECT_EQ(Vq::WStringFromFloat(1.25, 12, false), L"1.250000000");
    EXPECT_EQ(Vq::WStringFromFloat(1.25, SCHAR_MAX, false), L"1.250000000");
    EXPECT_EQ(Vq::WStringFromFloat(7.0, 0, false), L"7");
    EXPECT_EQ(Vq::WStringFromFloat(7.0, -1, false), L"7");
    EXPECT_EQ(Vq::WStringFromFloat(7.0, static_cast<char>(SCHAR_MIN), false), L"7");
}

TEST_F(StringWideFloat, StripsZerosAndThenAPoint) {
    EXPECT_EQ(Vq::WStringFromFloat(2.5, 3, true), L"2.5");
    EXPECT_EQ(Vq::WStringFromFloat(2.0, 3, true), L"2");
    EXPECT_EQ(Vq::WStringFromFloat(3.0, 2, true), L"3");
    EXPECT_EQ(Vq::WStringFromFloat(0.0, 2, true), L"0");
    EXPECT_EQ(Vq::WStringFromFloat(-0.0, 2, true), L"-0");
}

TEST_F(StringWideFloat, StripsZerosInFrontOfThePointToo) {
    EXPECT_EQ(Vq::WStringFromFloat(100.0, 0, true), L"1");
    EXPECT_EQ(Vq::WStringFromFloat(10203.0, 0, true), L"10203");
    EXPECT_EQ(Vq::WStringFromFloat(-0.0, 0, true), L"-");
}

TEST_F(StringWideFloat, KeepsATextOfNothingButZeros) {
    EXPECT_EQ(Vq::WStringFromFloat(0.0, 0, true), L"0");
    EXPECT_EQ(Vq::WStringFromFloat(0.25, 0, true), L"0");
}

TEST_F(StringWideFloat, TakesWhatIsNoNumberFromLibc) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Vq::WStringFromFloat(infinity, 3, true), L"inf");
    EXPECT_EQ(Vq::WStringFromFloat(-infinity, 0, true), L"-inf");
    EXPECT_EQ(Vq::WStringFromFloat(std::numeric_limits<double>::quiet_NaN(), 3, true), L"nan");
}

TEST_F(StringWideFloat, CutsAt255Characters) {
    const Wide text = Vq::WStringFromFloat(DBL_MAX, 9, false);
    EXPECT_EQ(text.length(), 255u);
    const std::string whole = libcText("%f", DBL_MAX);
    EXPECT_EQ(text, std::wstring(whole.begin(), whole.begin() + 255));
}

TEST_F(StringWideFloat, ConvertsOnceAndCutsThatResultInPlace) {
    Wide text;
    const Counts made = countsOf([&] { text = Vq::WStringFromFloat(2.0, 9, true); });
    EXPECT_EQ(text, L"2");
    EXPECT_EQ(text.capacity(), 16u) << "that of 2.000000000";
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(made[kWideFromAscii], 1);
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 0);
}

TEST_F(StringWideFloat, PassesOnThatMemoryRanOut) {
    EXPECT_EQ(forEachFailingAllocation([] { Vq::WStringFromFloat(2.0, 9, true); }, [] {}), 1);
}

} // namespace
