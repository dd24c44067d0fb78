#include "Vq/VqLockFreeRW.h"

#include "VqTest/CapturedOutput.h"
#include "VqTest/ScriptedTest.h"

#include <array>
#include <climits>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::LockFree::RWLock;

using Halves = std::array<int, 2>; // readers, writers

static_assert(sizeof(RWLock) == 8 && alignof(RWLock) == 8);
static_assert(!std::is_polymorphic_v<RWLock>);
static_assert(!std::is_copy_constructible_v<RWLock> && !std::is_copy_assignable_v<RWLock>);
static_assert(!std::is_convertible_v<long, RWLock>);
static_assert(std::is_same_v<decltype(std::declval<RWLock&>().openRead()), int>);
static_assert(std::is_same_v<decltype(std::declval<RWLock&>().closeRead()), int>);
static_assert(std::is_same_v<decltype(std::declval<RWLock&>().openWrite()), int>);
static_assert(std::is_same_v<decltype(std::declval<RWLock&>().closeWrite()), int>);

constexpr char kNoReader[] = "assertion failed var.readers_ at ole/Vq/VqLockFreeRW line 79\n";
constexpr char kWriterAtRead[] =
    "assertion failed var.writers_ == 0 at ole/Vq/VqLockFreeRW line 80\n";
constexpr char kNoWriter[] = "assertion failed var.writers_ == 1 at ole/Vq/VqLockFreeRW line 111\n";
constexpr char kReaderAtWrite[] =
    "assertion failed var.readers_ == 0 at ole/Vq/VqLockFreeRW line 112\n";

class RWLockTest : public ScriptedTest {
protected:
    static Halves halvesOf(const RWLock& gate) {
        Halves halves;
        std::memcpy(&halves, static_cast<const void*>(&gate), sizeof(halves));
        return halves;
    }

    static void store(RWLock& gate, Halves halves) {
        std::memcpy(static_cast<void*>(&gate), &halves, sizeof(halves));
    }

    static long wordOf(const RWLock& gate) {
        long word;
        std::memcpy(&word, static_cast<const void*>(&gate), sizeof(word));
        return word;
    }

    /// The result of `operation()`, for which the platform's atomics are asked so often.
    template <class Operation>
    static int resultWith(long swaps, long decrements, Operation operation) {
        int result = INT_MIN;
        Counts expected;
        expected[kCompareAndSwap] = swaps;
        expected[kAtomicDecrement] = decrements;
        const Counts made = countsOf([&] { result = operation(); });
        EXPECT_EQ(made, expected);
        return result;
    }

    /// Runs `hook()` in front of every swap from now on.
    template <class Hook> static void beforeSwaps(Hook& hook) {
        platform().calls().intercept(kCompareAndSwap, hook);
    }
};

using RWLockLayout = RWLockTest;
using RWLockRead = RWLockTest;
using RWLockWrite = RWLockTest;
using RWLockInterference = RWLockTest;
using RWLockExtreme = RWLockTest;
using RWLockForceClose = RWLockTest;
using RWLockAsSharedMutex = RWLockTest;

// --- Layout

TEST_F(RWLockLayout, HasTheReadersInTheLowHalfAndTheWritersInTheHighOne) {
    for (const Halves halves :
         {Halves{0, 0}, Halves{3, 0}, Halves{0, 1}, Halves{5, 7}, Halves{-1, 0}, Halves{0, -1},
          Halves{-1, -1}, Halves{-2, 1}, Halves{INT_MAX, INT_MIN}, Halves{INT_MIN, INT_MAX}}) {
        const RWLock gate(halves[0], halves[1]);
        EXPECT_EQ(halvesOf(gate), halves);
        EXPECT_EQ(gate.readers(), halves[0]);
        EXPECT_EQ(gate.writers(), halves[1]);
    }
    EXPECT_EQ(wordOf(RWLock(3, 0)), 3L);
    EXPECT_EQ(wordOf(RWLock(0, 1)), 0x1'0000'0000L);
    EXPECT_EQ(wordOf(RWLock(-1, 0)), 0xFFFF'FFFFL) << "the sign does not reach the writers";
}

TEST_F(RWLockLayout, OfTheTwoConstructorsIsTheSame) {
    for (const Halves halves : {Halves{0, 0}, Halves{3, 0}, Halves{0, 1}, Halves{-1, 1},
                                Halves{INT_MIN, -1}, Halves{INT_MAX, INT_MAX}}) {
        const RWLock parts(halves[0], halves[1]);
        const RWLock packed(wordOf(parts));
        EXPECT_EQ(halvesOf(packed), halves);
        EXPECT_EQ(wordOf(packed), wordOf(parts));
    }
    EXPECT_EQ(halvesOf(RWLock(0x1'0000'0002L)), (Halves{2, 1}));
    EXPECT_EQ(halvesOf(RWLock(-1L)), (Halves{-1, -1}));
}

TEST_F(RWLockLayout, IsFreeAtFirst) {
    const RWLock gate;
    EXPECT_EQ(gate.readers(), 0);
    EXPECT_EQ(gate.writers(), 0);
}

TEST_F(RWLockLayout, IsReadWithoutThePlatform) {
    const Counts made = countsOf([] {
        const RWLock gate(3, 0);
        EXPECT_EQ(gate.readers(), 3);
        EXPECT_EQ(gate.writers(), 0);
    });
    EXPECT_EQ(made.total(), 0) << made;
}

// --- Readers

TEST_F(RWLockRead, EntersAFreeGateAndOneWithReadersByOneSwapEach) {
    RWLock gate(0, 0);
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(resultWith(1, 0, [&] { return gate.openRead(); }), 0);
        EXPECT_EQ(halvesOf(gate), (Halves{i, 0}));
    }
    for (int i = 4; i >= 0; --i) {
        EXPECT_EQ(resultWith(0, 1, [&] { return gate.closeRead(); }), i);
        EXPECT_EQ(halvesOf(gate), (Halves{i, 0}));
    }
}

TEST_F(RWLockRead, SwapsTheWholeWordAndDecrementsTheLowHalf) {
    RWLock gate(2, 0);
    const RecordedCalls opened = callsOf([&] { gate.openRead(); });
    EXPECT_EQ(opened, (RecordedCalls{{kCompareAndSwap, &gate, 3}}));
    const RecordedCalls closed = callsOf([&] { gate.closeRead(); });
    EXPECT_EQ(closed, (RecordedCalls{{kAtomicDecrement, &gate, 0}}));
}

TEST_F(RWLockRead, IsRefusedWithoutASwapWhileAWriterIsInside) {
    RWLock gate(0, 0);
    ASSERT_EQ(gate.openWrite(), 0);
    EXPECT_EQ(resultWith(0, 0, [&] { return gate.openRead(); }), -1);
    EXPECT_EQ(halvesOf(gate), (Halves{0, 1}));
    gate.closeWrite();
    EXPECT_EQ(gate.openRead(), 0);
}

TEST_F(RWLockRead, IsRefusedForAnyCountOfWritersButZero) {
    for (const int writers : {1, 2, -1, INT_MAX, INT_MIN}) {
        RWLock gate(0, writers);
        EXPECT_EQ(resultWith(0, 0, [&] { return gate.openRead(); }), -1);
        EXPECT_EQ(halvesOf(gate), (Halves{0, writers}));
    }
}

// --- Writers

TEST_F(RWLockWrite, EntersAFreeGateByOneSwap) {
    RWLock gate(0, 0);
    EXPECT_EQ(resultWith(1, 0, [&] { return gate.openWrite(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{0, 1}));
    EXPECT_EQ(resultWith(0, 1, [&] { return gate.closeWrite(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{0, 0}));
}

TEST_F(RWLockWrite, SwapsTheWholeWordAndDecrementsTheHighHalf) {
    RWLock gate(0, 0);
    const RecordedCalls opened = callsOf([&] { gate.openWrite(); });
    EXPECT_EQ(opened, (RecordedCalls{{kCompareAndSwap, &gate, 0x1'0000'0000}}));
    const RecordedCalls closed = callsOf([&] { gate.closeWrite(); });
    const void* const high = reinterpret_cast<const char*>(&gate) + 4;
    EXPECT_EQ(closed, (RecordedCalls{{kAtomicDecrement, high, 0}}));
}

TEST_F(RWLockWrite, IsRefusedWithoutASwapWhileAnythingIsInside) {
    for (const Halves inside : {Halves{1, 0}, Halves{2, 0}, Halves{0, 1}, Halves{-1, 0},
                                Halves{0, -1}, Halves{1, 1}, Halves{INT_MIN, 0}}) {
        RWLock gate(inside[0], inside[1]);
        EXPECT_EQ(resultWith(0, 0, [&] { return gate.openWrite(); }), -1);
        EXPECT_EQ(halvesOf(gate), inside);
    }
}

TEST_F(RWLockWrite, EntersOnlyWhenTheLastReaderHasLeft) {
    RWLock gate(0, 0);
    EXPECT_EQ(gate.openRead(), 0);
    EXPECT_EQ(gate.openRead(), 0);
    EXPECT_EQ(gate.openWrite(), -1);
    EXPECT_EQ(gate.closeRead(), 1);
    EXPECT_EQ(gate.openWrite(), -1);
    EXPECT_EQ(gate.closeRead(), 0);
    EXPECT_EQ(gate.openWrite(), 0);
}

TEST_F(RWLockWrite, ThatLosesTheRaceIsRefusedAfterOneAttempt) {
    for (const Halves winner : {Halves{1, 0}, Halves{0, 1}, Halves{-1, 0}}) {
        RWLock gate(0, 0);
        auto interfere = [&] { store(gate, winner); };
        beforeSwaps(interfere);
        EXPECT_EQ(resultWith(1, 0, [&] { return gate.openWrite(); }), -1);
        EXPECT_EQ(halvesOf(gate), winner);
    }
}

// --- Others that come between the reads and the swap

TEST_F(RWLockInterference, OfReadersIsOutlastedForSevenAttempts) {
    RWLock gate(0, 0);
    int readers = 0;
    auto interfere = [&] { store(gate, {++readers, 0}); };
    beforeSwaps(interfere);
    EXPECT_EQ(resultWith(7, 0, [&] { return gate.openRead(); }), -1);
    EXPECT_EQ(halvesOf(gate), (Halves{7, 0})) << "what the others left";
}

TEST_F(RWLockInterference, OfReadersThatEndsLetsTheNextAttemptIn) {
    for (int others = 0; others < 7; ++others) {
        RWLock gate(100, 0);
        int come = 0;
        auto interfere = [&] {
            if (come < others) store(gate, {100 + ++come, 0});
        };
        beforeSwaps(interfere);
        EXPECT_EQ(resultWith(others + 1, 0, [&] { return gate.openRead(); }), 0);
        EXPECT_EQ(halvesOf(gate), (Halves{101 + others, 0})) << "nobody is lost";
    }
}

TEST_F(RWLockInterference, OfReadersThatLeaveIsAFailedAttemptAsWell) {
    RWLock gate(3, 0);
    bool left = false;
    auto interfere = [&] {
        if (!std::exchange(left, true)) store(gate, {0, 0});
    };
    beforeSwaps(interfere);
    EXPECT_EQ(resultWith(2, 0, [&] { return gate.openRead(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{1, 0}));
}

TEST_F(RWLockInterference, OfAWriterRefusesTheReaderBetweenItsAttempts) {
    for (int attempt = 1; attempt <= 7; ++attempt) {
        RWLock gate(0, 0);
        int made = 0;
        auto interfere = [&] {
            ++made;
            store(gate, made == attempt ? Halves{0, 1} : Halves{made, 0});
        };
        beforeSwaps(interfere);
        EXPECT_EQ(resultWith(attempt, 0, [&] { return gate.openRead(); }), -1);
        EXPECT_EQ(halvesOf(gate), (Halves{0, 1}));
    }
}

TEST_F(RWLockInterference, ThatLeavesNoTraceIsOutlastedAllTheSame) {
    RWLock gate(3, 0);
    platform().calls().failFrom(kCompareAndSwap);
    EXPECT_EQ(resultWith(7, 0, [&] { return gate.openRead(); }), -1);
    platform().calls().fail(kCompareAndSwap, 1);
    EXPECT_EQ(resultWith(2, 0, [&] { return gate.openRead(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{4, 0}));

    RWLock free(0, 0);
    platform().calls().fail(kCompareAndSwap);
    EXPECT_EQ(resultWith(1, 0, [&] { return free.openWrite(); }), -1);
    EXPECT_EQ(halvesOf(free), (Halves{0, 0}));
}

TEST_F(RWLockInterference, OfAWriterThatHasLeftAgainIsNotNoticed) {
    RWLock gate(0, 0);
    auto comeAndGo = [&] {
        store(gate, {0, 1});
        store(gate, {0, 0});
    };
    beforeSwaps(comeAndGo);
    EXPECT_EQ(resultWith(1, 0, [&] { return gate.openRead(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{1, 0}));
}

// --- Unbalanced closes print and go on

class RWLockUnbalanced : public RWLockTest {
protected:
    struct Closed {
        std::string printed;
        int result;
        Halves left;

        friend bool operator==(const Closed&, const Closed&) = default;
    };

    template <class Close> static Closed close(Halves from, Close close) {
        RWLock gate(from[0], from[1]);
        CapturedOutput output;
        const int result = resultWith(0, 1, [&] { return (gate.*close)(); });
        return {output.text(), result, halvesOf(gate)};
    }

    static Closed closeRead(Halves from) { return close(from, &RWLock::closeRead); }
    static Closed closeWrite(Halves from) { return close(from, &RWLock::closeWrite); }
};

TEST_F(RWLockUnbalanced, BalancedClosesPrintNothing) {
    EXPECT_EQ(closeRead({1, 0}), (Closed{"", 0, {0, 0}}));
    EXPECT_EQ(closeRead({8, 0}), (Closed{"", 7, {7, 0}}));
    EXPECT_EQ(closeWrite({0, 1}), (Closed{"", 0, {0, 0}}));
}

TEST_F(RWLockUnbalanced, CloseReadWithoutAReaderPrintsAndDecrements) {
    EXPECT_EQ(closeRead({0, 0}), (Closed{kNoReader, -1, {-1, 0}}));
}

TEST_F(RWLockUnbalanced, CloseReadWithAWriterInsidePrintsAndDecrements) {
    EXPECT_EQ(closeRead({2, 1}), (Closed{kWriterAtRead, 1, {1, 1}}));
    EXPECT_EQ(closeRead({2, -1}), (Closed{kWriterAtRead, 1, {1, -1}}));
}

TEST_F(RWLockUnbalanced, CloseReadWithoutAReaderAndWithAWriterPrintsBothReadersFirst) {
    EXPECT_EQ(closeRead({0, 1}), (Closed{std::string(kNoReader) + kWriterAtRead, -1, {-1, 1}}));
}

TEST_F(RWLockUnbalanced, CloseWriteWithoutAWriterPrintsAndDecrements) {
    EXPECT_EQ(closeWrite({0, 0}), (Closed{kNoWriter, -1, {0, -1}}));
    EXPECT_EQ(closeWrite({0, 2}), (Closed{kNoWriter, 1, {0, 1}}));
    EXPECT_EQ(closeWrite({0, -1}), (Closed{kNoWriter, -2, {0, -2}}));
}

TEST_F(RWLockUnbalanced, CloseWriteWithReadersInsidePrintsAndDecrements) {
    EXPECT_EQ(closeWrite({3, 1}), (Closed{kReaderAtWrite, 0, {3, 0}}));
    EXPECT_EQ(closeWrite({-1, 1}), (Closed{kReaderAtWrite, 0, {-1, 0}}));
}

TEST_F(RWLockUnbalanced, CloseWriteWithReadersAndWithoutAWriterPrintsBothWritersFirst) {
    EXPECT_EQ(closeWrite({3, 0}), (Closed{std::string(kNoWriter) + kReaderAtWrite, -1, {3, -1}}));
}

TEST_F(RWLockUnbalanced, ANegativeCountOfReadersIsNotZero) {
    EXPECT_EQ(closeRead({-1, 0}), (Closed{"", -2, {-2, 0}}));
}

TEST_F(RWLockUnbalanced, TheDecrementOfOneHalfNeverReachesTheOther) {
    EXPECT_EQ(closeRead({0, 0}).left, (Halves{-1, 0}));
    EXPECT_EQ(closeRead({INT_MIN, 0}), (Closed{"", INT_MAX, {INT_MAX, 0}}));
    EXPECT_EQ(closeWrite({0, INT_MIN}), (Closed{kNoWriter, INT_MAX, {0, INT_MAX}}));
}

TEST_F(RWLockUnbalanced, AnExtraCloseIsNotRepairedByLaterOpens) {
    RWLock gate(0, 0);
    CapturedOutput output;
    EXPECT_EQ(gate.closeWrite(), -1);
    EXPECT_EQ(gate.openRead(), -1);
    EXPECT_EQ(gate.openWrite(), -1);
    EXPECT_EQ(halvesOf(gate), (Halves{0, -1}));
    gate.forceClose();
    EXPECT_EQ(gate.openRead(), 0);
    EXPECT_EQ(output.text(), kNoWriter);
}

// --- Extremes

TEST_F(RWLockExtreme, ANegativeCountOfReadersGoesUpAndLeavesTheWritersAlone) {
    RWLock gate(-2, 0);
    EXPECT_EQ(resultWith(1, 0, [&] { return gate.openRead(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{-1, 0}));
    EXPECT_EQ(gate.openRead(), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{0, 0})) << "the carry is dropped";
}

TEST_F(RWLockExtreme, TheLargestCountOfReadersWrapsAndLeavesTheWritersAlone) {
    RWLock gate(INT_MAX, 0);
    EXPECT_EQ(resultWith(1, 0, [&] { return gate.openRead(); }), 0);
    EXPECT_EQ(halvesOf(gate), (Halves{INT_MIN, 0}));
}

// --- Force

TEST_F(RWLockForceClose, FreesTheGateFromAnyStateWithoutThePlatform) {
    for (const Halves halves : {Halves{0, 0}, Halves{5, 0}, Halves{0, 1}, Halves{-1, 0},
                                Halves{0, -1}, Halves{INT_MAX, INT_MIN}}) {
        RWLock gate(halves[0], halves[1]);
        CapturedOutput output;
        const Counts made = countsOf([&] { gate.forceClose(); });
        EXPECT_EQ(made.total(), 0) << made;
        EXPECT_EQ(output.text(), "");
        EXPECT_EQ(wordOf(gate), 0);
        EXPECT_EQ(gate.openWrite(), 0);
    }
}

// --- The standard's names

TEST_F(RWLockAsSharedMutex, HasTheSameOperations) {
    RWLock gate(0, 0);
    EXPECT_TRUE(gate.try_lock_shared());
    EXPECT_TRUE(gate.try_lock_shared());
    EXPECT_FALSE(gate.try_lock());
    EXPECT_EQ(halvesOf(gate), (Halves{2, 0}));
    gate.unlock_shared();
    gate.unlock_shared();
    EXPECT_TRUE(gate.try_lock());
    EXPECT_FALSE(gate.try_lock());
    EXPECT_FALSE(gate.try_lock_shared());
    EXPECT_EQ(halvesOf(gate), (Halves{0, 1}));
    gate.unlock();
    EXPECT_EQ(halvesOf(gate), (Halves{0, 0}));
}

TEST_F(RWLockAsSharedMutex, ServesTheLocksOfTheStandardThatTry) {
    RWLock gate(0, 0);
    {
        const std::shared_lock<RWLock> one(gate, std::try_to_lock);
        const std::shared_lock<RWLock> two(gate, std::try_to_lock);
        const std::unique_lock<RWLock> writer(gate, std::try_to_lock);
        EXPECT_TRUE(one.owns_lock());
        EXPECT_TRUE(two.owns_lock());
        EXPECT_FALSE(writer.owns_lock());
        EXPECT_EQ(gate.readers(), 2);
    }
    {
        const std::unique_lock<RWLock> writer(gate, std::try_to_lock);
        const std::shared_lock<RWLock> reader(gate, std::try_to_lock);
        EXPECT_TRUE(writer.owns_lock());
        EXPECT_FALSE(reader.owns_lock());
        EXPECT_EQ(gate.writers(), 1);
    }
    EXPECT_EQ(halvesOf(gate), (Halves{0, 0}));
}

} // namespace
