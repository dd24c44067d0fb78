// Text carried between the two character widths.
#include "Vq/String.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"

#include <algorithm>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

class StringNarrowingAppend : public ScriptedTest {};
class StringWideningAppend : public ScriptedTest {};
class StringConversion : public ScriptedTest {};

long countOf(const RecordedCalls& calls, Call kind) {
    return std::count_if(calls.begin(), calls.end(),
                         [kind](const RecordedCall& made) { return made.call == kind; });
}

/// "zß水🎬": characters of one, two, three and four bytes.
constexpr char kBytes[] = "z\xC3\x9F\xE6\xB0\xB4\xF0\x9F\x8E\xAC";
constexpr wchar_t kCharacters[] = L"z\u00DF\u6C34\U0001F3AC";

// --- narrow += wide

TEST_F(StringNarrowingAppend, GrowsByTheUtf8BytesOfEachCharacter) {
    unsigned bytes = 1;
    for (const wchar_t character : std::wstring_view(kCharacters)) {
        Narrow text("x");
        const wchar_t array[] = {character, 0};
        text += Wide(array);
        EXPECT_EQ(text.length(), 1 + bytes);
        ++bytes;
    }
    Narrow text("x");
    text += Wide(kCharacters);
    EXPECT_EQ(text, std::string("x") + kBytes);
}

TEST_F(StringNarrowingAppend, ReturnsItsLeftOperand) {
    Narrow text("x");
    const Wide wide(L"y");
    EXPECT_EQ(&(text += wide), &text);
    EXPECT_EQ(&(text += Wide()), &text);
}

TEST_F(StringNarrowingAppend, AsksThePlatformOnceForTheWholeString) {
    Narrow text("abcd");
    const Wide wide(L"e\0f"sv);
    const RecordedCalls calls = callsOf([&] { text += wide; });
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls[0], (RecordedCall{kToUTF8, wide.c_str(), 3}));
    EXPECT_EQ(countOf(calls, kToUTF8), 1);
}

TEST_F(StringNarrowingAppend, StopsAtTheFirstZeroByte) {
    Narrow text("x");
    text += Wide(L"ab\0cd"sv);
    EXPECT_EQ(text, "xab");
}

TEST_F(StringNarrowingAppend, OfTextThatStartsWithAZeroChangesNothing) {
    const Narrow sharer("x");
    Narrow text = sharer;
    text += Wide(L"\0ab"sv);
    EXPECT_EQ(text, "x");
    EXPECT_EQ(text.c_str(), sharer.c_str());
    EXPECT_EQ(text.useCount(), 2u);
}

TEST_F(StringNarrowingAppend, OfTheEmptyStringAsksThePlatformAndChangesNothing) {
    const Narrow sharer("x");
    Narrow text = sharer;
    const Counts made = countsOf([&] { text += Wide(); });
    EXPECT_EQ(made[kToUTF8], 1);
    EXPECT_EQ(made.total(), 1) << made;
    EXPECT_EQ(text.c_str(), sharer.c_str());
    EXPECT_EQ(text.useCount(), 2u);
}

TEST_F(StringNarrowingAppend, WritesInPlaceForTheOnlyOwnerWithRoom) {
    Narrow text("abcd");
    const char* const before = text.c_str();
    const Wide wide(L"e\u00DF");
    const Counts made = countsOf([&] { text += wide; });
    EXPECT_EQ(text, "abcde\xC3\x9F");
    EXPECT_EQ(text.c_str(), before);
    EXPECT_EQ(text.capacity(), 8u);
    EXPECT_EQ(made[kAllocate], 1) << "the conversion's own";
    EXPECT_EQ(made[kDeallocate], 1);
}

TEST_F(StringNarrowingAppend, MovesToALargerBlockWithoutRoom) {
    Narrow text("abcd");
    text += Wide(L"ef\u00DF");
    EXPECT_EQ(text, "abcdef\xC3\x9F");
    EXPECT_EQ(text.capacity(), 16u);
}

TEST_F(StringNarrowingAppend, LeavesOtherSharersUnchanged) {
    const Narrow sharer("abcd");
    Narrow text = sharer;
    text += Wide(L"e");
    EXPECT_EQ(text, "abcde");
    EXPECT_EQ(sharer, "abcd");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringNarrowingAppend, ToTheEmptyStringMakesABlockForWhatIsAppended) {
    Narrow text;
    text += Wide(L"ab\0cde"sv);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(text.capacity(), 4u);
    EXPECT_EQ(text.useCount(), 1u);
}

TEST_F(StringNarrowingAppend, TakesItsOwnWideForm) {
    Narrow text(kBytes);
    text += fromUTF8(text);
    EXPECT_EQ(text, std::string(kBytes) + kBytes);
}

TEST_F(StringNarrowingAppend, LeavesBothAsTheyWereWhenMemoryRunsOut) {
    const Narrow sharer("abcd");
    Narrow text = sharer;
    const Wide wide(kCharacters);
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text.c_str(), sharer.c_str());
        EXPECT_EQ(text, "abcd");
        EXPECT_EQ(text.useCount(), 2u);
        EXPECT_EQ(wide, kCharacters);
        EXPECT_EQ(wide.useCount(), 1u);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { text += wide; }, standsAsBefore), 2);
    EXPECT_EQ(text, std::string("abcd") + kBytes);
    EXPECT_EQ(sharer, "abcd");
}

TEST_F(StringNarrowingAppend, PassesOnWhatTheConversionThrows) {
    Narrow text("abcd");
    platform().calls().fail(kToUTF8);
    EXPECT_THROW(text += Wide(L"e"), std::bad_alloc);
    EXPECT_EQ(text, "abcd");
}

// --- wide += narrow

TEST_F(StringWideningAppend, ReadsTheNarrowTextAsUtf8) {
    Wide text(L"x");
    text += Narrow(kBytes);
    EXPECT_EQ(text, std::wstring(L"x") + kCharacters);
}

TEST_F(StringWideningAppend, ReturnsItsLeftOperand) {
    Wide text(L"x");
    const Narrow narrow("y");
    EXPECT_EQ(&(text += narrow), &text);
    EXPECT_EQ(&(text += Narrow()), &text);
}

TEST_F(StringWideningAppend, PassesTheCharactersAndTheirCount) {
    Wide text(L"x");
    const Narrow narrow("e\0f"sv);
    const RecordedCalls calls = callsOf([&] { text += narrow; });
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls[0], (RecordedCall{kFromUTF8, narrow.c_str(), 3}));
    EXPECT_EQ(countOf(calls, kFromUTF8), 1);
}

TEST_F(StringWideningAppend, KeepsZeroCharacters) {
    Wide text(L"x");
    text += Narrow("a\0b\0"sv);
    EXPECT_EQ(text, L"xa\0b\0"sv);
    text += Narrow("\0"sv);
    EXPECT_EQ(text, L"xa\0b\0\0"sv);
}

TEST_F(StringWideningAppend, OfTheEmptyStringAsksForAnEmptyTextAndChangesNothing) {
    const Wide sharer(L"abc");
    Wide text = sharer;
    const Narrow nothing;
    const RecordedCalls calls = callsOf([&] { text += nothing; });
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].call, kFromUTF8);
    EXPECT_EQ(calls[0].value, 0u);
    ASSERT_NE(calls[0].address, nullptr);
    EXPECT_EQ(*static_cast<const char*>(calls[0].address), '\0');
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.c_str(), sharer.c_str());
    EXPECT_EQ(text.useCount(), 2u);
}

TEST_F(StringWideningAppend, WritesInPlaceForTheOnlyOwnerWithRoom) {
    Wide text(L"abcd");
    const wchar_t* const before = text.c_str();
    const Narrow narrow("e\xC3\x9Fg");
    const Counts made = countsOf([&] { text += narrow; });
    EXPECT_EQ(text, L"abcde\u00DFg");
    EXPECT_EQ(text.c_str(), before);
    EXPECT_EQ(text.capacity(), 8u);
    EXPECT_EQ(made[kAllocate], 1) << "the conversion's own";
    EXPECT_EQ(made[kDeallocate], 1);
}

TEST_F(StringWideningAppend, MovesToALargerBlockWithoutRoom) {
    Wide text(L"abcd");
    text += Narrow("efgh");
    EXPECT_EQ(text, L"abcdefgh");
    EXPECT_EQ(text.capacity(), 16u);
}

TEST_F(StringWideningAppend, LeavesOtherSharersUnchanged) {
    const Wide sharer(L"abcd");
    Wide text = sharer;
    text += Narrow("e");
    EXPECT_EQ(text, L"abcde");
    EXPECT_EQ(sharer, L"abcd");
    EXPECT_EQ(sharer.useCount(), 1u);
}

TEST_F(StringWideningAppend, ToTheEmptyStringMakesABlockOfItsOwn) {
    Wide text;
    const Narrow narrow("abcd");
    const Counts made = countsOf([&] { text += narrow; });
    EXPECT_EQ(text, L"abcd");
    EXPECT_EQ(text.capacity(), 8u);
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(made[kAllocate], 2);
    EXPECT_EQ(made[kDeallocate], 1);
}

TEST_F(StringWideningAppend, TakesItsOwnNarrowForm) {
    Wide text(kCharacters);
    text += toUTF8(text);
    EXPECT_EQ(text, std::wstring(kCharacters) + kCharacters);
}

TEST_F(StringWideningAppend, LeavesBothAsTheyWereWhenMemoryRunsOut) {
    const Wide sharer(L"abcd");
    Wide text = sharer;
    const Narrow narrow(kBytes);
    const auto standsAsBefore = [&] {
        EXPECT_EQ(text.c_str(), sharer.c_str());
        EXPECT_EQ(text, L"abcd");
        EXPECT_EQ(text.useCount(), 2u);
        EXPECT_EQ(narrow, kBytes);
        EXPECT_EQ(narrow.useCount(), 1u);
    };
    EXPECT_EQ(forEachFailingAllocation([&] { text += narrow; }, standsAsBefore), 2);
    EXPECT_EQ(text, std::wstring(L"abcd") + kCharacters);
}

TEST_F(StringWideningAppend, PassesOnWhatTheConversionThrows) {
    Wide text(L"abcd");
    platform().calls().fail(kFromUTF8);
    EXPECT_THROW(text += Narrow("e"), std::bad_alloc);
    EXPECT_EQ(text, L"abcd");
}

// --- Conversion

/// Nothing is added to what the platform does for its result.
void expectOnlyTheConversion(const RecordedCalls& calls, const RecordedCall& conversion) {
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0], conversion);
    EXPECT_EQ(calls[1].call, kAllocate);
    EXPECT_EQ(calls[2].call, kAtomicIncrement);
}

TEST_F(StringConversion, ToUtf8IsOneCallWithTheStringItself) {
    const Wide wide(L"a\0\u00DF"sv);
    Narrow narrow;
    const RecordedCalls calls = callsOf([&] { narrow = toUTF8(wide); });
    expectOnlyTheConversion(calls, {kToUTF8, wide.c_str(), 3});
    EXPECT_EQ(narrow, "a\0\xC3\x9F"sv);
    EXPECT_EQ(narrow.useCount(), 1u);
}

TEST_F(StringConversion, FromUtf8OfAStringIsOneCallWithItsCharactersAndLength) {
    const Narrow narrow("a\0\xC3\x9F"sv);
    Wide wide;
    const RecordedCalls calls = callsOf([&] { wide = fromUTF8(narrow); });
    expectOnlyTheConversion(calls, {kFromUTF8, narrow.c_str(), 4});
    EXPECT_EQ(wide, L"a\0\u00DF"sv);
    EXPECT_EQ(wide.useCount(), 1u);
}

TEST_F(StringConversion, FromUtf8OfTheEmptyStringAsksForAStaticEmptyTextOfLength0) {
    const Narrow nothing;
    const Narrow nothingElse("");
    const RecordedCalls calls = callsOf([&] {
        EXPECT_TRUE(fromUTF8(nothing).empty());
        EXPECT_TRUE(fromUTF8(nothingElse).empty());
    });
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].call, kFromUTF8);
    EXPECT_EQ(calls[0].value, 0u);
    ASSERT_NE(calls[0].address, nullptr);
    EXPECT_STREQ(static_cast<const char*>(calls[0].address), "");
    EXPECT_EQ(calls[1], calls[0]);
}

TEST_F(StringConversion, FromUtf8OfBytesPassesPointerAndLengthAsTheyAre) {
    const char bytes[] = "ab\0cd";
    EXPECT_EQ(fromUTF8(bytes, 5), L"ab\0cd"sv);
    EXPECT_EQ(fromUTF8(bytes, 1), L"a");
    const RecordedCalls calls = callsOf([&] {
        fromUTF8(bytes + 1, 0);
        fromUTF8(nullptr, 0);
        fromUTF8(bytes, -1);
    });
    const RecordedCalls expected = {
        {kFromUTF8, bytes + 1, 0}, {kFromUTF8, nullptr, 0}, {kFromUTF8, bytes, ~0UL}};
    EXPECT_EQ(calls, expected);
}

TEST_F(StringConversion, WStringFromAsciiPassesThePointerAsItIs) {
    const char text[] = "abc";
    Wide wide;
    const RecordedCalls calls = callsOf([&] { wide = Vq::WStringFromAscii(text); });
    EXPECT_EQ(wide, L"abc");
    EXPECT_EQ(wide.useCount(), 1u);
    expectOnlyTheConversion(calls, {kWideFromAscii, text});

    const RecordedCalls ofNull = callsOf([] { Vq::WStringFromAscii(nullptr); });
    EXPECT_EQ(ofNull, RecordedCalls{{kWideFromAscii}});
}

TEST_F(StringConversion, ReturnsWhateverThePlatformMakesOfInvalidText) {
    EXPECT_EQ(toUTF8(Wide(L"a\xD800z")), "a\xEF\xBF\xBDz");
    EXPECT_EQ(fromUTF8(Narrow("a\xFFz")), L"a\uFFFDz");
    EXPECT_EQ(fromUTF8("\xE2\x82", 2), L"\uFFFD");
    EXPECT_EQ(Vq::WStringFromAscii("\xE9"), L"\u00E9");
}

TEST_F(StringConversion, AsksAgainEveryTime) {
    const Wide wide(L"abc");
    const Narrow narrow("abc");
    const Counts made = countsOf([&] {
        for (int i = 0; i < 3; ++i) {
            toUTF8(wide);
            fromUTF8(narrow);
            Vq::WStringFromAscii("abc");
        }
    });
    EXPECT_EQ(made[kToUTF8], 3);
    EXPECT_EQ(made[kFromUTF8], 3);
    EXPECT_EQ(made[kWideFromAscii], 3);
}

TEST_F(StringConversion, PassesOnWhatThePlatformThrows) {
    const Wide wide(L"abc");
    const Narrow narrow("abc");
    platform().calls().fail(kToUTF8);
    EXPECT_THROW(toUTF8(wide), std::bad_alloc);
    platform().calls().failFrom(kFromUTF8);
    EXPECT_THROW(fromUTF8(narrow), std::bad_alloc);
    EXPECT_THROW(fromUTF8("abc", 3), std::bad_alloc);
    platform().calls().fail(kWideFromAscii);
    EXPECT_THROW(Vq::WStringFromAscii("abc"), std::bad_alloc);
}

TEST_F(StringConversion, RunsOnManyThreadsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 500;
    const Wide wide(kCharacters);
    const Narrow narrow(kBytes);
    std::latch start(kThreads);
    std::vector<int> right(kThreads);
    const auto work = [&](int& good) {
        const Wide sharedWide = wide;
        const Narrow sharedNarrow = narrow;
        start.arrive_and_wait();
        for (int i = 0; i < kRounds; ++i) {
            Narrow appended = sharedNarrow;
            appended += sharedWide;
            if (toUTF8(sharedWide) == narrow && fromUTF8(sharedNarrow) == wide &&
                appended.length() == 2 * narrow.length()) {
                ++good;
            }
        }
    };
    std::vector<std::thread> threads;
    for (int& good : right) threads.emplace_back(work, std::ref(good));
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, std::vector<int>(kThreads, kRounds));
    EXPECT_EQ(wide.useCount(), 1u);
    EXPECT_EQ(narrow.useCount(), 1u);
}

} // namespace
