// What a CriticalSection does. Its handles: CriticalSectionTest.
#include "Vq/CriticalSection.h"

#include "support/LockTest.h"
#include "support/StartGate.h"

#include <array>
#include <atomic>
#include <climits>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

using CriticalSectionEntry = LockTest;
using CriticalSectionOwner = LockTest;
using CriticalSectionAttempt = LockTest;
using CriticalSectionAsLockable = LockTest;

// --- Entering and leaving

TEST_F(CriticalSectionEntry, TakesThePlatformLockOnceAndAsksForTheThreadOnceAtTheFirst) {
    CriticalSection guard;
    EXPECT_EQ(countsOf([&] { guard.enter(); }), these({{kAcquire, 1}, {kCurrentThreadId, 1}}));
    EXPECT_EQ(countsOf([&] { guard.enter(); }), these({{kAcquire, 1}}));
    EXPECT_EQ(countsOf([&] { EXPECT_EQ(guard.attemptEntry(), 0); }), these({{kTryAcquire, 1}}));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(countsOf([&] { guard.leave(); }), these({{kRelease, 1}}));
    }
    EXPECT_EQ(countsOf([&] { EXPECT_EQ(guard.attemptEntry(), 0); }),
              these({{kTryAcquire, 1}, {kCurrentThreadId, 1}}));
    guard.leave();
}

TEST_F(CriticalSectionEntry, KeepsItsBooksAfterAcquiringAndBeforeReleasing) {
    CriticalSection guard;
    std::vector<std::array<unsigned, 2>> seen;
    seen.reserve(4);
    auto look = [&] { seen.push_back({depthOf(guard), repOf(guard).owner_}); };
    for (const Call call : {kAcquire, kCurrentThreadId, kRelease}) {
        platform().calls().intercept(call, look);
    }
    platform().sync()->setThreadId(7);
    guard.enter();
    guard.leave();
    platform().calls().reset();
    EXPECT_EQ(seen, (std::vector<std::array<unsigned, 2>>{{0, 0}, {1, 0}, {0, 0}}));
}

TEST_F(CriticalSectionEntry, CountsTheDepthAndIsFreeToOthersOnlyAtTheEnd) {
    CriticalSection guard;
    constexpr unsigned kDepth = 1000;
    for (unsigned i = 1; i <= kDepth; ++i) {
        guard.enter();
        ASSERT_EQ(depthOf(guard), i);
    }
    for (unsigned i = kDepth; i > 0; --i) {
        ASSERT_EQ(depthOf(guard), i);
        if (i % 100 == 1) {
            EXPECT_EQ(attemptElsewhere(guard), -1);
        }
        guard.leave();
    }
    EXPECT_EQ(depthOf(guard), 0u);
    EXPECT_EQ(attemptElsewhere(guard), 0);
}

TEST_F(CriticalSectionEntry, WaitsForTheHolderAndSeesWhatItWrote) {
    CriticalSection guard;
    int plain = 0;
    std::atomic<bool> isInside{false};
    guard.enter();
    const long acquired = platform().calls().count(kAcquire);
    std::thread other([&] {
        guard.enter();
        isInside = true;
        EXPECT_EQ(plain, 1);
        EXPECT_EQ(guard.owner(), ownId());
        guard.leave();
    });
    while (platform().calls().count(kAcquire) == acquired) std::this_thread::yield();
    EXPECT_FALSE(isInside);
    EXPECT_EQ(depthOf(guard), 1u);
    plain = 1;
    guard.leave();
    other.join();
    EXPECT_TRUE(isInside);
    EXPECT_EQ(guard.owner(), 0u);
}

TEST_F(CriticalSectionEntry, ExcludesThreadsThatUseCopies) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 500;
    CriticalSection guard;
    StartGate gate(kThreads);
    long plain = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, copy = guard]() mutable {
            gate.wait();
            for (int round = 0; round < kRounds; ++round) {
                copy.enter();
                if (round % 2 == 0) {
                    ++plain;
                } else {
                    while (copy.attemptEntry() != 0) {
                    }
                    ++plain;
                    copy.leave();
                }
                copy.leave();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(plain, kThreads * kRounds);
    EXPECT_EQ(depthOf(guard), 0u);
    EXPECT_EQ(guard.owner(), 0u);
}

// --- The owner

TEST_F(CriticalSectionOwner, IsTheCallerUntilTheLastLeaveThenZero) {
    CriticalSection guard;
    guard.enter();
    guard.enter();
    guard.leave();
    EXPECT_EQ(guard.owner(), ownId());
    EXPECT_EQ(attemptElsewhere(guard), -1);
    guard.leave();
    EXPECT_EQ(guard.owner(), 0u);
}

TEST_F(CriticalSectionOwner, IsWhatThePlatformSaidAtTheFirstEntry) {
    CriticalSection guard;
    platform().sync()->setThreadId(UINT_MAX);
    guard.enter();
    platform().sync()->setThreadId(9);
    guard.enter();
    EXPECT_EQ(guard.attemptEntry(), 0);
    EXPECT_EQ(guard.owner(), UINT_MAX);
    for (int i = 0; i < 3; ++i) guard.leave();
    EXPECT_EQ(guard.attemptEntry(), 0);
    EXPECT_EQ(guard.owner(), 9u);
    guard.leave();
}

TEST_F(CriticalSectionOwner, IsToldToOtherThreadsWithoutTheLock) {
    CriticalSection guard;
    guard.enter();
    const unsigned mine = ownId();
    elsewhere([&] {
        EXPECT_NE(ownId(), mine);
        const Counts made = countsOf([&] { EXPECT_EQ(guard.owner(), mine); });
        EXPECT_EQ(made.total(), 0) << made;
    });
    guard.leave();
}

// --- Attempts

TEST_F(CriticalSectionAttempt, OfTheHolderNests) {
    CriticalSection guard;
    EXPECT_EQ(guard.attemptEntry(), 0);
    EXPECT_EQ(guard.attemptEntry(), 0);
    EXPECT_EQ(depthOf(guard), 2u);
    guard.leave();
    EXPECT_EQ(guard.owner(), ownId());
    guard.leave();
    EXPECT_EQ(guard.owner(), 0u);
}

TEST_F(CriticalSectionAttempt, OfAnotherThreadIsRefusedAndChangesNothing) {
    CriticalSection guard;
    guard.enter();
    guard.enter();
    elsewhere([&] {
        const Counts made = countsOf([&] { EXPECT_EQ(guard.attemptEntry(), -1); });
        EXPECT_EQ(made, these({{kTryAcquire, 1}}));
    });
    EXPECT_EQ(depthOf(guard), 2u);
    EXPECT_EQ(guard.owner(), ownId());
    guard.leave();
    guard.leave();
}

TEST_F(CriticalSectionAttempt, IsRefusedWhenThePlatformSaysSo) {
    CriticalSection guard;
    platform().calls().fail(kTryAcquire);
    EXPECT_EQ(guard.attemptEntry(), -1);
    EXPECT_EQ(depthOf(guard), 0u);
    EXPECT_EQ(guard.owner(), 0u);
    EXPECT_EQ(guard.attemptEntry(), 0);
    guard.leave();
}

// --- The standard's names

TEST_F(CriticalSectionAsLockable, HasTheSameOperations) {
    CriticalSection guard;
    EXPECT_EQ(countsOf([&] { guard.lock(); }), these({{kAcquire, 1}, {kCurrentThreadId, 1}}));
    EXPECT_EQ(countsOf([&] { EXPECT_TRUE(guard.try_lock()); }), these({{kTryAcquire, 1}}));
    EXPECT_EQ(depthOf(guard), 2u);
    elsewhere([&] { EXPECT_FALSE(guard.try_lock()); });
    EXPECT_EQ(countsOf([&] { guard.unlock(); }), these({{kRelease, 1}}));
    guard.unlock();
    EXPECT_EQ(guard.owner(), 0u);
}

TEST_F(CriticalSectionAsLockable, ServesUniqueLock) {
    CriticalSection guard;
    std::unique_lock<CriticalSection> hold(guard, std::try_to_lock);
    EXPECT_TRUE(hold.owns_lock());
    elsewhere([&] {
        const std::unique_lock<CriticalSection> refused(guard, std::try_to_lock);
        EXPECT_FALSE(refused.owns_lock());
    });
    hold.unlock();
    EXPECT_EQ(attemptElsewhere(guard), 0);
}

TEST_F(CriticalSectionAsLockable, ServesScopedLocksOfTwoInOppositeOrders) {
    constexpr int kRounds = 300;
    CriticalSection one;
    CriticalSection two;
    StartGate gate(2);
    int plain = 0;
    const auto work = [&](CriticalSection& first, CriticalSection& second) {
        gate.wait();
        for (int round = 0; round < kRounds; ++round) {
            const std::scoped_lock hold(first, second);
            ++plain;
        }
    };
    std::thread other([&] { work(two, one); });
    work(one, two);
    other.join();
    EXPECT_EQ(plain, 2 * kRounds);
    EXPECT_EQ(one.owner() + two.owner(), 0u);
}

} // namespace
