#include "Vq/LightweightString.h"
#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/Literal.h"
#include "support/StartGate.h"
#include "support/StringBlock.h"

#include <cstddef>
#include <iomanip>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

template <class T> struct LayoutHolds {
    using Impl = typename LightweightString<T>::Impl;
    static_assert(std::is_same_v<decltype(Impl::characters_), T*>);
    static_assert(offsetof(Impl, characters_) == 0);
    static_assert(offsetof(Impl, length_) == 8 && sizeof(Impl::length_) == 4);
    static_assert(offsetof(Impl, capacity_) == 12 && sizeof(Impl::capacity_) == 4);
    static_assert(offsetof(Impl, count_) == 16 && sizeof(Impl::count_) == 4);
    static_assert(sizeof(Impl) == 24);
    static_assert(sizeof(LightweightString<T>) == sizeof(Vq::Ptr<Impl>), "one handle wide");
    static_assert(
        std::is_same_v<typename LightweightString<T>::Block,
                       Vq::Ptr<Impl, typename Impl::DtorTraits, Vq::InternalRefCountTraits>>);
    static_assert(std::is_nothrow_default_constructible_v<LightweightString<T>>);
    static_assert(std::is_nothrow_move_constructible_v<LightweightString<T>>);
    static_assert(std::is_nothrow_move_assignable_v<LightweightString<T>>);
    static_assert(std::is_convertible_v<const T*, LightweightString<T>>);
    static_assert(!std::is_convertible_v<std::basic_string_view<T>, LightweightString<T>>,
                  "explicit only: a copy is made");
    static_assert(std::is_convertible_v<const LightweightString<T>&, std::basic_string_view<T>>);
    static_assert(std::is_same_v<decltype(std::declval<LightweightString<T>&>()[0]), const T&>,
                  "indexing reads");
    static_assert(std::is_same_v<decltype(std::declval<LightweightString<T>&>().begin()), const T*>,
                  "iterating reads");
};
template struct LayoutHolds<char>;
template struct LayoutHolds<wchar_t>;

template <class S, class C>
concept Appends = requires(S text, C c) {
    text += c;
};
static_assert(!Appends<Narrow, char> && !Appends<Narrow, wchar_t> && !Appends<Narrow, char32_t>);
static_assert(!Appends<Narrow, char8_t> && !Appends<Narrow, char16_t>);
static_assert(Appends<Narrow, const char*> && Appends<Narrow, Narrow>);
static_assert(Appends<Wide, const wchar_t*> && Appends<Wide, Wide>);

/// Everything that holds in both widths.
template <class T> class LightweightStringTest : public ScriptedTest {
protected:
    /// "abc": capacity 4, so the next character moves it.
    const Literal<T> abc{"abc"};

    static std::basic_string_view<T> view(const LightweightString<T>& text) { return text; }
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(LightweightStringTest, Widths);

// --- Making

TYPED_TEST(LightweightStringTest, EmptyOwnsNoBlockAndCostsNothing) {
    using String = LightweightString<TypeParam>;
    const TypeParam* null = nullptr;
    const Counts made = countsOf([&] {
        const String texts[] = {
            String(),        String(null),         String(Literal<TypeParam>("")),
            String(null, 5), String(this->abc, 0), String(std::basic_string_view<TypeParam>())};
        for (const String& text : texts) {
            const String copy(text);
            EXPECT_TRUE(copy.empty());
            EXPECT_EQ(copy.length(), 0u);
            EXPECT_EQ(copy.size(), 0u);
            EXPECT_EQ(copy.capacity(), 0u);
            EXPECT_EQ(copy.useCount(), 0u);
            EXPECT_EQ(copy.c_str()[0], TypeParam());
            EXPECT_EQ(copy.begin(), copy.end());
        }
        EXPECT_EQ(String().c_str(), texts[0].c_str()) << "one shared text";
        EXPECT_EQ(String().data(), nullptr);
        EXPECT_EQ(String().unshare(), nullptr);
    });
    EXPECT_EQ(made.total(), 0);
}

TYPED_TEST(LightweightStringTest, CopiesTextIntoABlockOfRoundedCapacity) {
    const LightweightString<TypeParam> text(this->abc);
    EXPECT_EQ(this->view(text), this->abc.view());
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.length(), 3u);
    EXPECT_EQ(text.capacity(), 4u);
    EXPECT_EQ(text.useCount(), 1u);
    EXPECT_EQ(text.c_str()[3], TypeParam());
}

TYPED_TEST(LightweightStringTest, BlockIsTheHeaderAndTheArrayInOneAllocation) {
    using Impl = typename LightweightString<TypeParam>::Impl;
    LightweightString<TypeParam> text(this->abc);
    const auto* block = static_cast<const Impl*>(blockOf(text));
    EXPECT_EQ(platform().memory()->requestedBytes(), blockBytes<TypeParam>(4));
    EXPECT_EQ(block->characters_, reinterpret_cast<const TypeParam*>(block + 1));
    EXPECT_EQ(block->length_, 3u);
    EXPECT_EQ(block->capacity_, 4u);
    EXPECT_EQ(block->count_, 1);
}

TYPED_TEST(LightweightStringTest, IsBuiltAndReleasedWithFourCalls) {
    using String = LightweightString<TypeParam>;
    const int* count = nullptr;
    const void* block = nullptr;
    const RecordedCalls calls = callsOf([&] {
        const String text(this->abc);
        count = countOf(text);
        block = blockOf(text);
    });
    EXPECT_EQ(calls, (RecordedCalls{{kAllocate, nullptr, blockBytes<TypeParam>(4)},
                                    {kAtomicIncrement, count, 0},
                                    {kAtomicDecrement, count, 0},
                                    {kDeallocate, block, 0}}));
}

TYPED_TEST(LightweightStringTest, CapacityIsTheNextPowerOfTwoAboveTheLength) {
    const std::pair<unsigned, unsigned> table[] = {{1, 2},   {2, 4},   {3, 4},       {4, 8},
                                                   {7, 8},   {8, 16},  {15, 16},     {16, 32},
                                                   {31, 32}, {32, 64}, {1023, 1024}, {1024, 2048}};
    for (const auto& [length, capacity] : table) {
        const std::basic_string<TypeParam> model(length, TypeParam('x'));
        const LightweightString<TypeParam> text(model.c_str());
        EXPECT_EQ(text.capacity(), capacity);
        EXPECT_EQ(platform().memory()->requestedBytes(), blockBytes<TypeParam>(capacity));
    }
}

TYPED_TEST(LightweightStringTest, CountedTextStopsAtATerminatorAndIsPaddedWithZeros) {
    const LightweightString<TypeParam> text(Literal<TypeParam>("ab\0de"), 5);
    EXPECT_EQ(this->view(text), Literal<TypeParam>("ab\0\0\0").view());
    EXPECT_EQ(text.capacity(), 8u);
}

TYPED_TEST(LightweightStringTest, ViewIsCopiedWithItsZeros) {
    const Literal<TypeParam> zeros("a\0b\0");
    const LightweightString<TypeParam> text(zeros.view());
    EXPECT_EQ(this->view(text), zeros.view());
    EXPECT_EQ(text.length(), 4u);
}

TYPED_TEST(LightweightStringTest, CreateImplLeavesTheCharactersUnset) {
    using String = LightweightString<TypeParam>;
    for (const bool rounded : {true, false}) {
        String text;
        text.createImpl(5, rounded);
        EXPECT_EQ(text.length(), 5u);
        EXPECT_EQ(text.capacity(), rounded ? 8u : 6u);
        EXPECT_EQ(platform().memory()->requestedBytes(), blockBytes<TypeParam>(text.capacity()));
        EXPECT_EQ(text.useCount(), 1u);
        EXPECT_EQ(text.c_str()[5], TypeParam());
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
        EXPECT_EQ(bytes[0], ScriptedMemory::kFreshByte);
        EXPECT_EQ(bytes[5 * sizeof(TypeParam) - 1], ScriptedMemory::kFreshByte);
    }
}

TYPED_TEST(LightweightStringTest, CreateImplOfNothingLeavesTheStringEmpty) {
    LightweightString<TypeParam> text;
    EXPECT_EQ(countsOf([&] { text.createImpl(0, true); }).total(), 0);
    EXPECT_EQ(countsOf([&] { text.createImpl(0, false); }).total(), 0);
    EXPECT_TRUE(text.empty());
}

TYPED_TEST(LightweightStringTest, CreateImplDoesNotReleaseTheEarlierBlock) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    const String other(text);
    const Counts made = countsOf([&] { text.createImpl(1, true); });
    EXPECT_EQ(made[kAtomicDecrement], 0);
    EXPECT_EQ(other.useCount(), 2u) << "the reference that was overwritten";
    auto* block = const_cast<void*>(blockOf(other));
    typename String::Block(static_cast<typename String::Impl*>(block)).decRef();
}

TYPED_TEST(LightweightStringTest, ConcatJoinsInOneAllocation) {
    using String = LightweightString<TypeParam>;
    String text;
    const Literal<TypeParam> zeros("\0d");
    const Counts made = countsOf([&] {
        text = String::concat({this->abc.view(), {}, zeros.view()});
    });
    EXPECT_EQ(this->view(text), Literal<TypeParam>("abc\0d").view());
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(text.capacity(), 8u);
    EXPECT_EQ(countsOf([] { EXPECT_TRUE(String::concat({{}, {}}).empty()); }).total(), 0);
}

// --- Sharing

TYPED_TEST(LightweightStringTest, CopySharesTheBlock) {
    using String = LightweightString<TypeParam>;
    const String text(this->abc);
    const RecordedCalls calls = callsOf([&] {
        const String copy(text);
        EXPECT_EQ(copy.c_str(), text.c_str());
        EXPECT_EQ(copy.useCount(), 2u);
    });
    EXPECT_EQ(calls, (RecordedCalls{{kAtomicIncrement, countOf(text), 0},
                                    {kAtomicDecrement, countOf(text), 0}}));
}

TYPED_TEST(LightweightStringTest, CopyAssignmentTakesTheNewBlockBeforeItDropsTheOld) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    const String other(Literal<TypeParam>("other"));
    const int* oldCount = countOf(text);
    const void* oldBlock = blockOf(text);
    const RecordedCalls calls = callsOf([&] { text = other; });
    EXPECT_EQ(calls, (RecordedCalls{{kAtomicIncrement, countOf(other), 0},
                                    {kAtomicDecrement, oldCount, 0},
                                    {kDeallocate, oldBlock, 0}}));
    EXPECT_EQ(text.useCount(), 2u);
}

TYPED_TEST(LightweightStringTest, SelfAssignmentCostsNothing) {
    LightweightString<TypeParam> text(this->abc);
    auto& same = text;
    const Counts made = countsOf([&] {
        text = same;
        text = std::move(same);
    });
    EXPECT_EQ(made.total(), 0);
    EXPECT_EQ(this->view(text), this->abc.view());
}

TYPED_TEST(LightweightStringTest, MovesAndSwapsCostNothing) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    String target;
    const TypeParam* characters = text.c_str();
    const Counts made = countsOf([&] {
        String moved(std::move(text));
        target = std::move(moved);
        std::swap(text, target);
        std::swap(text, target);
    });
    EXPECT_EQ(made.total(), 0);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(target.c_str(), characters);
    EXPECT_EQ(target.useCount(), 1u);
}

TYPED_TEST(LightweightStringTest, LastOwnerFreesTheBlock) {
    using String = LightweightString<TypeParam>;
    auto first = std::make_unique<String>(this->abc);
    auto second = std::make_unique<String>(*first);
    EXPECT_EQ(countsOf([&] { *first = String(); })[kDeallocate], 0);
    EXPECT_EQ(countsOf([&] { *second = String(); })[kDeallocate], 1);
}

TYPED_TEST(LightweightStringTest, DataWritesThroughToEverySharer) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    const String sharer(text);
    EXPECT_EQ(countsOf([&] { text.data()[0] = TypeParam('X'); }).total(), 0);
    EXPECT_EQ(this->view(sharer), Literal<TypeParam>("Xbc").view());
}

TYPED_TEST(LightweightStringTest, UnshareMovesASharedTextOnly) {
    using String = LightweightString<TypeParam>;
    String text(this->abc);
    EXPECT_EQ(countsOf([&] { EXPECT_EQ(text.unshare(), text.c_str()); }).total(), 0);
    const String sharer(text);
    text.unshare()[0] = TypeParam('X');
    EXPECT_EQ(this->view(text), Literal<TypeParam>("Xbc").view());
    EXPECT_EQ(this->view(sharer), this->abc.view());
    EXPECT_EQ(sharer.useCount(), 1u);
}

// --- Reading

TYPED_TEST(LightweightStringTest, IndexingReachesTheTerminatorAndStaysThere) {
    const LightweightString<TypeParam> text(this->abc);
    EXPECT_EQ(text[0], TypeParam('a'));
    EXPECT_EQ(text[2], TypeParam('c'));
    EXPECT_EQ(text[3], TypeParam());
    EXPECT_EQ(text[1000], TypeParam());
    EXPECT_EQ(LightweightString<TypeParam>()[0], TypeParam());
}

TYPED_TEST(LightweightStringTest, IteratesOverItsCharacters) {
    const LightweightString<TypeParam> text(Literal<TypeParam>("a\0c").view());
    std::basic_string<TypeParam> seen;
    for (const TypeParam c : text) seen.push_back(c);
    EXPECT_EQ(seen, Literal<TypeParam>("a\0c").view());
}

TYPED_TEST(LightweightStringTest, ReadingCostsNothing) {
    const LightweightString<TypeParam> text(this->abc);
    const LightweightString<TypeParam> other(Literal<TypeParam>("abd"));
    const Counts made = countsOf([&] {
        EXPECT_TRUE(text < other);
        EXPECT_FALSE(text == other);
        EXPECT_TRUE(text == this->abc);
        EXPECT_EQ(this->view(text).size(), 3u);
        EXPECT_NE(std::hash<LightweightString<TypeParam>>()(text), 0u);
        EXPECT_EQ(text.useCount(), 1u);
    });
    EXPECT_EQ(made.total(), 0);
}

// --- Comparing

TYPED_TEST(LightweightStringTest, ComparesLikeItsCharacters) {
    using String = LightweightString<TypeParam>;
    const Literal<TypeParam> ordered[] = {Literal<TypeParam>(""),      Literal<TypeParam>("A"),
                                          Literal<TypeParam>("a"),     Literal<TypeParam>("a\0"),
                                          Literal<TypeParam>("a\0b"),  Literal<TypeParam>("ab"),
                                          Literal<TypeParam>("abc"),   Literal<TypeParam>("b"),
                                          Literal<TypeParam>("ba\0a"), Literal<TypeParam>("ba\0b")};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        for (std::size_t j = 0; j < std::size(ordered); ++j) {
            const String a(ordered[i].view());
            const String b(ordered[j].view());
            EXPECT_EQ(a == b, i == j);
            EXPECT_EQ(a != b, i != j);
            EXPECT_EQ(a < b, i < j);
            EXPECT_EQ(a <= b, i <= j);
            EXPECT_EQ(a > b, i > j);
            EXPECT_EQ(a >= b, i >= j);
            EXPECT_EQ(a == ordered[j].view(), i == j);
            EXPECT_EQ(a < ordered[j].view(), i < j);
        }
    }
}

TYPED_TEST(LightweightStringTest, ComparesWithPlainTextUpToItsTerminator) {
    using String = LightweightString<TypeParam>;
    const String text(this->abc);
    EXPECT_TRUE(text == this->abc);
    EXPECT_TRUE(text != Literal<TypeParam>("abd"));
    EXPECT_TRUE(text < Literal<TypeParam>("abd"));
    EXPECT_TRUE(Literal<TypeParam>("abb") < text);
    EXPECT_TRUE(String(Literal<TypeParam>("a\0").view()) != Literal<TypeParam>("a"));
    const TypeParam* null = nullptr;
    EXPECT_TRUE(String() == null);
    EXPECT_TRUE(text > null);
}

TEST(LightweightStringCompare, NarrowBytesCountAsUnsigned) {
    const Narrow ascii("z");
    const Narrow high("\x80");
    EXPECT_LT(ascii, high);
    EXPECT_LT(high, Narrow("\xFF"));
    EXPECT_LT(Narrow("a\x7F"), Narrow("a\x80"));
    EXPECT_TRUE(ascii < "\x80");
}

TEST(LightweightStringCompare, WideCharactersCompareByCodeValue) {
    EXPECT_LT(Wide(L"\u00FF"), Wide(L"\u0100"));
    EXPECT_LT(Wide(L"\uFFFD"), Wide(L"\U0001F3AC"));
}

TYPED_TEST(LightweightStringTest, EqualTextsHashAlike) {
    using String = LightweightString<TypeParam>;
    const String one(Literal<TypeParam>("a\0b").view());
    const String two(Literal<TypeParam>("a\0b").view());
    ASSERT_NE(one.c_str(), two.c_str());
    const std::unordered_set<String> set = {one, two, String(), String(Literal<TypeParam>("a"))};
    EXPECT_EQ(set.size(), 3u);
    EXPECT_EQ(set.count(two), 1u);
}

TEST(LightweightStringOutput, WritesAllCharactersWithTheStreamsWidth) {
    std::ostringstream out;
    out << Narrow(std::string_view("a\0b", 3)) << std::setw(4) << std::setfill('.') << Narrow("x")
        << Narrow();
    EXPECT_EQ(out.str(), std::string("a\0b...x", 7));
}

// --- Limits

TYPED_TEST(LightweightStringTest, LengthsOfTwoToThe31ThrowWithoutAsking) {
    using String = LightweightString<TypeParam>;
    constexpr unsigned int kTooLong = 1u << 31;
    String text(this->abc);
    const std::basic_string_view<TypeParam> huge(this->abc, kTooLong); // never read
    const Counts made = countsOf([&] {
        EXPECT_THROW(text.resizeFor(kTooLong), std::bad_alloc);
        EXPECT_THROW(text.append(this->abc, kTooLong), std::bad_alloc);
        EXPECT_THROW(text.append(this->abc, kTooLong - 3), std::bad_alloc);
        EXPECT_THROW(text.append(this->abc, 0xFFFFFFFF), std::bad_alloc);
        EXPECT_THROW(text.append(huge), std::bad_alloc);
        EXPECT_THROW(text += huge, std::bad_alloc);
        EXPECT_THROW(String{huge}, std::bad_alloc);
        EXPECT_THROW(String(this->abc, kTooLong), std::bad_alloc);
        EXPECT_THROW(String().createImpl(kTooLong, true), std::bad_alloc);
        EXPECT_THROW(String().createImpl(0xFFFFFFFF, true), std::bad_alloc);
        EXPECT_THROW(String().createImpl(0xFFFFFFFF, false), std::bad_alloc);
    });
    EXPECT_EQ(made.total(), 0);
    EXPECT_EQ(this->view(text), this->abc.view());
}

TYPED_TEST(LightweightStringTest, LongestLengthAsksForAllOfItsBlock) {
    LightweightString<TypeParam> text;
    platform().calls().fail(kAllocate);
    EXPECT_THROW(text.resizeFor(0x7FFFFFFF), std::bad_alloc);
    EXPECT_EQ(platform().memory()->requestedBytes(), 24 + (1UL << 31) * sizeof(TypeParam));
    EXPECT_TRUE(text.empty());
}

// --- Threads

TYPED_TEST(LightweightStringTest, SharersMayBeCopiedAndChangedOnManyThreads) {
    using String = LightweightString<TypeParam>;
    constexpr int kThreads = 4;
    constexpr int kRounds = 1000;
    const String shared(this->abc);
    StartGate gate(kThreads);
    std::vector<String> results(kThreads);
    std::vector<std::thread> threads;
    for (String& result : results) {
        threads.emplace_back([&gate, &result, mine = shared]() mutable {
            gate.wait();
            for (int round = 0; round < kRounds; ++round) {
                String copy(mine);
                copy.push_back(TypeParam('d'));
                result = copy;
                copy.unshare()[0] = TypeParam('X');
            }
            mine = String(); // the last one but the main thread's drops alone
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(shared.useCount(), 1u);
    EXPECT_EQ(this->view(shared), this->abc.view());
    for (const String& result : results) {
        EXPECT_EQ(this->view(result), Literal<TypeParam>("abcd").view());
        EXPECT_EQ(result.useCount(), 1u);
    }
}

} // namespace
