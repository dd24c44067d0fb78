// Joining. The other parts of Vq/String.h have tests of their own: StringConversionTest,
// StringCaseTest, StringTrimTest, StringSubstituteTest, StringNumberTest, StringLocaleTest and
// StringParseTest.
#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"

#include <bit>
#include <string>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringNarrowJoin : public ScriptedTest {};
class StringWideJoin : public ScriptedTest {};

// --- const char* + narrow string

TEST_F(StringNarrowJoin, PutsTheArrayInFrontOfTheString) {
    const Narrow right("cd");
    const Narrow joined = "ab" + right;
    EXPECT_EQ(joined, "abcd");
    EXPECT_EQ(right, "cd");
    EXPECT_EQ(right.useCount(), 1u);
}

TEST_F(StringNarrowJoin, NullOrEmptyArrayGivesACopyInABlockOfItsOwn) {
    for (const char* const left : {static_cast<const char*>(nullptr), ""}) {
        const Narrow right("abc");
        const Narrow sharer = right;
        Narrow joined;
        const Counts made = countsOf([&] { joined = left + right; });
        EXPECT_EQ(joined, "abc");
        EXPECT_EQ(joined.capacity(), 4u);
        EXPECT_EQ(joined.useCount(), 1u);
        EXPECT_NE(joined.c_str(), right.c_str());
        EXPECT_EQ(right.useCount(), 2u);
        EXPECT_EQ(made[kAllocate], 1);
    }
}

TEST_F(StringNarrowJoin, OfNothingAndNothingIsTheEmptyStringAndAsksForNothing) {
    for (const char* const left : {static_cast<const char*>(nullptr), ""}) {
        const Narrow right;
        const Counts made = countsOf([&] {
            const Narrow joined = left + right;
            EXPECT_TRUE(joined.empty());
            EXPECT_EQ(joined.capacity(), 0u);
        });
        EXPECT_EQ(made.total(), 0) << made;
    }
}

TEST_F(StringNarrowJoin, WithAnEmptyStringIsTheArray) {
    const Narrow joined = "abcd" + Narrow();
    EXPECT_EQ(joined, "abcd");
    EXPECT_EQ(joined.capacity(), 8u);
}

TEST_F(StringNarrowJoin, AppendsInPlaceWhileTheLengthIsBelowTheCapacityOfTheArraysCopy) {
    const Narrow fitting("efg");
    Narrow joined;
    Counts made = countsOf([&] { joined = "abcd" + fitting; });
    EXPECT_EQ(joined, "abcdefg");
    EXPECT_EQ(joined.capacity(), 8u);
    EXPECT_EQ(made[kAllocate], 1);

    const Narrow tooLong("efgh");
    joined = Narrow();
    made = countsOf([&] { joined = "abcd" + tooLong; });
    EXPECT_EQ(joined, "abcdefgh");
    EXPECT_EQ(joined.capacity(), 16u);
    EXPECT_EQ(made[kAllocate], 2);
    EXPECT_EQ(made[kDeallocate], 1);
}

TEST_F(StringNarrowJoin, KeepsAllCharactersOfTheString) {
    EXPECT_EQ("ab" + Narrow("c\0d\xFF"sv), "abc\0d\xFF"sv);
    EXPECT_EQ("" + Narrow("\0"sv), "\0"sv);
}

TEST_F(StringNarrowJoin, MayBeAssignedToItsOwnOperand) {
    Narrow text("abc");
    text = text.c_str() + text;
    EXPECT_EQ(text, "abcabc");
}

TEST_F(StringNarrowJoin, LeavesTheStringAloneWhenMemoryRunsOut) {
    const Narrow right("a text that is longer");
    Narrow joined;
    const int failures = forEachFailingAllocation([&] { joined = "abcd" + right; },
                                                  [&] {
                                                      EXPECT_EQ(right, "a text that is longer");
                                                      EXPECT_EQ(right.useCount(), 1u);
                                                      EXPECT_TRUE(joined.empty());
                                                  });
    EXPECT_EQ(failures, 2);
    EXPECT_EQ(joined, "abcda text that is longer");
}

// --- const wchar_t* + wide string

TEST_F(StringWideJoin, PutsTheArrayInFrontOfTheStringInOneAllocation) {
    const Wide right(L"cd");
    Wide joined;
    const Counts made = countsOf([&] { joined = L"ab" + right; });
    EXPECT_EQ(joined, L"abcd");
    EXPECT_EQ(joined.capacity(), 8u);
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 0);
    EXPECT_EQ(platform().memory()->requestedBytes(), sizeof(Wide::Impl) + 8 * sizeof(wchar_t));
}

TEST_F(StringWideJoin, HasTheSmallestPowerOfTwoAboveItsLengthAsCapacity) {
    for (unsigned leftLength = 0; leftLength <= 17; ++leftLength) {
        for (unsigned rightLength = 0; rightLength <= 17; ++rightLength) {
            const unsigned total = leftLength + rightLength;
            if (total == 0) continue;
            const std::wstring left(leftLength, L'l');
            const Wide right{std::wstring_view(std::wstring(rightLength, L'r'))};
            Wide joined;
            const Counts made = countsOf([&] { joined = left.c_str() + right; });
            EXPECT_EQ(joined, left + std::wstring(rightLength, L'r'));
            EXPECT_EQ(joined.capacity(), std::bit_ceil(total + 1)) << total;
            EXPECT_EQ(made[kAllocate], 1) << total;
        }
    }
}

TEST_F(StringWideJoin, OfNothingAndNothingIsTheEmptyStringAndAsksForNothing) {
    const Wide right;
    const Counts made = countsOf([&] {
        const Wide joined = L"" + right;
        EXPECT_TRUE(joined.empty());
        EXPECT_EQ(joined.capacity(), 0u);
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(StringWideJoin, NeverSharesWithTheString) {
    const Wide right(L"abc");
    const Wide sharer = right;
    const Wide joined = L"" + right;
    EXPECT_EQ(joined, L"abc");
    EXPECT_NE(joined.c_str(), right.c_str());
    EXPECT_EQ(joined.useCount(), 1u);
    EXPECT_EQ(right.useCount(), 2u);
}

TEST_F(StringWideJoin, KeepsAllCharactersOfTheString) {
    EXPECT_EQ(L"ab" + Wide(L"c\0d"sv), L"abc\0d"sv);
}

TEST_F(StringWideJoin, MayBeAssignedToItsOwnOperand) {
    Wide text(L"abc");
    text = text.c_str() + text;
    EXPECT_EQ(text, L"abcabc");
}

TEST_F(StringWideJoin, LeavesTheStringAloneWhenMemoryRunsOut) {
    const Wide right(L"right");
    Wide joined;
    const int failures = forEachFailingAllocation([&] { joined = L"left" + right; },
                                                  [&] {
                                                      EXPECT_EQ(right, L"right");
                                                      EXPECT_EQ(right.useCount(), 1u);
                                                      EXPECT_TRUE(joined.empty());
                                                  });
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(joined, L"leftright");
}

} // namespace
