#include "Vq/Platform.h"
#include "support/ChildProcess.h"
#include "support/StartGate.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;
using Lock = Vq::Ptr<iCriticalSection>;

Lock newLock(unsigned int tuning = 0) {
    return OS()->sync()->createCriticalSection(tuning);
}

/// Can another thread take the lock at this moment? Gives it back.
bool isFreeToOthers(const Lock& lock) {
    bool taken = false;
    std::thread other([&] {
        taken = lock->tryAcquire();
        if (taken) lock->release();
    });
    other.join();
    return taken;
}

// --- Locks

TEST(PlatformLock, IsNewAndFreeAtEveryCall) {
    const Lock first = newLock();
    const Lock second = newLock();
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(first.useCount(), 1);
    first->acquire();
    EXPECT_TRUE(isFreeToOthers(second));
    first->release();
}

TEST(PlatformLock, IsTheSameForEveryTuning) {
    for (const unsigned int tuning : {0U, 1U, 4000U, ~0U}) {
        const Lock lock = newLock(tuning);
        ASSERT_TRUE(lock);
        lock->acquire();
        EXPECT_TRUE(lock->tryAcquire());
        EXPECT_FALSE(isFreeToOthers(lock));
        lock->release();
        lock->release();
        EXPECT_TRUE(isFreeToOthers(lock));
    }
}

TEST(PlatformLock, IsTheOwnersToAcquireAgainAndFreeAfterAsManyReleases) {
    constexpr int kDepth = 100;
    const Lock lock = newLock();
    for (int depth = 0; depth < kDepth; ++depth) {
        if (depth % 2 == 0) {
            lock->acquire();
        } else {
            EXPECT_TRUE(lock->tryAcquire());
        }
    }
    for (int depth = kDepth; depth > 0; --depth) {
        EXPECT_FALSE(isFreeToOthers(lock)) << depth;
        lock->release();
    }
    EXPECT_TRUE(isFreeToOthers(lock));
}

TEST(PlatformLock, IsNotTakenByAnAttemptThatFails) {
    const Lock lock = newLock();
    lock->acquire();
    EXPECT_FALSE(isFreeToOthers(lock));
    lock->release();
    EXPECT_TRUE(isFreeToOthers(lock)) << "one release is enough";
}

TEST(PlatformLock, KeepsASecondThreadWaitingUntilTheLastRelease) {
    const Lock lock = newLock();
    std::atomic<bool> released = false;
    lock->acquire();
    lock->acquire();
    std::atomic<bool> waiting = false;
    bool cameAfterRelease = false;
    std::thread other([&] {
        waiting = true;
        lock->acquire();
        cameAfterRelease = released;
        lock->release();
    });
    while (!waiting) std::this_thread::yield();
    lock->release();
    std::this_thread::sleep_for(20ms);
    released = true;
    lock->release();
    other.join();
    EXPECT_TRUE(cameAfterRelease);
}

TEST(PlatformLock, LetsOneThreadInAtATime) {
    constexpr int kThreads = 4;
    constexpr int kEach = 20000;
    const Lock lock = newLock();
    StartGate gate(kThreads);
    long total = 0; // plain: only the lock keeps it whole
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            gate.wait();
            for (int i = 0; i < kEach; ++i) {
                if (t % 2 == 0) {
                    lock->acquire();
                } else {
                    while (!lock->tryAcquire()) std::this_thread::yield();
                }
                ++total;
                lock->release();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(total, long{kThreads} * kEach);
}

// --- Thread ids

/// The ids of `count` threads, all of which live at the same time.
std::vector<unsigned int> idsOfLivingThreads(int count) {
    std::vector<unsigned int> ids(static_cast<std::size_t>(count));
    StartGate allAreThere(count);
    StartGate allHaveAsked(count);
    std::vector<std::thread> threads;
    for (unsigned int& id : ids) {
        threads.emplace_back([&] {
            allAreThere.wait();
            id = OS()->sync()->currentThreadId();
            EXPECT_EQ(OS()->sync()->currentThreadId(), id);
            allHaveAsked.wait();
            EXPECT_EQ(OS()->sync()->currentThreadId(), id);
        });
    }
    for (std::thread& thread : threads) thread.join();
    return ids;
}

TEST(PlatformThreadId, IsAnotherForEveryLivingThreadAndNeverZero) {
    const unsigned int own = OS()->sync()->currentThreadId();
    std::vector<unsigned int> ids = idsOfLivingThreads(32);
    ids.push_back(own);
    const std::set<unsigned int> distinct(ids.begin(), ids.end());
    EXPECT_EQ(distinct.size(), 33U);
    EXPECT_FALSE(distinct.contains(0));
    EXPECT_EQ(OS()->sync()->currentThreadId(), own);
}

TEST(PlatformThreadId, IsTheKernels) {
    std::thread([] {
        EXPECT_EQ(OS()->sync()->currentThreadId(), static_cast<unsigned int>(gettid()));
    }).join();
    EXPECT_EQ(OS()->sync()->currentThreadId(), static_cast<unsigned int>(getpid()))
        << "that of the first thread is that of the process";
}

TEST(PlatformThreadId, IsItsOwnInAForkedChild) {
    const unsigned int own = OS()->sync()->currentThreadId();
    Shared<unsigned int> inChild;
    Shared<unsigned int> inGrandchild;
    ChildProcess child([&] {
        *inChild = OS()->sync()->currentThreadId();
        ChildProcess grandchild([&] {
            *inGrandchild = OS()->sync()->currentThreadId();
            return 0;
        });
        // This process lives until its child is done: their ids cannot be the same by reuse.
        if (!grandchild.endsWithin(60s)) return 1;
        return *inChild == static_cast<unsigned int>(getpid()) ? 0 : 2;
    });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
    EXPECT_NE(*inChild, own);
    EXPECT_NE(*inGrandchild, own);
    EXPECT_NE(*inGrandchild, *inChild);
    EXPECT_NE(*inGrandchild, 0U);
    EXPECT_EQ(OS()->sync()->currentThreadId(), own);
}

TEST(PlatformThreadId, IsItsOwnInAChildForkedByASecondThread) {
    std::thread([] {
        const unsigned int own = OS()->sync()->currentThreadId();
        ChildProcess child([own] {
            const unsigned int id = OS()->sync()->currentThreadId();
            return id != own && id == static_cast<unsigned int>(getpid()) ? 0 : 1;
        });
        EXPECT_TRUE(child.endsWithin(60s));
        EXPECT_EQ(child.exitCode(), 0);
    }).join();
}

} // namespace
