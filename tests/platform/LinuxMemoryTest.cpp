#include "Vq/Platform.h"
#include "platform/NoMoreAddressSpace.h"
#include "support/ChildProcess.h"
#include "support/StartGate.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;

constexpr unsigned long kTooMuch = 1UL << 62; // no machine has this

iMemory* memory() {
    return OS()->memory();
}

/// True when an allocation of more than there is ends in `std::bad_alloc`.
bool isRefused(unsigned long bytes = kTooMuch) {
    try {
        memory()->deallocate(memory()->allocate(bytes));
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

/// A cache that says it holds 100 bytes, notes what it is asked and does what the test wants.
class Cache : public iReclaimable {
public:
    explicit Cache(std::function<void()> whenAsked = {}) : whenAsked_(std::move(whenAsked)) {
        memory()->registerReclaimable(this);
    }
    ~Cache() override { memory()->unregisterReclaimable(this); }
    Cache(const Cache&) = delete;
    Cache& operator=(const Cache&) = delete;

    unsigned long reclaimableBytes() override { return holds; }
    unsigned long reclaim(unsigned long bytesWanted) override {
        ++asked;
        wanted = bytesWanted;
        if (whenAsked_) whenAsked_();
        return holds;
    }
    const char* reclaimableName() override { return "cache"; }

    unsigned long holds = 100;
    std::atomic<int> asked = 0;
    std::atomic<unsigned long> wanted = 0;

private:
    std::function<void()> whenAsked_;
};

// --- Blocks

TEST(LinuxMemory, GivesBlocksAlignedForEveryFundamentalType) {
    for (unsigned long bytes = 0; bytes < 200; ++bytes) {
        void* block = memory()->allocate(bytes);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        std::memset(block, 0xA5, bytes);
        memory()->deallocate(block);
    }
}

TEST(LinuxMemory, GivesDistinctBlocksOfNoBytes) {
    void* first = memory()->allocate(0);
    void* second = memory()->allocate(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    memory()->deallocate(first);
    memory()->deallocate(second);
}

TEST(LinuxMemory, TakesNullBack) {
    memory()->deallocate(nullptr);
}

TEST(LinuxMemory, ThrowsBadAllocWhenThereIsNoMore) {
    EXPECT_THROW(memory()->allocate(kTooMuch), std::bad_alloc);
    EXPECT_THROW(memory()->allocate(~0UL), std::bad_alloc);
}

// --- Asking the reclaimables

TEST(LinuxReclaimables, AreNotAskedWhileThereIsMemory) {
    const Cache cache;
    memory()->deallocate(memory()->allocate(1000));
    EXPECT_EQ(cache.asked, 0);
}

TEST(LinuxReclaimables, AreEachAskedOnceForAllTheBytesInOrderOfRegistration) {
    std::string order;
    const Cache first([&] { order += '1'; });
    const Cache second([&] { order += '2'; });
    const Cache third([&] { order += '3'; });
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(order, "123");
    for (const Cache* cache : {&first, &second, &third}) EXPECT_EQ(cache->wanted, kTooMuch);
    EXPECT_TRUE(isRefused(kTooMuch + 1));
    EXPECT_EQ(order, "123123");
    EXPECT_EQ(first.wanted, kTooMuch + 1);
}

TEST(LinuxReclaimables, AreAskedWhateverTheyEstimateToHold) {
    Cache empty;
    const Cache full;
    empty.holds = 0;
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(empty.asked, 1);
    EXPECT_EQ(full.asked, 1);
}

TEST(LinuxReclaimables, AreNotAskedOnceUnregistered) {
    Cache cache;
    memory()->unregisterReclaimable(&cache);
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(cache.asked, 0);
    memory()->registerReclaimable(&cache);
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(cache.asked, 1);
}

TEST(LinuxReclaimables, AreASet) {
    Cache cache;
    memory()->registerReclaimable(&cache);
    memory()->registerReclaimable(nullptr);
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(cache.asked, 1);
    memory()->unregisterReclaimable(&cache);
    memory()->unregisterReclaimable(&cache);
    memory()->unregisterReclaimable(nullptr);
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(cache.asked, 1);
}

TEST(LinuxReclaimables, MayBeMany) {
    std::vector<std::unique_ptr<Cache>> caches;
    for (int i = 0; i < 1000; ++i) caches.push_back(std::make_unique<Cache>());
    for (std::size_t i = 0; i < caches.size(); i += 2) caches[i].reset();
    EXPECT_TRUE(isRefused());
    for (std::size_t i = 1; i < caches.size(); i += 2) ASSERT_EQ(caches[i]->asked, 1) << i;
}

TEST(LinuxReclaimables, SaveAnAllocationAndTheRestIsLeftAlone) {
    constexpr std::size_t kHeld = std::size_t{256} << 20;
    void* held = mmap(nullptr, kHeld, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(held, MAP_FAILED);
    const Cache poor;
    const Cache rich([&] { munmap(held, kHeld); });
    const Cache spared;
    void* block = nullptr;
    {
        const NoMoreAddressSpace limit;
        block = memory()->allocate(kHeld / 2);
    }
    EXPECT_NE(block, nullptr);
    std::memset(block, 1, 4096);
    memory()->deallocate(block);
    EXPECT_EQ(poor.asked, 1);
    EXPECT_EQ(rich.asked, 1);
    EXPECT_EQ(spared.asked, 0);
}

TEST(LinuxReclaimables, AreAskedBeforeARealWantIsReported) {
    constexpr std::size_t kWanted = std::size_t{64} << 20;
    std::string order;
    const Cache first([&] { order += '1'; });
    // Takes and gives back what there still is, and does without itself from then on.
    Cache* self = nullptr;
    Cache second([&] {
        order += '2';
        memory()->deallocate(memory()->allocate(1000));
        order += isRefused(kWanted) ? 'r' : 'g';
        memory()->unregisterReclaimable(self);
    });
    self = &second;
    {
        const NoMoreAddressSpace limit;
        EXPECT_TRUE(isRefused(kWanted));
        EXPECT_TRUE(isRefused(kWanted));
    }
    EXPECT_EQ(order, "12r1");
    EXPECT_FALSE(isRefused(kWanted));
}

// --- What they may do while being asked

TEST(LinuxReclaimables, MayAllocateAndFree) {
    const Cache cache([] { memory()->deallocate(memory()->allocate(1000)); });
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(cache.asked, 1);
}

TEST(LinuxReclaimables, AreNotAskedForWhatTheyLackThemselves) {
    constexpr int kTimes = 300;
    int refusals = 0;
    const auto askForTooMuch = [&] {
        for (int i = 0; i < kTimes; ++i) refusals += isRefused() ? 1 : 0;
    };
    const Cache first(askForTooMuch);
    const Cache second(askForTooMuch);
    // Waiting for the asking to end would be waiting for itself, each time until patience runs out:
    // this test would take longer than any test may.
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(refusals, 2 * kTimes);
    EXPECT_EQ(first.asked, 1);
    EXPECT_EQ(second.asked, 1);
}

TEST(LinuxReclaimables, MayUnregisterThemselves) {
    Cache* self = nullptr;
    Cache cache([&] { memory()->unregisterReclaimable(self); });
    const Cache next;
    self = &cache;
    EXPECT_TRUE(isRefused());
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(cache.asked, 1);
    EXPECT_EQ(next.asked, 2);
}

TEST(LinuxReclaimables, MayDestroyOthersBeforeAndBehindThem) {
    auto before = std::make_unique<Cache>();
    const Cache first;
    std::unique_ptr<Cache> behind;
    const Cache cache([&] {
        before.reset();
        behind.reset();
    });
    behind = std::make_unique<Cache>();
    const Cache last;
    EXPECT_TRUE(isRefused());
    EXPECT_FALSE(behind);
    EXPECT_EQ(first.asked, 1);
    EXPECT_EQ(cache.asked, 1);
    EXPECT_EQ(last.asked, 1);
}

TEST(LinuxReclaimables, MayRegisterOthersWhichAreAskedTheNextTime) {
    std::vector<std::unique_ptr<Cache>> made;
    const Cache cache([&] {
        for (int i = 0; i < 40; ++i) made.push_back(std::make_unique<Cache>());
    });
    EXPECT_TRUE(isRefused());
    ASSERT_EQ(made.size(), 40U);
    for (const auto& each : made) EXPECT_EQ(each->asked, 0);
    EXPECT_TRUE(isRefused());
    ASSERT_EQ(made.size(), 80U);
    for (std::size_t i = 0; i < 80; ++i) EXPECT_EQ(made[i]->asked, i < 40 ? 1 : 0);
}

TEST(LinuxReclaimables, MayThrowWithoutStoppingTheAsking) {
    const Cache broken([] { throw std::runtime_error("broken"); });
    const Cache sound;
    EXPECT_TRUE(isRefused());
    EXPECT_TRUE(isRefused());
    EXPECT_EQ(broken.asked, 2);
    EXPECT_EQ(sound.asked, 2);
}

// --- Several threads

/// Has `cache` stay in its operation until it is told to leave.
class Halt {
public:
    void enter() {
        isInside_ = true;
        while (!mayLeave_) std::this_thread::sleep_for(1ms);
        hasLeft_ = true;
    }
    void awaitEntry() const {
        while (!isInside_) std::this_thread::sleep_for(1ms);
    }
    void leave() { mayLeave_ = true; }
    bool hasLeft() const { return hasLeft_; }

private:
    std::atomic<bool> isInside_ = false;
    std::atomic<bool> mayLeave_ = false;
    std::atomic<bool> hasLeft_ = false;
};

TEST(LinuxReclaimables, AreUnregisteredByAnotherThreadOnlyWhenTheirCallIsOver) {
    Halt halt;
    auto cache = std::make_unique<Cache>([&] { halt.enter(); });
    std::thread asking([] { EXPECT_TRUE(isRefused()); });
    halt.awaitEntry();
    std::thread destroying([&] {
        memory()->unregisterReclaimable(cache.get());
        EXPECT_TRUE(halt.hasLeft());
        cache.reset();
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(halt.hasLeft());
    halt.leave();
    destroying.join();
    asking.join();
}

TEST(LinuxReclaimables, AreWaitedForAfterUnregisteringThemselves) {
    Halt halt;
    Cache* self = nullptr;
    auto cache = std::make_unique<Cache>([&] {
        memory()->unregisterReclaimable(self);
        halt.enter();
    });
    self = cache.get();
    std::thread asking([] { EXPECT_TRUE(isRefused()); });
    halt.awaitEntry();
    std::thread destroying([&] {
        cache.reset();
        EXPECT_TRUE(halt.hasLeft());
    });
    std::this_thread::sleep_for(20ms);
    halt.leave();
    destroying.join();
    asking.join();
}

TEST(LinuxReclaimables, DoNotHoldUpOtherThreadsWhileBeingAsked) {
    Halt halt;
    const Cache slow([&] { halt.enter(); });
    std::thread asking([] { EXPECT_TRUE(isRefused()); });
    halt.awaitEntry();
    {
        // On this thread, and done before the call is.
        const Cache registeredMeanwhile;
        memory()->deallocate(memory()->allocate(1000));
    }
    EXPECT_FALSE(halt.hasLeft());
    halt.leave();
    asking.join();
}

TEST(LinuxReclaimables, AreNeverAskedOnTwoThreadsAtOnce) {
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    const Cache cache([&] {
        most = std::max<int>(most, ++inside);
        std::this_thread::sleep_for(1ms);
        --inside;
    });
    constexpr int kThreads = 4;
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            gate.wait();
            for (int i = 0; i < 5; ++i) EXPECT_TRUE(isRefused());
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(most, 1);
    EXPECT_EQ(cache.asked, kThreads * 5) << "each thread asked in its turn";
}

TEST(LinuxReclaimables, DoNotHangOnAThreadThatLacksMemoryItself) {
    // The asked object waits for a thread that waits for memory: one of them has to give up.
    Halt other;
    std::thread second;
    const Cache cache([&] {
        if (second.joinable()) return;
        second = std::thread([&] {
            EXPECT_TRUE(isRefused());
            other.leave();
        });
        other.enter();
    });
    EXPECT_TRUE(isRefused());
    second.join();
    EXPECT_TRUE(other.hasLeft());
}

TEST(LinuxReclaimables, ServeTheChildOfAForkDuringAnAsking) {
    Halt halt;
    const Cache slow([&, first = true]() mutable {
        if (std::exchange(first, false)) halt.enter();
    });
    std::thread asking([] { EXPECT_TRUE(isRefused()); });
    halt.awaitEntry();
    {
        ChildProcess child([&] {
            const bool works = isRefused() && slow.asked == 2;
            memory()->unregisterReclaimable(const_cast<Cache*>(&slow));
            return works && isRefused() && slow.asked == 2 ? 0 : 1;
        });
        EXPECT_TRUE(child.endsWithin(30s));
        EXPECT_EQ(child.exitCode(), 0);
    }
    halt.leave();
    asking.join();
}

TEST(LinuxReclaimables, ComeAndGoOnAllThreadsDuringAskings) {
    constexpr int kThreads = 4;
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            gate.wait();
            for (int i = 0; i < 300; ++i) {
                // Touches its own memory when asked, so that a call after the end would show.
                auto text = std::make_unique<std::string>(100, 'x');
                const Cache cache([&] { text->assign(200, 'y'); });
                const Cache second([] { memory()->deallocate(memory()->allocate(64)); });
                if ((i + t) % 8 == 0) {
                    EXPECT_TRUE(isRefused());
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

} // namespace
