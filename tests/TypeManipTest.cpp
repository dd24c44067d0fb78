#include "Vq/TypeManip.h"

#include "Vq/CriticalSection.h"
#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"

#include <cstdint>
#include <new>
#include <string>
#include <type_traits>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::TypeManip::TemplatedNew;

using TemplatedNewTest = ScriptedTest;

static_assert(std::is_same_v<decltype(&TemplatedNew<int>::new_), void* (*)()>,
              "the factory that registries take");

/// Makes one through the untyped factory and gives it as what it is.
template <class T> T* make() {
    // Volatile: a compiler that sees the call may do without the allocation.
    void* (*volatile const factory)() = TemplatedNew<T>::new_;
    return static_cast<T*>(factory());
}

TEST_F(TemplatedNewTest, MakesADefaultConstructedLock) {
    CriticalSection* const guard = make<CriticalSection>();
    EXPECT_EQ(guard->owner(), 0u);
    EXPECT_TRUE(guard->name().empty());
    EXPECT_EQ(guard->attemptEntry(), 0);
    guard->leave();
    const Counts made = countsOf([&] { delete guard; });
    EXPECT_EQ(made[kDeallocate], 3) << "the handle, the shared part, its count";
    EXPECT_EQ(made[kDestroyCriticalSection], 1);
}

TEST_F(TemplatedNewTest, MakesANewObjectAtEveryCall) {
    CriticalSection* const one = make<CriticalSection>();
    CriticalSection* const two = make<CriticalSection>();
    EXPECT_NE(one, two);
    one->enter();
    EXPECT_EQ(two->owner(), 0u);
    one->leave();
    delete one;
    delete two;
}

TEST_F(TemplatedNewTest, ValueInitialises) {
    struct Plain {
        long number;
        void* pointer;
    };
    Plain* const plain = make<Plain>(); // in memory that was not zero
    EXPECT_EQ(plain->number, 0);
    EXPECT_EQ(plain->pointer, nullptr);
    delete plain;
    int* const number = make<int>();
    EXPECT_EQ(*number, 0);
    delete number;
}

TEST_F(TemplatedNewTest, CallsTheDefaultConstructor) {
    struct WithConstructor {
        std::string text = "made";
    };
    WithConstructor* const made = make<WithConstructor>();
    EXPECT_EQ(made->text, "made");
    delete made;
}

TEST_F(TemplatedNewTest, AllocatesOnceOnThePlatform) {
    struct alignas(64) Aligned {
        char bytes[64];
    };
    long* number = nullptr;
    EXPECT_EQ(countsOf([&] { number = make<long>(); })[kAllocate], 1);
    EXPECT_EQ(platform().memory()->requestedBytes(), sizeof(long));
    delete number;
    Aligned* aligned = nullptr;
    EXPECT_EQ(countsOf([&] { aligned = make<Aligned>(); })[kAllocate], 1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 64, 0u);
    delete aligned;
}

TEST_F(TemplatedNewTest, ThrowsWhatTheConstructorThrowsAndFreesTheMemory) {
    struct Refuses {
        Refuses() { throw 7; }
    };
    const long blocks = platform().memory()->liveBlocks();
    EXPECT_THROW(make<Refuses>(), int);
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
    platform().calls().fail(kCreateCriticalSection);
    EXPECT_THROW(make<CriticalSection>(), std::bad_alloc);
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
}

TEST_F(TemplatedNewTest, LeavesNothingWhenMemoryIsRefused) {
    CriticalSection* guard = nullptr;
    EXPECT_EQ(forEachFailingAllocation([&] { guard = make<CriticalSection>(); },
                                       [&] { EXPECT_EQ(guard, nullptr); }),
              3);
    delete guard;
}

} // namespace
