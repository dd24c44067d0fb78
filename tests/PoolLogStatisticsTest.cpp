#include "Vq/PoolLog.h"

#include "support/PoolLogTest.h"
#include "support/StartGate.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::PooledObjectDebug::LoggingTraitsBase;

class PoolLogCount : public PoolLogTest {};
class PoolLogRate : public PoolLogTest {};
class PoolLogClock : public PoolLogTest {};

void setNow(double milliseconds) {
    platform().utils()->setNow(milliseconds);
}

/// Takes one object out of the pool, after the clock was set.
void popAt(LoggingTraitsBase& log, double milliseconds) {
    setNow(milliseconds);
    log.ltb_afterPop(nullptr, 0);
}

void pop(LoggingTraitsBase& log, int times = 1) {
    for (int i = 0; i < times; ++i) log.ltb_afterPop(nullptr, 0);
}

void push(LoggingTraitsBase& log, int times = 1) {
    for (int i = 0; i < times; ++i) log.ltb_afterPush(nullptr, 0);
}

/// The counters that calls of one kind went to, in their order.
std::vector<const void*> countersOf(const RecordedCalls& calls, Call kind) {
    std::vector<const void*> counters;
    for (const RecordedCall& call : calls) {
        if (call.call == kind) counters.push_back(call.address);
    }
    return counters;
}

// --- Objects in use

TEST_F(PoolLogCount, StartsAtZero) {
    const LoggingTraitsBase log("pool");
    EXPECT_EQ(log.inUse(), 0);
    EXPECT_EQ(log.maxInUse(), 0);
    EXPECT_EQ(log.peakRate(), 0.0);
}

TEST_F(PoolLogCount, RisesWithPopsAndFallsWithPushes) {
    LoggingTraitsBase log("pool");
    pop(log, 3);
    EXPECT_EQ(log.inUse(), 3);
    push(log);
    EXPECT_EQ(log.inUse(), 2);
    pop(log);
    EXPECT_EQ(log.inUse(), 3);
    push(log, 3);
    EXPECT_EQ(log.inUse(), 0);
}

TEST_F(PoolLogCount, KeepsTheHighestNumber) {
    LoggingTraitsBase log("pool");
    pop(log, 3);
    EXPECT_EQ(log.maxInUse(), 3);
    push(log, 2);
    EXPECT_EQ(log.maxInUse(), 3);
    pop(log);
    EXPECT_EQ(log.maxInUse(), 3) << "two in use";
    pop(log, 2);
    EXPECT_EQ(log.maxInUse(), 4);
    push(log, 4);
    EXPECT_EQ(log.maxInUse(), 4);
}

TEST_F(PoolLogCount, GoesBelowZeroForAPoolFilledByPushes) {
    LoggingTraitsBase log("pool");
    push(log, 5);
    EXPECT_EQ(log.inUse(), -5);
    EXPECT_EQ(log.maxInUse(), 0);
    pop(log, 4);
    EXPECT_EQ(log.inUse(), -1);
    EXPECT_EQ(log.maxInUse(), 0);
    pop(log, 2);
    EXPECT_EQ(log.inUse(), 1);
    EXPECT_EQ(log.maxInUse(), 1);
}

TEST_F(PoolLogCount, IsKeptInEveryPhaseOfTheClock) {
    LoggingTraitsBase log("pool");
    popAt(log, 0.0);     // too early to be measured
    popAt(log, 10000.0); // opens an interval
    popAt(log, 10050.0); // within it
    popAt(log, 10200.0); // ends it
    EXPECT_EQ(log.inUse(), 4);
    EXPECT_EQ(log.maxInUse(), 4);
}

TEST_F(PoolLogCount, DiffersFromPoolToPool) {
    LoggingTraitsBase frames("frames");
    LoggingTraitsBase buffers("buffers");
    pop(frames, 2);
    pop(buffers, 5);
    push(buffers);
    EXPECT_EQ(frames.inUse(), 2);
    EXPECT_EQ(frames.maxInUse(), 2);
    EXPECT_EQ(buffers.inUse(), 4);
    EXPECT_EQ(buffers.maxInUse(), 5);
}

TEST_F(PoolLogCount, LooksAtNeitherObjectNorSize) {
    LoggingTraitsBase log("pool");
    void* const nowhere = reinterpret_cast<void*>(0x10);
    log.ltb_afterPop(nowhere, ~0ul);
    log.ltb_afterPop(nullptr, 0);
    EXPECT_EQ(log.inUse(), 2);
    log.ltb_afterPush(nowhere, ~0ul);
    log.ltb_afterPush(nullptr, 0);
    EXPECT_EQ(log.inUse(), 0);
}

TEST_F(PoolLogCount, IsUnaffectedByTheHooksBeforePushAndPop) {
    LoggingTraitsBase log("pool");
    pop(log, 2);
    setNow(10000.0);
    int object = 0;
    const Counts made = countsOf([&] {
        log.ltb_beforePop(sizeof object);
        log.ltb_beforePush(&object, sizeof object);
    });
    EXPECT_EQ(made.total(), 0) << made;
    EXPECT_EQ(log.inUse(), 2);
    EXPECT_EQ(log.maxInUse(), 2);
}

TEST_F(PoolLogCount, IsChangedByThePlatformsAtomicOperations) {
    LoggingTraitsBase log("pool");
    const RecordedCalls taken = callsOf([&] { pop(log); });
    const RecordedCalls given = callsOf([&] { push(log); });
    EXPECT_EQ(countersOf(taken, kAtomicIncrement), countersOf(given, kAtomicDecrement));
    EXPECT_EQ(countersOf(taken, kAtomicIncrement).size(), 1u);
}

TEST_F(PoolLogCount, FallsAtTheCostOfOneDecrementAndNothingElse) {
    LoggingTraitsBase log("pool");
    setNow(10000.0);
    const Counts made = countsOf([&] { push(log); });
    EXPECT_EQ(made[kAtomicDecrement], 1);
    EXPECT_EQ(made.total(), 1) << made;
}

TEST_F(PoolLogCount, IsReadWithoutThePlatform) {
    LoggingTraitsBase log("pool");
    pop(log);
    const Counts made = countsOf([&] {
        EXPECT_EQ(log.inUse(), 1);
        EXPECT_EQ(log.maxInUse(), 1);
        EXPECT_EQ(log.peakRate(), 0.0);
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(PoolLogCount, IsExactWhenThreadsUseThePoolTogether) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    LoggingTraitsBase log("pool");
    platform().utils()->setStep(1.0); // through all phases of the clock
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            gate.wait();
            for (int round = 0; round < kRounds; ++round) {
                pop(log, 2);
                push(log);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(log.inUse(), kThreads * kRounds);
    EXPECT_GE(log.maxInUse(), 1);
    EXPECT_LE(log.maxInUse(), kThreads * (kRounds + 1));
}

// --- The rate

TEST_F(PoolLogRate, IsNotMeasuredInTheFirstSevenAndAHalfSeconds) {
    setNow(1000.0);
    LoggingTraitsBase log("pool");
    for (double time = 1000.0; time < 8500.0; time += 150.0) {
        setNow(time);
        pop(log, 20);
    }
    EXPECT_EQ(log.peakRate(), 0.0);
}

TEST_F(PoolLogRate, DoesNotCountTheFirstSevenAndAHalfSecondsLater) {
    LoggingTraitsBase log("pool");
    setNow(7450.0);
    pop(log, 1000);
    popAt(log, 7600.0); // would end an interval, had one been open
    EXPECT_EQ(log.peakRate(), 0.0);
    popAt(log, 7701.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 1000.0 * (1.0 / 101.0));
}

TEST_F(PoolLogRate, OfTheFirstPopAfterwardsIsZero) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    EXPECT_EQ(log.peakRate(), 0.0);
    EXPECT_EQ(log.inUse(), 1);
}

TEST_F(PoolLogRate, OfTwentyPopsInAFifthOfASecondIsAHundred) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    for (int i = 1; i <= 19; ++i) popAt(log, 10000.0 + 5.0 * i);
    EXPECT_EQ(log.peakRate(), 0.0) << "the interval is not over";
    popAt(log, 10200.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 100.0);
}

TEST_F(PoolLogRate, CountsThePopThatOpensAnInterval) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    popAt(log, 10200.0); // ends the first with one pop in it, opens the second
    EXPECT_DOUBLE_EQ(log.peakRate(), 5.0);
    popAt(log, 10250.0);
    popAt(log, 10300.0);
    popAt(log, 10325.0); // the second had three, in 125 ms
    EXPECT_DOUBLE_EQ(log.peakRate(), 24.0);
}

TEST_F(PoolLogRate, StartsAnIntervalWithThePopThatEndsTheOneBefore) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    popAt(log, 10150.0);
    popAt(log, 10250.0); // exactly 100 ms: still the second interval
    EXPECT_DOUBLE_EQ(log.peakRate(), 1000.0 * (1.0 / 150.0));
    popAt(log, 10251.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 1000.0 * (2.0 / 101.0));
}

TEST_F(PoolLogRate, SpreadsTheCountOverALongPause) {
    LoggingTraitsBase log("pool");
    setNow(10000.0);
    pop(log, 50);
    popAt(log, 20000.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 5.0);
}

TEST_F(PoolLogRate, KeepsTheHighest) {
    LoggingTraitsBase log("pool");
    setNow(10000.0);
    pop(log, 20);
    setNow(10200.0);
    pop(log, 5); // ends the interval of 100 per second
    popAt(log, 10400.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 100.0) << "the second interval had 25 per second";
    setNow(10500.0);
    pop(log, 43);
    popAt(log, 10600.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 220.0);
}

TEST_F(PoolLogRate, LeavesPushesOut) {
    LoggingTraitsBase log("pool");
    setNow(10000.0);
    pop(log, 10);
    push(log, 10);
    popAt(log, 10200.0);
    EXPECT_DOUBLE_EQ(log.peakRate(), 50.0);
}

TEST_F(PoolLogRate, DiffersFromPoolToPool) {
    LoggingTraitsBase frames("frames");
    LoggingTraitsBase buffers("buffers");
    setNow(10000.0);
    pop(frames, 10);
    pop(buffers, 30);
    setNow(10200.0);
    pop(frames);
    pop(buffers);
    EXPECT_DOUBLE_EQ(frames.peakRate(), 50.0);
    EXPECT_DOUBLE_EQ(buffers.peakRate(), 150.0);
}

// --- Which reading of the clock is used where

double justAbove(double milliseconds) {
    return std::nextafter(milliseconds, 1e9);
}

long readingsOf(LoggingTraitsBase& log) {
    return countsOf([&] { pop(log); })[kNow];
}

TEST_F(PoolLogClock, IsReadOnceByTheConstructor) {
    const Counts made = countsOf([] { const LoggingTraitsBase log("pool"); });
    EXPECT_EQ(made[kNow], 1);
}

TEST_F(PoolLogClock, EndsTheGracePeriodAboveSevenThousandFiveHundredOnly) {
    setNow(250.0);
    LoggingTraitsBase log("pool");
    setNow(7750.0);
    const Counts within = countsOf([&] { pop(log); });
    EXPECT_EQ(within[kNow], 1);
    EXPECT_EQ(within[kAtomicIncrement], 1);
    EXPECT_EQ(within.total(), 2) << within;
    setNow(justAbove(7750.0));
    EXPECT_GT(readingsOf(log), 1);
}

TEST_F(PoolLogClock, EndsAnIntervalAboveAHundredOnly) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    setNow(10100.0);
    const RecordedCalls within = callsOf([&] { pop(log); });
    EXPECT_EQ(std::ranges::count(within, kNow, &RecordedCall::call), 2);
    const std::vector<const void*> counters = countersOf(within, kAtomicIncrement);
    ASSERT_EQ(counters.size(), 2u) << "the objects in use and the pops of the interval";
    EXPECT_NE(counters[0], counters[1]);
    EXPECT_EQ(within.size(), 4u);

    setNow(justAbove(10100.0));
    const RecordedCalls over = callsOf([&] { pop(log); });
    EXPECT_EQ(countersOf(over, kAtomicIncrement), std::vector<const void*>{counters[0]});
    EXPECT_DOUBLE_EQ(log.peakRate(), 1000.0 * (2.0 / (justAbove(10100.0) - 10000.0)));
}

TEST_F(PoolLogClock, IsReadFiveTimesForANewPeakAndFourTimesForNone) {
    LoggingTraitsBase log("pool");
    setNow(10000.0);
    EXPECT_EQ(readingsOf(log), 4) << "opens the first interval with rate 0";
    setNow(10200.0);
    EXPECT_EQ(readingsOf(log), 5) << "the first rate";
    setNow(10400.0);
    EXPECT_EQ(readingsOf(log), 4) << "the same rate";
    setNow(10900.0);
    EXPECT_EQ(readingsOf(log), 4) << "a lower one";
    setNow(11001.0);
    EXPECT_EQ(readingsOf(log), 5) << "a higher one";
}

TEST_F(PoolLogClock, ComparesTheFirstReadingWithTheGracePeriod) {
    LoggingTraitsBase log("pool");
    platform().utils()->setStep(1.0);
    setNow(7500.0);
    EXPECT_EQ(readingsOf(log), 1) << "later readings would be above";
    setNow(7500.5);
    EXPECT_EQ(readingsOf(log), 4);
}

TEST_F(PoolLogClock, ComparesTheSecondReadingWithTheInterval) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    platform().utils()->setStep(1.0);
    setNow(10099.0);
    EXPECT_EQ(readingsOf(log), 2) << "the second one is 100 behind";
    setNow(10099.5);
    EXPECT_EQ(readingsOf(log), 5) << "the second one is above, the first was not";
}

TEST_F(PoolLogClock, DividesByTheThirdReading) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    platform().utils()->setStep(50.0);
    popAt(log, 10100.0); // 10100, 10150, 10200
    EXPECT_DOUBLE_EQ(log.peakRate(), 5.0);
}

TEST_F(PoolLogClock, NotesTheFourthReadingForAPeak) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    platform().utils()->setStep(50.25);
    popAt(log, 10099.5); // 10099.5, 10149.75, 10200, 10250.25
    log.dump();
    EXPECT_TRUE(
        file.summaries().starts_with("pool: maxInUse 2 Peak Demand 5.00 allocs/sec @ 10250.25 "))
        << file.summaries();
}

TEST_F(PoolLogClock, StartsAnIntervalAtTheFifthReadingAfterAPeak) {
    LoggingTraitsBase log("pool");
    popAt(log, 10000.0);
    platform().utils()->setStep(50.0);
    popAt(log, 10200.0); // the fifth is 10400
    platform().utils()->setStep(0.0);
    setNow(10500.0);
    EXPECT_EQ(readingsOf(log), 2);
    setNow(10500.5);
    EXPECT_GT(readingsOf(log), 2);
}

TEST_F(PoolLogClock, StartsAnIntervalAtTheFourthReadingWithoutOne) {
    LoggingTraitsBase log("pool");
    platform().utils()->setStep(50.0);
    popAt(log, 10000.0); // rate 0, the fourth is 10150
    platform().utils()->setStep(0.0);
    setNow(10250.0);
    EXPECT_EQ(readingsOf(log), 2);
    setNow(10250.5);
    EXPECT_GT(readingsOf(log), 2);
    EXPECT_DOUBLE_EQ(log.peakRate(), 1000.0 * (2.0 / 100.5));
}

TEST_F(PoolLogClock, MayStartBelowZero) {
    setNow(-9000.0);
    LoggingTraitsBase log("pool");
    setNow(100.0);
    // The first interval counts as opened at 0 and is not over at 100.
    EXPECT_EQ(readingsOf(log), 2);
    setNow(200.0);
    EXPECT_EQ(readingsOf(log), 5);
    EXPECT_DOUBLE_EQ(log.peakRate(), 5.0);
}

} // namespace
