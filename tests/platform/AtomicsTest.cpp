#include "Vq/Platform.h"
#include "support/StartGate.h"

#include <climits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using vqtest::StartGate;

constexpr int kThreads = 4;
constexpr int kEach = 50000;

/// Runs `body(thread number)` on all threads at once.
template <class Body> void onAllThreads(Body body) {
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&gate, &body, t] {
            gate.wait();
            body(t);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

/// Adds `amount` by swapping until no other thread came between.
void addBySwapping(long* target, long amount) {
    long seen = 0;
    for (;;) {
        const long found = OS()->atomics()->compareAndSwap(target, seen + amount, seen);
        if (found == seen) return;
        seen = found;
    }
}

TEST(PlatformAtomics, CountUpAndDownAndReturnTheValueAfter) {
    int counter = -2;
    EXPECT_EQ(OS()->atomics()->atomicIncrement(&counter), -1);
    EXPECT_EQ(OS()->atomics()->atomicIncrement(&counter), 0);
    EXPECT_EQ(OS()->atomics()->atomicIncrement(&counter), 1);
    EXPECT_EQ(counter, 1);
    EXPECT_EQ(OS()->atomics()->atomicDecrement(&counter), 0);
    EXPECT_EQ(OS()->atomics()->atomicDecrement(&counter), -1);
    EXPECT_EQ(counter, -1);
}

TEST(PlatformAtomics, TouchNothingBesideTheCounter) {
    int counters[] = {-1, -1, -1};
    OS()->atomics()->atomicIncrement(&counters[1]);
    OS()->atomics()->atomicDecrement(&counters[1]);
    OS()->atomics()->atomicIncrement(&counters[1]);
    EXPECT_EQ(counters[0], -1);
    EXPECT_EQ(counters[1], 0);
    EXPECT_EQ(counters[2], -1);
}

TEST(PlatformAtomics, SwapWhatIsExpectedAndReturnWhatWasThere) {
    long target = 5;
    EXPECT_EQ(OS()->atomics()->compareAndSwap(&target, 9, 5), 5);
    EXPECT_EQ(target, 9);
    EXPECT_EQ(OS()->atomics()->compareAndSwap(&target, 9, 9), 9) << "a value for itself";
    EXPECT_EQ(target, 9);
}

TEST(PlatformAtomics, LeaveWhatIsNotExpectedAndReturnIt) {
    long target = 5;
    EXPECT_EQ(OS()->atomics()->compareAndSwap(&target, 9, 4), 5);
    EXPECT_EQ(target, 5);
}

TEST(PlatformAtomics, CompareAndSwapAllSixtyFourBits) {
    long target = 1L << 32;
    EXPECT_EQ(OS()->atomics()->compareAndSwap(&target, 7, 0), 1L << 32);
    EXPECT_EQ(target, 1L << 32);
    EXPECT_EQ(OS()->atomics()->compareAndSwap(&target, LONG_MIN, 1L << 32), 1L << 32);
    EXPECT_EQ(target, LONG_MIN);
    EXPECT_EQ(OS()->atomics()->compareAndSwap(&target, LONG_MAX, LONG_MIN), LONG_MIN);
    EXPECT_EQ(target, LONG_MAX);
}

TEST(PlatformAtomics, LoseNoCountOnSeveralThreads) {
    int up = 0;
    int down = kThreads * kEach;
    int both = 0;
    onAllThreads([&](int t) {
        for (int i = 0; i < kEach; ++i) {
            OS()->atomics()->atomicIncrement(&up);
            OS()->atomics()->atomicDecrement(&down);
            if (t % 2 == 0) {
                OS()->atomics()->atomicIncrement(&both);
            } else {
                OS()->atomics()->atomicDecrement(&both);
            }
        }
    });
    EXPECT_EQ(up, kThreads * kEach);
    EXPECT_EQ(down, 0);
    EXPECT_EQ(both, 0);
}

TEST(PlatformAtomics, GiveEveryValueToOneThreadOnly) {
    int counter = kThreads * kEach;
    int reachedZero[kThreads] = {};
    std::vector<int> seen(static_cast<std::size_t>(counter));
    onAllThreads([&](int t) {
        for (int i = 0; i < kEach; ++i) {
            const int value = OS()->atomics()->atomicDecrement(&counter);
            ++seen[static_cast<std::size_t>(value)]; // no other thread was given this one
            if (value == 0) ++reachedZero[t];
        }
    });
    EXPECT_EQ(seen, std::vector<int>(static_cast<std::size_t>(kThreads * kEach), 1));
    EXPECT_EQ(reachedZero[0] + reachedZero[1] + reachedZero[2] + reachedZero[3], 1);
}

TEST(PlatformAtomics, LoseNoSwapOnSeveralThreads) {
    // Two counters in one word, as the reader/writer gate packs them.
    constexpr long kHigh = 1L << 32;
    long word = 0;
    onAllThreads([&](int t) {
        for (int i = 0; i < kEach; ++i) addBySwapping(&word, t % 2 == 0 ? 1 : kHigh);
    });
    EXPECT_EQ(word, kThreads / 2 * kEach * (kHigh + 1));
}

TEST(PlatformAtomics, OrderTheMemoryAroundThem) {
    // Each thread raises its own flag and then looks at the other's: without a full barrier
    // between, both could miss the other.
    for (int round = 0; round < 2000; ++round) {
        StartGate gate(2);
        int flags[2] = {};
        int counters[2] = {};
        int seen[2] = {};
        const auto run = [&](int own) {
            gate.wait();
            __atomic_store_n(&flags[own], 1, __ATOMIC_RELAXED);
            OS()->atomics()->atomicIncrement(&counters[own]);
            seen[own] = __atomic_load_n(&flags[1 - own], __ATOMIC_RELAXED);
        };
        std::thread other([&] { run(1); });
        run(0);
        other.join();
        ASSERT_TRUE(seen[0] == 1 || seen[1] == 1) << round;
    }
}

} // namespace
