#include "Vq/CriticalSection.h"

#include "VqTest/CapturedOutput.h"
#include "VqTest/FailingAllocations.h"
#include "support/LockTest.h"
#include "support/StartGate.h"
#include "support/StringBlock.h"

#include <atomic>
#include <climits>
#include <cstddef>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Rep = CriticalSection::Rep;

static_assert(!std::is_polymorphic_v<CriticalSection> && !std::is_polymorphic_v<Rep>);
static_assert(sizeof(CriticalSection) == 2 * sizeof(void*), "one external handle");
static_assert(
    std::is_same_v<decltype(Rep::lock_),
                   Vq::Ptr<iCriticalSection, Vq::DtorTraits, Vq::InternalRefCountTraits>>);
static_assert(std::is_same_v<decltype(Rep::lockCount_), unsigned int>);
static_assert(std::is_same_v<decltype(Rep::owner_), unsigned int>);
static_assert(std::is_same_v<decltype(Rep::name_), LightweightString<char>>);
static_assert(std::is_copy_constructible_v<CriticalSection>);
static_assert(std::is_copy_assignable_v<CriticalSection>);
static_assert(!std::is_copy_constructible_v<Rep> && !std::is_copy_assignable_v<Rep>);
static_assert(std::is_nothrow_destructible_v<CriticalSection>);
static_assert(std::is_nothrow_destructible_v<Rep>);
static_assert(std::is_same_v<decltype(std::declval<const CriticalSection&>().owner()), unsigned>);
static_assert(std::is_same_v<decltype(std::declval<CriticalSection&>().attemptEntry()), int>);
static_assert(std::is_same_v<decltype(std::declval<CriticalSection&>().try_lock()), bool>);

using CriticalSectionLayout = LockTest;
using CriticalSectionMaking = LockTest;
using CriticalSectionHandle = LockTest;
using CriticalSectionName = LockTest;
using CriticalSectionFailure = LockTest;

// --- Layout

TEST_F(CriticalSectionLayout, OfTheSharedPartIsLockCountOwnerName) {
    const CriticalSection guard;
    const Rep& rep = repOf(guard);
    const auto offset = [&rep](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&rep);
    };
    EXPECT_EQ(offset(rep.lock_), 0);
    EXPECT_EQ(offset(rep.lockCount_), 16);
    EXPECT_EQ(offset(rep.owner_), 20);
    EXPECT_EQ(offset(rep.name_), 24);
    EXPECT_EQ(sizeof(Rep), 24 + sizeof(LightweightString<char>));
}

TEST_F(CriticalSectionLayout, HasTypeInformation) {
    EXPECT_STREQ(typeid(CriticalSection).name(), "15CriticalSection");
}

// --- Making and unmaking

TEST_F(CriticalSectionMaking, GivesAFreeLockWithoutNameHeldByOneHandle) {
    const CriticalSection guard;
    EXPECT_EQ(handlesOf(guard), 1);
    EXPECT_EQ(depthOf(guard), 0u);
    EXPECT_EQ(guard.owner(), 0u);
    EXPECT_TRUE(guard.name().empty());
    EXPECT_EQ(repOf(guard).lock_.useCount(), 1);
}

TEST_F(CriticalSectionMaking, AsksForOneLockAndTwoBlocksAndGivesThemBack) {
    const Counts made = countsOf([] { const CriticalSection guard; });
    EXPECT_EQ(made[kCreateCriticalSection], 1);
    EXPECT_EQ(made[kDestroyCriticalSection], 1);
    EXPECT_EQ(made[kAllocate], 2) << "the shared part and its count";
    EXPECT_EQ(made[kDeallocate], 2);
    EXPECT_EQ(made[kAcquire] + made[kTryAcquire] + made[kRelease] + made[kCurrentThreadId], 0);
}

TEST_F(CriticalSectionMaking, PassesTheTuningOnUnchangedAndZeroByDefault) {
    const auto tuningOf = [](auto make) {
        for (const RecordedCall& call : callsOf(make)) {
            if (call.call == kCreateCriticalSection) return call.value;
        }
        return ~0ul;
    };
    EXPECT_EQ(tuningOf([] { CriticalSection guard; }), 0u);
    EXPECT_EQ(tuningOf([] { CriticalSection guard("name"); }), 0u);
    EXPECT_EQ(tuningOf([] { CriticalSection guard(0); }), 0u);
    EXPECT_EQ(tuningOf([] { CriticalSection guard(NULL); }), 0u);
    EXPECT_EQ(tuningOf([] { CriticalSection guard(4000); }), 4000u);
    for (const unsigned tuning : {0u, 1u, 4000u, UINT_MAX}) {
        EXPECT_EQ(tuningOf([&] { CriticalSection guard(tuning); }), tuning);
        EXPECT_EQ(tuningOf([&] { Rep rep(tuning); }), tuning);
        CriticalSection guard;
        EXPECT_EQ(tuningOf([&] { guard.init(tuning); }), tuning);
    }
}

TEST_F(CriticalSectionMaking, IsUndoneByTheLastHandleNameFirstThenLock) {
    auto* const guard = new CriticalSection("a name");
    auto* const copy = new CriticalSection(*guard);
    const void* const name = blockOf(repOf(*guard).name_);
    const Counts first = countsOf([&] { delete guard; });
    EXPECT_EQ(first, these({{kAtomicDecrement, 1}, {kDeallocate, 1}}));
    std::vector<Call> order;
    for (const RecordedCall& call : callsOf([&] { delete copy; })) {
        if (call.call == kDestroyCriticalSection) order.push_back(call.call);
        if (call.call == kDeallocate && call.address == name) order.push_back(call.call);
    }
    EXPECT_EQ(order, (std::vector<Call>{kDeallocate, kDestroyCriticalSection}));
}

TEST_F(CriticalSectionMaking, InitPutsAFreeLockInPlaceAndLeavesOtherHandlesOnTheOldOne) {
    CriticalSection guard("old");
    CriticalSection copy(guard);
    guard.enter();
    const long locks = platform().sync()->liveLocks();
    guard.init(0);
    EXPECT_EQ(platform().sync()->liveLocks(), locks + 1);
    EXPECT_NE(&repOf(guard), &repOf(copy));
    EXPECT_EQ(handlesOf(guard), 1);
    EXPECT_EQ(handlesOf(copy), 1);
    EXPECT_EQ(guard.owner(), 0u);
    EXPECT_TRUE(guard.name().empty());
    EXPECT_EQ(attemptElsewhere(guard), 0);
    EXPECT_EQ(copy.owner(), ownId());
    EXPECT_EQ(copy.name(), "old");
    EXPECT_EQ(attemptElsewhere(copy), -1);
    copy.leave();
}

TEST_F(CriticalSectionMaking, InitOfTheOnlyHandleDestroysTheOldLock) {
    CriticalSection guard("old");
    const Counts made = countsOf([&] { guard.init(3); });
    EXPECT_EQ(made[kCreateCriticalSection], 1);
    EXPECT_EQ(made[kDestroyCriticalSection], 1);
    EXPECT_EQ(made[kDeallocate], 3) << "shared part, count and name";
    EXPECT_EQ(handlesOf(guard), 1);
}

// --- Handles

TEST_F(CriticalSectionHandle, CopiesCostOneIncrementAndAreTheSameLock) {
    CriticalSection guard;
    const Counts made = countsOf([&] {
        CriticalSection copy(guard);
        EXPECT_EQ(&repOf(copy), &repOf(guard));
        EXPECT_EQ(handlesOf(guard), 2);
    });
    EXPECT_EQ(made, these({{kAtomicIncrement, 1}, {kAtomicDecrement, 1}}));
    EXPECT_EQ(handlesOf(guard), 1);
}

TEST_F(CriticalSectionHandle, CopiesExcludeEachOther) {
    CriticalSection guard;
    CriticalSection copy(guard);
    guard.enter();
    EXPECT_EQ(copy.owner(), ownId());
    EXPECT_EQ(attemptElsewhere(copy), -1);
    EXPECT_EQ(copy.attemptEntry(), 0);
    EXPECT_EQ(depthOf(guard), 2u);
    copy.leave();
    copy.leave();
    EXPECT_EQ(guard.owner(), 0u);
    EXPECT_EQ(attemptElsewhere(guard), 0);
}

TEST_F(CriticalSectionHandle, MadeSeparatelyDoNotExcludeEachOther) {
    CriticalSection guard;
    CriticalSection other;
    EXPECT_NE(repOf(guard).lock_.get(), repOf(other).lock_.get());
    guard.enter();
    EXPECT_EQ(other.owner(), 0u);
    EXPECT_EQ(attemptElsewhere(other), 0);
    guard.leave();
}

TEST_F(CriticalSectionHandle, AssignmentSharesTheOtherLockAndDropsItsOwn) {
    CriticalSection guard("kept");
    CriticalSection other("dropped");
    const long locks = platform().sync()->liveLocks();
    other = guard;
    EXPECT_EQ(platform().sync()->liveLocks(), locks - 1);
    EXPECT_EQ(&repOf(other), &repOf(guard));
    EXPECT_EQ(handlesOf(guard), 2);
    const CriticalSection& same = other;
    EXPECT_EQ(countsOf([&] { other = same; }).total(), 0);
    EXPECT_EQ(handlesOf(guard), 2);
}

TEST_F(CriticalSectionHandle, FromATemporaryIsNeverWithoutLock) {
    CriticalSection guard;
    CriticalSection moved(std::move(guard));
    EXPECT_EQ(&repOf(moved), &repOf(guard)) << "a move is a copy";
    guard.enter();
    guard.leave();
}

TEST_F(CriticalSectionHandle, MayBeCopiedAndDestroyedOnManyThreadsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 500;
    const CriticalSection guard("shared");
    const Rep* const rep = &repOf(guard);
    StartGate gate(kThreads);
    std::atomic<int> same{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            gate.wait();
            for (int round = 0; round < kRounds; ++round) {
                const CriticalSection copy(guard);
                if (&repOf(copy) == rep) ++same;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(same, kThreads * kRounds);
    EXPECT_EQ(handlesOf(guard), 1);
}

// --- Names

TEST_F(CriticalSectionName, IsACopyOfTheText) {
    char text[] = "file lock";
    CriticalSection guard(text);
    text[0] = 'X';
    EXPECT_EQ(guard.name(), "file lock");
    char later[] = "another";
    guard.setName(later);
    later[0] = 'X';
    EXPECT_EQ(guard.name(), "another");
}

TEST_F(CriticalSectionName, OfNothingOrOfNullIsEmptyAndTakesNoBlock) {
    for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
        const long blocks = platform().memory()->liveBlocks();
        CriticalSection guard(nothing);
        EXPECT_TRUE(guard.name().empty());
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks + 2);
        guard.setName("a name");
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks + 3);
        guard.setName(nothing);
        EXPECT_TRUE(guard.name().empty());
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks + 2) << "the text's block is released";
    }
}

TEST_F(CriticalSectionName, BelongsToTheLockNotToTheHandle) {
    CriticalSection guard;
    const CriticalSection copy(guard);
    guard.setName("ours");
    EXPECT_EQ(copy.name(), "ours");
    EXPECT_EQ(countsOf([&] { const auto shared = copy.name(); })[kAllocate], 0);
}

// --- Failures

TEST_F(CriticalSectionFailure, OfTheFactoryComesOutOfEveryConstructorAndLeavesNothing) {
    const auto expectNothingLeft = [](auto make) {
        const long blocks = platform().memory()->liveBlocks();
        platform().calls().fail(kCreateCriticalSection);
        EXPECT_THROW(make(), std::bad_alloc);
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
    };
    expectNothingLeft([] { CriticalSection guard; });
    expectNothingLeft([] { CriticalSection guard(5u); });
    expectNothingLeft([] { CriticalSection guard("name"); });
    expectNothingLeft([] { Rep rep(0); });
}

TEST_F(CriticalSectionFailure, OfAnAllocationLeavesNothing) {
    const auto expectNothingLeft = [] {};
    EXPECT_EQ(forEachFailingAllocation([] { CriticalSection guard; }, expectNothingLeft), 2);
    const long locks = platform().sync()->liveLocks();
    EXPECT_EQ(forEachFailingAllocation([] { CriticalSection guard("name"); },
                                       [&] { EXPECT_EQ(platform().sync()->liveLocks(), locks); }),
              3);
}

TEST_F(CriticalSectionFailure, OfCountingLeavesNothing) {
    for (const long nth : {1, 2, 3}) {
        const long blocks = platform().memory()->liveBlocks();
        const long locks = platform().sync()->liveLocks();
        platform().calls().fail(kAtomicIncrement, nth);
        try {
            CriticalSection guard;
            EXPECT_EQ(nth, 3) << "the platform's handle, then ours: no third increment";
        } catch (const std::bad_alloc&) {
            EXPECT_LT(nth, 3);
        }
        platform().calls().succeed(kAtomicIncrement);
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
        EXPECT_EQ(platform().sync()->liveLocks(), locks);
    }
}

TEST_F(CriticalSectionFailure, OfInitLeavesTheHandleOnItsLock) {
    CriticalSection guard("old");
    const Rep* const rep = &repOf(guard);
    guard.enter();
    const auto expectOldLock = [&] {
        EXPECT_EQ(&repOf(guard), rep);
        EXPECT_EQ(handlesOf(guard), 1);
        EXPECT_EQ(guard.owner(), ownId());
        EXPECT_EQ(guard.name(), "old");
    };
    platform().calls().fail(kCreateCriticalSection);
    EXPECT_THROW(guard.init(0), std::bad_alloc);
    expectOldLock();
    CriticalSection copy(guard);
    EXPECT_EQ(
        forEachFailingAllocation([&] { copy.init(0); }, [&] { EXPECT_EQ(handlesOf(guard), 2); }),
        2);
    expectOldLock();
    guard.leave();
}

TEST_F(CriticalSectionFailure, OfSetNameLeavesTheName) {
    CriticalSection guard("old");
    EXPECT_EQ(forEachFailingAllocation([&] { guard.setName("a new one"); },
                                       [&] { EXPECT_EQ(guard.name(), "old"); }),
              1);
    EXPECT_EQ(guard.name(), "a new one");
}

TEST(CriticalSectionDeathTest, AFailureInsideTheDestructorEndsTheProcess) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto destroy = [] {
        auto* const guard = new CriticalSection;
        auto refuse = [] { throw std::bad_alloc(); };
        platform().calls().intercept(kAtomicDecrement, refuse);
        delete guard;
    };
    EXPECT_DEATH(destroy(), "terminate");
}

TEST_F(CriticalSectionName, IsNotPrintedByDebugPrintWhichDoesNothing) {
    const CriticalSection guard("name");
    CapturedOutput output;
    const Counts made = countsOf([&] { guard.debugPrint(); });
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(made.total(), 0) << made;
}

} // namespace
