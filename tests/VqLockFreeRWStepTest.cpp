// The gate with somebody coming between any two of its instructions, one by one. Not under the
// thread sanitizer, whose runtime cannot be stopped inside its own atomic operations.
#ifndef __SANITIZE_THREAD__

#include "Vq/VqLockFreeRW.h"

#include "support/ScriptedTest.h"

#include <array>
#include <cstring>
#include <ostream>
#include <set>
#include <tuple>

#include <signal.h>
#include <ucontext.h>
#include <x86intrin.h>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::LockFree::RWLock;

using Halves = std::array<int, 2>; // readers, writers

/// The word as those who come between see it: the processor's own operations, since the tools that
/// watch those of the language are themselves interrupted.
long swapWord(volatile long* word, long expected, long value) {
    asm volatile("lock cmpxchgq %2, %1" : "+a"(expected), "+m"(*word) : "r"(value) : "memory");
    return expected;
}

constexpr long kOneWriter = 1L << 32;

// The visitors. True when they are inside now.

bool readerEnters(volatile long* word) {
    for (long seen = *word; seen < kOneWriter;) {
        const long found = swapWord(word, seen, seen + 1);
        if (found == seen) return true;
        seen = found;
    }
    return false;
}

bool writerEnters(volatile long* word) {
    return swapWord(word, 0, kOneWriter) == 0;
}

bool writerComesAndGoes(volatile long* word) {
    if (writerEnters(word)) swapWord(word, kOneWriter, 0);
    return false;
}

/// Runs an operation with the processor stopping after each instruction.
class Stepping {
public:
    using Visitor = bool (*)(volatile long* word);

    Stepping() {
        struct sigaction action {};
        action.sa_sigaction = [](int, siginfo_t*, void*) {
            step_ = step_ + 1;
            if (step_ == visit_) isInside_ = visitor_(word_);
        };
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGTRAP, &action, &before_);
    }

    ~Stepping() { sigaction(SIGTRAP, &before_, nullptr); }
    Stepping(const Stepping&) = delete;
    Stepping& operator=(const Stepping&) = delete;

    /// The result of `operation()`, in which `visitor(word)` comes after the `nth` instruction.
    template <class Operation>
    int run(RWLock& gate, Visitor visitor, long nth, Operation operation) {
        word_ = reinterpret_cast<volatile long*>(&gate);
        visitor_ = visitor;
        visit_ = nth;
        step_ = 0;
        __writeeflags(__readeflags() | kTrap);
        const int result = operation();
        __writeeflags(__readeflags() & ~kTrap);
        return result;
    }

    /// Did the last visit come to pass?
    static bool hasVisited() { return step_ >= visit_; }
    /// Is the visitor inside?
    static bool isInside() { return isInside_; }

private:
    static constexpr unsigned long long kTrap = 0x100;

    static inline volatile long* word_ = nullptr;
    static inline Visitor visitor_ = nullptr;
    static inline volatile long visit_ = 0;
    static inline volatile long step_ = 0;
    static inline volatile bool isInside_ = false;
    struct sigaction before_ {};
};

enum Visit { kOut, kIn }; // where the visitor is in the end

class RWLockStep : public ScriptedTest {
protected:
    static Halves halvesOf(const RWLock& gate) {
        Halves halves;
        std::memcpy(&halves, static_cast<const void*>(&gate), sizeof(halves));
        return halves;
    }

    /// What there is after an operation that somebody came between.
    struct Outcome {
        int result;
        Visit visit;
        Halves inside;
        long swaps;

        friend bool operator<(const Outcome& a, const Outcome& b) {
            return std::tie(a.result, a.visit, a.inside, a.swaps) <
                   std::tie(b.result, b.visit, b.inside, b.swaps);
        }
        friend bool operator==(const Outcome&, const Outcome&) = default;
        friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
            return out << outcome.result << (outcome.visit == kIn ? ", visitor in, " : ", ")
                       << outcome.inside[0] << '/' << outcome.inside[1] << " after "
                       << outcome.swaps << " swaps";
        }
    };

    /// All that can happen to an operation on a gate with that many readers.
    static std::set<Outcome> outcomes(int readers, Stepping::Visitor visitor,
                                      int (RWLock::*operation)()) {
        std::set<Outcome> all;
        Stepping stepping;
        for (long nth = 1; nth < 100'000; ++nth) {
            RWLock gate(readers, 0);
            const long before = platform().calls().count(kCompareAndSwap);
            const int result =
                stepping.run(gate, visitor, nth, [&] { return (gate.*operation)(); });
            if (!Stepping::hasVisited()) return all;
            const long swaps = platform().calls().count(kCompareAndSwap) - before;
            all.insert({result, Stepping::isInside() ? kIn : kOut, halvesOf(gate), swaps});
        }
        ADD_FAILURE() << "the operation never ends";
        return all;
    }
};

TEST_F(RWLockStep, OpenReadLosesNoReaderAndSwapsNoWordThatIsNotTheCount) {
    // Somebody comes before the count is read, or between count and word, or after the swap: one
    // swap. Between word and swap: two.
    EXPECT_EQ(outcomes(0, readerEnters, &RWLock::openRead),
              (std::set<Outcome>{{0, kIn, {2, 0}, 1}, {0, kIn, {2, 0}, 2}}));
    EXPECT_EQ(outcomes(5, readerEnters, &RWLock::openRead),
              (std::set<Outcome>{{0, kIn, {7, 0}, 1}, {0, kIn, {7, 0}, 2}}));
}

TEST_F(RWLockStep, OpenReadNeverMeetsAWriter) {
    // The writer is refused, or the reader is: before any swap, or at its swap.
    EXPECT_EQ(
        outcomes(0, writerEnters, &RWLock::openRead),
        (std::set<Outcome>{{0, kOut, {1, 0}, 1}, {-1, kIn, {0, 1}, 0}, {-1, kIn, {0, 1}, 1}}));
}

TEST_F(RWLockStep, OpenReadIsNotStoppedByAWriterWhoHasLeft) {
    EXPECT_EQ(outcomes(0, writerComesAndGoes, &RWLock::openRead),
              (std::set<Outcome>{{0, kOut, {1, 0}, 1}}));
}

TEST_F(RWLockStep, OpenWriteNeverMeetsAnybody) {
    EXPECT_EQ(
        outcomes(0, readerEnters, &RWLock::openWrite),
        (std::set<Outcome>{{0, kOut, {0, 1}, 1}, {-1, kIn, {1, 0}, 0}, {-1, kIn, {1, 0}, 1}}));
    EXPECT_EQ(
        outcomes(0, writerEnters, &RWLock::openWrite),
        (std::set<Outcome>{{0, kOut, {0, 1}, 1}, {-1, kIn, {0, 1}, 0}, {-1, kIn, {0, 1}, 1}}));
}

TEST_F(RWLockStep, CloseReadLosesNoReader) {
    EXPECT_EQ(outcomes(3, readerEnters, &RWLock::closeRead),
              (std::set<Outcome>{{2, kIn, {3, 0}, 0}, {3, kIn, {3, 0}, 0}}));
}

} // namespace

#endif // __SANITIZE_THREAD__
