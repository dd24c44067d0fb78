// The reader/writer gate between many threads: whoever is inside is alone where that was promised,
// and nobody is lost.
#include "Vq/VqLockFreeRW.h"
#include "stress/Stress.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace vqtest;
using Vq::LockFree::RWLock;

/// What the threads did, summed up when they have ended.
struct Totals {
    long reads = 0;
    long writes = 0;
    long refused = 0;
    long operations = 0;  ///< opens, refused or not, and closes
    long meetings = 0;    ///< with somebody who must not have been inside
    long tornReads = 0;   ///< of data that somebody was changing
    long wrongCounts = 0; ///< of those inside, as told by a close

    Totals& operator+=(const Totals& other) {
        reads += other.reads;
        writes += other.writes;
        refused += other.refused;
        operations += other.operations;
        meetings += other.meetings;
        tornReads += other.tornReads;
        wrongCounts += other.wrongCounts;
        return *this;
    }
};

/// A gate and what it guards.
class Guarded {
public:
    /// Enters as a reader, asking as often as it takes, looks at the data and leaves. Who lingers
    /// lets others run meanwhile, so that they find the gate taken.
    void read(Totals& totals, bool lingers) {
        if (!open(&RWLock::openRead, totals)) return;
        readersInside_.fetch_add(1, std::memory_order_relaxed);
        if (writersInside_.load(std::memory_order_relaxed) != 0) ++totals.meetings;
        if (lingers) std::this_thread::yield();
        if (data_ != wholeData()) ++totals.tornReads;
        if (writersInside_.load(std::memory_order_relaxed) != 0) ++totals.meetings;
        readersInside_.fetch_sub(1, std::memory_order_relaxed);
        if (gate_.closeRead() < 0) ++totals.wrongCounts;
        ++totals.operations;
        ++totals.reads;
    }

    /// Enters as the writer, changes the data and leaves.
    void write(Totals& totals, bool lingers) {
        if (!open(&RWLock::openWrite, totals)) return;
        if (writersInside_.fetch_add(1, std::memory_order_relaxed) != 0) ++totals.meetings;
        if (readersInside_.load(std::memory_order_relaxed) != 0) ++totals.meetings;
        if (data_ != wholeData()) ++totals.tornReads;
        ++data_[0];
        if (lingers) std::this_thread::yield(); // in the middle of a change
        for (std::size_t i = 1; i < data_.size(); ++i) ++data_[i];
        if (readersInside_.load(std::memory_order_relaxed) != 0) ++totals.meetings;
        if (writersInside_.fetch_sub(1, std::memory_order_relaxed) != 1) ++totals.meetings;
        if (gate_.closeWrite() != 0) ++totals.wrongCounts;
        ++totals.operations;
        ++totals.writes;
    }

    void expectFree(long writes) const {
        EXPECT_EQ(gate_.readers(), 0);
        EXPECT_EQ(gate_.writers(), 0);
        EXPECT_EQ(readersInside_, 0);
        EXPECT_EQ(writersInside_, 0);
        EXPECT_EQ(data_[0], writes);
        EXPECT_EQ(data_, wholeData());
    }

private:
    using Data = std::array<long, 8>;

    /// False when it gives up, as a working gate gives no reason for, or another has.
    bool open(int (RWLock::*how)(), Totals& totals) {
        for (long refused = 0; refused < patience_ && !hasGivenUp_.load(std::memory_order_relaxed);
             ++refused) {
            ++totals.operations;
            if ((gate_.*how)() == 0) return true;
            ++totals.refused;
            std::this_thread::yield();
        }
        hasGivenUp_ = true;
        return false;
    }

    /// All its numbers are the same when nobody is changing them.
    Data wholeData() const {
        Data data;
        data.fill(data_[0]);
        return data;
    }

    const long patience_ = 2'000'000 + 200'000 * stressFactor();
    RWLock gate_{0, 0};
    Data data_{}; // plain: the gate alone keeps it
    // Relaxed, so that they order nothing that the gate should.
    std::atomic<int> readersInside_{0};
    std::atomic<int> writersInside_{0};
    std::atomic<bool> hasGivenUp_{false};
};

/// So many threads of each kind, and threads that do both.
struct Crowd {
    const char* name;
    int readers;
    int writers;
    int both;

    friend std::ostream& operator<<(std::ostream& out, const Crowd& crowd) {
        return out << crowd.name;
    }
};

constexpr long kLingering = 64; // every so many rounds

class GateStress : public ::testing::TestWithParam<Crowd> {};

TEST_P(GateStress, LetsNobodyMeetAWriterAndLosesNobody) {
    const Crowd crowd = GetParam();
    const int threads = crowd.readers + crowd.writers + crowd.both;
    // Two operations each at least, so that all threads together do 200000 times the factor.
    const long rounds = 100'000 * stressFactor() / threads;
    Guarded guarded;
    std::vector<Totals> each(static_cast<std::size_t>(threads));
    onThreads(threads, [&](int thread) {
        Totals totals; // not side by side with those of others
        for (long round = 0; round < rounds; ++round) {
            const bool writes = thread >= crowd.readers + crowd.writers ? (round + thread) % 4 == 0
                                                                        : thread >= crowd.readers;
            const bool lingers = round % kLingering == 0;
            writes ? guarded.write(totals, lingers) : guarded.read(totals, lingers);
        }
        each[static_cast<std::size_t>(thread)] = totals;
    });
    Totals all;
    for (const Totals& totals : each) all += totals;
    EXPECT_EQ(all.meetings, 0);
    EXPECT_EQ(all.tornReads, 0);
    EXPECT_EQ(all.wrongCounts, 0);
    EXPECT_EQ(all.reads + all.writes, rounds * threads);
    if (crowd.both == 0) {
        EXPECT_EQ(all.writes, rounds * crowd.writers);
    }
    EXPECT_EQ(all.operations, 2 * rounds * threads + all.refused);
    guarded.expectFree(all.writes);
    report("operations", all.operations);
    report("refused", all.refused);
}

INSTANTIATE_TEST_SUITE_P(Crowds, GateStress,
                         ::testing::Values(Crowd{"FourReadersTwoWriters", 4, 2, 0},
                                           Crowd{"OneReaderThreeWriters", 1, 3, 0},
                                           Crowd{"SixReaders", 6, 0, 0},
                                           Crowd{"FourWriters", 0, 4, 0},
                                           Crowd{"FourOfBothKinds", 0, 0, 4}),
                         [](const auto& crowd) { return std::string(crowd.param.name); });

TEST(GateStressCount, OfReadersWhoStayIsExact) {
    constexpr int kThreads = 4;
    // Not more than the count can tell.
    const long rounds = std::min(10'000 * stressFactor(), 100'000'000L);
    RWLock gate(0, 0);
    std::atomic<long> operations{0};
    const auto openAll = [&](int) {
        long opens = 0;
        for (long i = 0; i < rounds; ++i) {
            do ++opens;
            while (gate.openRead() != 0);
        }
        operations += opens;
    };
    const auto closeAll = [&](int) {
        for (long i = 0; i < rounds; ++i) gate.closeRead();
        operations += rounds;
    };
    onThreads(kThreads, openAll);
    EXPECT_EQ(gate.readers(), kThreads * rounds);
    EXPECT_EQ(gate.writers(), 0);
    EXPECT_EQ(gate.openWrite(), -1);
    onThreads(kThreads, closeAll);
    EXPECT_EQ(gate.readers(), 0);
    EXPECT_EQ(gate.openWrite(), 0);
    report("operations", operations);
}

// --- Order. Who comes next is told without any: the gate alone hands over what it guards.

/// Two threads take turns at `work(thread)`.
template <class Work> void inTurns(Work work) {
    const long rounds = 1'000 * stressFactor();
    std::atomic<long> turn{0};
    onThreads(2, [&](int self) {
        for (long round = 0; round < rounds; ++round) {
            while (turn.load(std::memory_order_relaxed) % 2 != self) std::this_thread::yield();
            work(self);
            turn.fetch_add(1, std::memory_order_relaxed);
        }
    });
    report("turns", turn);
}

TEST(GateStressOrder, IsFromOneWriterToTheNext) {
    RWLock gate(0, 0);
    long plain = 0;
    inTurns([&](int) {
        if (gate.openWrite() != 0) return;
        ++plain;
        gate.closeWrite();
    });
    EXPECT_EQ(plain, 2'000 * stressFactor());
    EXPECT_EQ(gate.writers(), 0);
}

TEST(GateStressOrder, IsFromAWriterToAReaderAndBack) {
    RWLock gate(0, 0);
    long plain = 0;
    long seen = 0;
    inTurns([&](int self) {
        if (self == 0 && gate.openWrite() == 0) {
            ++plain;
            gate.closeWrite();
        }
        if (self == 1 && gate.openRead() == 0) {
            seen += plain;
            gate.closeRead();
        }
    });
    const long rounds = 1'000 * stressFactor();
    EXPECT_EQ(plain, rounds);
    EXPECT_EQ(seen, rounds * (rounds + 1) / 2);
}

} // namespace
