#include "Vq/StdAllocator.h"
#include "Vq/LightweightString.h"
#include "VqTest/ScriptedTest.h"
#include "support/Literal.h"
#include "support/StringBlock.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

using IntTraits = std::allocator_traits<StdAllocator<int>>;
static_assert(IntTraits::is_always_equal::value);
static_assert(std::is_same_v<IntTraits::rebind_alloc<double>, StdAllocator<double>>);
static_assert(std::is_nothrow_default_constructible_v<StdAllocator<int>>);
static_assert(std::is_nothrow_constructible_v<StdAllocator<int>, StdAllocator<double>>);
static_assert(StdAllocator<int>() == StdAllocator<double>());
static_assert(!(StdAllocator<int>() != StdAllocator<int>()));

class StdAllocatorBlocks : public ScriptedTest {};

TEST_F(StdAllocatorBlocks, ComeStraightFromThePlatform) {
    StdAllocator<long> allocator;
    long* block = nullptr;
    const RecordedCalls calls = callsOf([&] {
        block = allocator.allocate(5);
        allocator.deallocate(block, 5);
    });
    EXPECT_EQ(calls, (RecordedCalls{{kAllocate, nullptr, 40}, {kDeallocate, block, 0}}));
}

TEST_F(StdAllocatorBlocks, OfNoObjectsAreBlocksToo) {
    StdAllocator<long> allocator;
    long* block = allocator.allocate(0);
    EXPECT_EQ(platform().memory()->requestedBytes(), 0u);
    allocator.deallocate(block, 0);
}

TEST_F(StdAllocatorBlocks, TooLargeForTheMachineAreRefusedWithoutAsking) {
    StdAllocator<long> allocator;
    const volatile std::size_t tooMany = std::numeric_limits<std::size_t>::max() / 8 + 1;
    const Counts made = countsOf([&] {
        EXPECT_THROW(static_cast<void>(allocator.allocate(tooMany)), std::bad_array_new_length);
    });
    EXPECT_EQ(made.total(), 0);
}

TEST_F(StdAllocatorBlocks, PassThePlatformsExceptionOn) {
    StdAllocator<long> allocator;
    auto refuse = [] { throw 7; };
    platform().calls().intercept(kAllocate, refuse);
    EXPECT_THROW(static_cast<void>(allocator.allocate(1)), int);
}

/// Vectors of strings, in both widths.
template <class T> class StdAllocatorVectors : public ScriptedTest {
protected:
    using Strings = std::vector<LightweightString<T>, StdAllocator<LightweightString<T>>>;

    const LightweightString<T> text_{Literal<T>("abc")};
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(StdAllocatorVectors, Widths);

TYPED_TEST(StdAllocatorVectors, GrowByDoubling) {
    typename TestFixture::Strings strings;
    std::vector<unsigned long> asked;
    for (int i = 0; i < 9; ++i) {
        const RecordedCalls calls = callsOf([&] { strings.push_back(this->text_); });
        for (const RecordedCall& call : calls) {
            if (call.call == kAllocate) asked.push_back(call.value);
        }
    }
    EXPECT_EQ(asked, (std::vector<unsigned long>{16, 32, 64, 128, 256}));
}

TYPED_TEST(StdAllocatorVectors, GrowWithoutTouchingCountsOrCharacters) {
    typename TestFixture::Strings strings(4, this->text_);
    const Counts made = countsOf([&] { strings.reserve(5); });
    EXPECT_EQ(made[kAllocate], 1);
    EXPECT_EQ(made[kDeallocate], 1);
    EXPECT_EQ(made.total(), 2);
    EXPECT_EQ(strings[3], this->text_);
    EXPECT_EQ(this->text_.useCount(), 5u);
}

TYPED_TEST(StdAllocatorVectors, CopyCostsOneIncrementPerElement) {
    const typename TestFixture::Strings strings(6, this->text_);
    typename TestFixture::Strings copy;
    const Counts made = countsOf([&] { copy = strings; });
    EXPECT_EQ(made[kAllocate], 1) << "the storage; no characters";
    EXPECT_EQ(made[kAtomicIncrement], 6);
    EXPECT_EQ(made.total(), 7);
    EXPECT_EQ(copy[5].c_str(), this->text_.c_str());
}

TYPED_TEST(StdAllocatorVectors, ReleaseTheElementsInOrderAndThenTheStorage) {
    auto strings = std::make_unique<typename TestFixture::Strings>();
    strings->reserve(3);
    for (int i = 0; i < 3; ++i) strings->emplace_back(Literal<TypeParam>("own"));
    std::vector<const void*> expected;
    for (const auto& text : *strings) expected.push_back(blockOf(text));
    expected.push_back(strings->data());
    const RecordedCalls calls = callsOf([&] { std::destroy_at(strings.get()); });
    ::new (strings.get()) typename TestFixture::Strings;
    std::vector<const void*> freed;
    for (const RecordedCall& call : calls) {
        if (call.call == kDeallocate) freed.push_back(call.address);
    }
    EXPECT_EQ(freed, expected);
}

TYPED_TEST(StdAllocatorVectors, KeepTheirElementsWhenGrowingFails) {
    typename TestFixture::Strings strings(4, this->text_);
    platform().calls().fail(kAllocate);
    EXPECT_THROW(strings.push_back(this->text_), std::bad_alloc);
    ASSERT_EQ(strings.size(), 4u);
    EXPECT_EQ(strings[3], this->text_);
    EXPECT_EQ(this->text_.useCount(), 5u);
}

} // namespace

struct Tree {
    std::vector<Tree, StdAllocator<Tree>> branches;
};

TEST(StdAllocatorTest, ServesATypeThatHoldsAVectorOfItself) {
    Tree tree;
    tree.branches.emplace_back();
    EXPECT_EQ(tree.branches.size(), 1U);
}
