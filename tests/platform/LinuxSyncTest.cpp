// What the locks of the Linux platform promise beyond the interface: waking, forks, life.
#include "Vq/Platform.h"
#include "support/ChildProcess.h"
#include "support/Threads.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;
using Lock = Vq::Ptr<iCriticalSection>;

Lock newLock() {
    return OS()->sync()->createCriticalSection(0);
}

bool isFreeToOthers(const Lock& lock) {
    bool taken = false;
    std::thread([&] {
        taken = lock->tryAcquire();
        if (taken) lock->release();
    }).join();
    return taken;
}

// --- Waiting

TEST(LinuxLock, ForgetsNoneOfManyThreadsThatWait) {
    constexpr int kThreads = 8;
    constexpr int kEach = 2000;
    const Lock lock = newLock();
    long total = 0; // plain: only the lock keeps it whole
    onThreads(kThreads, [&](int) {
        for (int i = 0; i < kEach; ++i) {
            lock->acquire();
            lock->acquire();
            std::this_thread::yield(); // long enough for the others to fall asleep
            ++total;
            lock->release();
            lock->release();
        }
    });
    EXPECT_EQ(total, long{kThreads} * kEach);
    EXPECT_TRUE(isFreeToOthers(lock));
}

TEST(LinuxLock, PassesOnWhatOneThreadWroteToTheNext) {
    constexpr int kTurns = 20000;
    const Lock lock = newLock();
    int turn = 0;
    std::vector<int> seen(2);
    onThreads(2, [&](int self) {
        for (bool done = false; !done;) {
            lock->acquire();
            if (turn % 2 == self) {
                ++seen[static_cast<std::size_t>(self)];
                ++turn;
            }
            done = turn >= kTurns;
            lock->release();
        }
    });
    EXPECT_GE(seen[0], kTurns / 2);
    EXPECT_EQ(seen[0] + seen[1], turn);
}

TEST(LinuxLock, LeavesTheErrorNumberAloneWhenItWaits) {
    const Lock lock = newLock();
    std::vector<int> changed(4);
    onThreads(4, [&](int self) {
        for (int i = 0; i < 500; ++i) {
            errno = ERANGE;
            lock->acquire();
            std::this_thread::yield();
            if (errno != ERANGE) ++changed[static_cast<std::size_t>(self)];
            lock->release();
            if (errno != ERANGE) ++changed[static_cast<std::size_t>(self)];
        }
    });
    EXPECT_EQ(changed, std::vector<int>(4));
}

// --- Who holds it

TEST(LinuxLock, IsNotReleasedByAThreadThatDoesNotHoldIt) {
    const Lock lock = newLock();
    lock->acquire();
    std::thread([&] { lock->release(); }).join();
    EXPECT_FALSE(isFreeToOthers(lock));
    lock->release();
    EXPECT_TRUE(isFreeToOthers(lock));
    lock->release();
    EXPECT_TRUE(isFreeToOthers(lock)) << "one release too many changes nothing";
    lock->acquire();
    EXPECT_FALSE(isFreeToOthers(lock));
    lock->release();
}

TEST(LinuxLock, OfAThreadThatEndedIsNoLaterThreads) {
    const Lock lock = newLock();
    std::thread([&] { lock->acquire(); }).join();
    for (int i = 0; i < 20; ++i) EXPECT_FALSE(isFreeToOthers(lock));
}

TEST(LinuxLock, MayBeDestroyedByTheThreadThatHadItNext) {
    for (int i = 0; i < 500; ++i) {
        Lock lock = newLock();
        iCriticalSection* const only = lock.get();
        only->acquire();
        std::thread next([mine = std::move(lock)]() mutable {
            mine->acquire();
            mine->release();
            mine = nullptr;
        });
        only->release();
        next.join();
    }
}

// --- Forks

/// In a child, as its exit code.
int holdsWhatItReleasesAndTakesAgain(const Lock& lock) {
    if (!lock->tryAcquire()) return 1;
    lock->release();
    if (isFreeToOthers(lock)) return 2;
    lock->release();
    if (!isFreeToOthers(lock)) return 3;
    lock->acquire();
    if (isFreeToOthers(lock)) return 4;
    lock->release();
    return isFreeToOthers(lock) ? 0 : 5;
}

TEST(LinuxLock, OfAForkingThreadIsHeldInTheChildToo) {
    const Lock lock = newLock();
    lock->acquire();
    ChildProcess child([&] { return holdsWhatItReleasesAndTakesAgain(lock); });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
    EXPECT_FALSE(isFreeToOthers(lock)) << "the parent holds its own";
    lock->release();
    EXPECT_TRUE(isFreeToOthers(lock));
}

TEST(LinuxLock, OfAnotherThreadStaysTakenInTheChild) {
    const Lock lock = newLock();
    onThreads(1, [&](int) { lock->acquire(); });
    ChildProcess child([&] { return lock->tryAcquire() ? 1 : 0; });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
}

TEST(LinuxLock, ThatIsFreeIsUsedByAChildAsByItsParent) {
    const Lock lock = newLock();
    lock->acquire();
    lock->release();
    ChildProcess child([&] {
        lock->acquire();
        return holdsWhatItReleasesAndTakesAgain(lock);
    });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
}

} // namespace
