#include "Vq/Platform.h"
#include "platform/SystemCalls.h"
#include "support/ChildProcess.h"
#include "support/StartGate.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

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

TEST(LinuxUuid, TakesInterruptionsAndPieces) {
    SystemCalls calls;
    calls.fail(SystemCall::kRandom, EINTR, 3, 1);
    calls.limitPieces(5);
    const auto bytes = bytesOf(newWords());
    EXPECT_EQ(calls.count(SystemCall::kRandom), 3 + 4);
    EXPECT_EQ(bytes[6] >> 4, 4);
    EXPECT_EQ(bytes[8] >> 6, 2);
}

TEST(LinuxUuid, ThrowsWhereThereIsNoRandomness) {
    SystemCalls calls;
    calls.fail(SystemCall::kRandom, ENOSYS);
    EXPECT_THROW(newWords(), std::system_error);
}

} // namespace
