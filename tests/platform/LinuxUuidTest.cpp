#include "Vq/Platform.h"
#include "platform/SystemCalls.h"
#include "support/ChildProcess.h"
#include "support/StartGate.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;
using Words = std::pair<unsigned long, unsigned long>;

Words newWords() {
    const UuidWords words = OS()->utils()->generateUUID();
    return {words.first, words.second};
}

std::array<unsigned char, 16> bytesOf(const Words& words) {
    std::array<unsigned char, 16> bytes;
    std::memcpy(bytes.data(), &words.first, 8);
    std::memcpy(bytes.data() + 8, &words.second, 8);
    return bytes;
}

TEST(LinuxUuid, IsOfVersionFourInMemoryOrder) {
    for (int i = 0; i < 1000; ++i) {
        const auto bytes = bytesOf(newWords());
        ASSERT_EQ(bytes[6] >> 4, 4);
        ASSERT_EQ(bytes[8] >> 6, 2);
    }
}

TEST(LinuxUuid, VariesInEveryOtherBit) {
    std::array<unsigned char, 16> everSet = {};
    std::array<unsigned char, 16> everClear = {};
    for (int i = 0; i < 200; ++i) {
        const auto bytes = bytesOf(newWords());
        for (std::size_t b = 0; b < 16; ++b) {
            everSet[b] = static_cast<unsigned char>(everSet[b] | bytes[b]);
            everClear[b] = static_cast<unsigned char>(everClear[b] | ~bytes[b]);
        }
    }
    for (std::size_t b = 0; b < 16; ++b) {
        EXPECT_EQ(everSet[b], b == 6 ? 0x4F : b == 8 ? 0xBF : 0xFF) << b;
        EXPECT_EQ(everClear[b], b == 6 ? 0xBF : b == 8 ? 0x7F : 0xFF) << b;
    }
}

TEST(LinuxUuid, IsUniqueAcrossThreads) {
    constexpr int kThreads = 4;
    constexpr int kEach = 2000;
    std::array<std::vector<Words>, kThreads> made;
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (auto& list : made) {
        threads.emplace_back([&] {
            gate.wait();
            for (int i = 0; i < kEach; ++i) list.push_back(newWords());
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::set<Words> all;
    for (const auto& list : made) all.insert(list.begin(), list.end());
    EXPECT_EQ(all.size(), std::size_t{kThreads} * kEach);
}

TEST(LinuxUuid, IsUniqueAcrossAFork) {
    newWords(); // whatever is kept from the first use is kept by the child, too
    Shared<std::array<Words, 100>> fromChild;
    ChildProcess child([&] {
        for (Words& words : *fromChild) words = newWords();
        return 0;
    });
    std::set<Words> all;
    for (int i = 0; i < 100; ++i) all.insert(newWords());
    ASSERT_TRUE(child.endsWithin(60s));
    all.insert(fromChild->begin(), fromChild->end());
    EXPECT_EQ(all.size(), 200U);
}

TEST(LinuxUuid, IsUniqueAcrossAForkThatLibcKnowsNothingOf) {
    newWords();
    Shared<std::array<Words, 100>> fromChild;
    const auto child = static_cast<pid_t>(syscall(SYS_fork));
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (Words& words : *fromChild) words = newWords();
        syscall(SYS_exit_group, 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    std::set<Words> all(fromChild->begin(), fromChild->end());
    for (int i = 0; i < 100; ++i) all.insert(newWords());
    EXPECT_EQ(all.size(), 200U);
}

TEST(LinuxUuid, IsUniqueAcrossAChildsThreadsAndItsOwnChild) {
    newWords();
    Shared<std::array<std::array<Words, 100>, 4>> made;
    const auto fill = [](std::array<Words, 100>& list) {
        for (Words& words : list) words = newWords();
    };
    ChildProcess child([&] {
        // The other thread asks first, so the fork is no news any more when this one does.
        std::thread([&] { fill((*made)[0]); }).join();
        fill((*made)[1]);
        ChildProcess grandchild([&] {
            fill((*made)[2]);
            return 0;
        });
        fill((*made)[3]);
        return grandchild.endsWithin(60s) ? 0 : 1;
    });
    ASSERT_TRUE(child.endsWithin(120s));
    std::set<Words> all;
    for (const auto& list : *made) all.insert(list.begin(), list.end());
    for (int i = 0; i < 100; ++i) all.insert(newWords());
    EXPECT_EQ(all.size(), 500U);
}

// What a signal handler made, which may come between any two instructions of its thread.
std::atomic<std::size_t> madeByHandler = 0;
std::array<Words, 500> handlersWords;

void makeInHandler(int /*signal*/) {
    const std::size_t next = madeByHandler.load();
    if (next == handlersWords.size()) return;
    handlersWords[next] = newWords();
    madeByHandler = next + 1;
}

TEST(LinuxUuid, IsUniqueAcrossASignalHandler) {
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = makeInHandler;
    action.sa_flags = SA_RESTART;
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    int repeated = 0;
    std::thread interrupted([&] {
        Words latest = newWords();
        for (std::size_t seen = 0; seen < handlersWords.size();) {
            const Words words = newWords();
            repeated += words == latest ? 1 : 0;
            latest = words;
            for (const std::size_t made = madeByHandler; seen < made; ++seen) {
                repeated += handlersWords[seen] == words ? 1 : 0;
            }
        }
    });
    // One at a time: a second signal would be lost while the first is under way.
    for (std::size_t i = 0; i < handlersWords.size(); ++i) {
        pthread_kill(interrupted.native_handle(), SIGUSR1);
        while (madeByHandler == i) std::this_thread::yield();
    }
    interrupted.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(repeated, 0);
    const std::set<Words> all(handlersWords.begin(), handlersWords.end());
    EXPECT_EQ(all.size(), handlersWords.size());
}

/// Runs on a thread that has nothing in hand yet.
template <class Body> void onFreshThread(Body body) {
    std::thread(body).join();
}

TEST(LinuxUuid, AsksTheKernelForManyAtATime) {
    onFreshThread([] {
        SystemCalls calls;
        std::set<Words> all;
        for (int i = 0; i < 32; ++i) all.insert(newWords());
        EXPECT_EQ(calls.count(SystemCall::kRandom), 1);
        all.insert(newWords());
        EXPECT_EQ(calls.count(SystemCall::kRandom), 2);
        EXPECT_EQ(all.size(), 33U);
    });
}

TEST(LinuxUuid, TakesInterruptionsAndPieces) {
    onFreshThread([] {
        SystemCalls calls;
        calls.fail(SystemCall::kRandom, EINTR, 3, 1);
        calls.limitPieces(5);
        const auto bytes = bytesOf(newWords());
        EXPECT_EQ(calls.count(SystemCall::kRandom), 3 + 103) << "512 bytes by five";
        EXPECT_EQ(bytes[6] >> 4, 4);
        EXPECT_EQ(bytes[8] >> 6, 2);
    });
}

TEST(LinuxUuid, ThrowsWhereThereIsNoRandomnessAndWorksAgainBehindIt) {
    onFreshThread([] {
        std::set<Words> all;
        {
            SystemCalls calls;
            calls.fail(SystemCall::kRandom, ENOSYS);
            EXPECT_THROW(newWords(), std::system_error);
            EXPECT_THROW(newWords(), std::system_error);
        }
        SystemCalls calls;
        for (int i = 0; i < 32; ++i) all.insert(newWords());
        EXPECT_EQ(all.size(), 32U);
        EXPECT_EQ(calls.count(SystemCall::kRandom), 1) << "nothing of the failure is left";
    });
}

} // namespace
