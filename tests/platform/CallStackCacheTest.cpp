// What is remembered of return addresses, and that call stacks are the same with it as without.
#include "OS/CallStackCache.h"

#include "Vq/Platform.h"
#include "support/ChildProcess.h"
#include "support/FreshProcess.h"
#include "support/Threads.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <link.h>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;
using Vq::CallStackCache;

class CallStackCacheTest : public testing::Test {
protected:
    ~CallStackCacheTest() override { cache_->clear(); }

    /// Some address for each number.
    static const void* address(std::size_t number) {
        return reinterpret_cast<const void*>(0x400000 + 5 * number);
    }

    static std::string textOf(std::size_t number) { return "line " + std::to_string(number); }

    /// What is known, "-" for nothing.
    std::string found(std::size_t number, CallStackCache::Generation generation = 0) {
        CallStackCache::Line line;
        if (!cache_->find(address(number), generation, line)) return "-";
        return std::string(std::string_view(line));
    }

    void keep(std::size_t number, CallStackCache::Generation generation = 0) {
        cache_->keep(address(number), generation, textOf(number));
    }

    std::size_t countKnown(std::size_t upTo) {
        std::size_t known = 0;
        for (std::size_t i = 0; i < upTo; ++i) {
            const std::string text = found(i);
            if (text == "-") continue;
            EXPECT_EQ(text, textOf(i));
            ++known;
        }
        return known;
    }

    std::unique_ptr<CallStackCache> cache_ = std::make_unique<CallStackCache>();
};

TEST_F(CallStackCacheTest, KnowsNothingAtFirst) {
    EXPECT_EQ(found(1), "-");
    EXPECT_EQ(found(1, 7), "-");
}

TEST_F(CallStackCacheTest, KnowsWhatWasKept) {
    for (std::size_t i = 0; i < CallStackCache::kMost; ++i) keep(i);
    EXPECT_EQ(countKnown(2 * CallStackCache::kMost), CallStackCache::kMost);
}

TEST_F(CallStackCacheTest, KeepsTheFirstTextOfAnAddress) {
    keep(1);
    cache_->keep(address(1), 0, "another");
    EXPECT_EQ(found(1), "line 1");
}

TEST_F(CallStackCacheTest, ForgetsAllWhenThereIsNoRoomForOneMore) {
    for (std::size_t i = 0; i <= CallStackCache::kMost; ++i) keep(i);
    EXPECT_EQ(countKnown(CallStackCache::kMost), 0U);
    EXPECT_EQ(found(CallStackCache::kMost), textOf(CallStackCache::kMost));
    for (std::size_t i = 0; i < 10 * CallStackCache::kMost; ++i) keep(i);
    EXPECT_GT(countKnown(10 * CallStackCache::kMost), 0U);
}

TEST_F(CallStackCacheTest, KnowsNothingOfAnotherGeneration) {
    keep(1, 5);
    EXPECT_EQ(found(1, 5), "line 1");
    EXPECT_EQ(found(1, 4), "-");
    EXPECT_EQ(found(1, 6), "-");
    EXPECT_EQ(found(1, 5), "line 1") << "asking changes nothing";
}

TEST_F(CallStackCacheTest, ForgetsOneGenerationForAnother) {
    keep(1, 5);
    keep(2, 6);
    EXPECT_EQ(found(1, 6), "-");
    EXPECT_EQ(found(1, 5), "-");
    EXPECT_EQ(found(2, 6), "line 2");
    cache_->keep(address(1), 6, "of another library");
    EXPECT_EQ(found(1, 6), "of another library");
}

TEST_F(CallStackCacheTest, KeepsLinesUpToALengthAndNoLonger) {
    const std::string longest(CallStackCache::kLongest, 'x');
    cache_->keep(address(1), 0, longest);
    cache_->keep(address(2), 0, longest + 'x');
    cache_->keep(address(3), 0, "");
    EXPECT_EQ(found(1), longest);
    EXPECT_EQ(found(2), "-");
    EXPECT_EQ(found(3), "");
}

TEST_F(CallStackCacheTest, HasNoLineForNoAddress) {
    cache_->keep(nullptr, 0, "nothing");
    CallStackCache::Line line;
    EXPECT_FALSE(cache_->find(nullptr, 0, line));
}

TEST_F(CallStackCacheTest, KeepsItsOwnCopy) {
    std::string text = "line 1";
    cache_->keep(address(1), 0, text);
    text = "change";
    EXPECT_EQ(found(1), "line 1");
}

TEST_F(CallStackCacheTest, IsClearedForGood) {
    keep(1);
    cache_->clear();
    EXPECT_EQ(found(1), "-");
    cache_->clear();
    keep(1);
    EXPECT_EQ(found(1), "line 1");
}

TEST_F(CallStackCacheTest, GivesManyThreadsWholeLinesOrNone) {
    constexpr std::size_t kLines = 3 * CallStackCache::kMost / 2; // more than there is room for
    std::atomic<long> wrong = 0;
    onThreads(4, [&](int self) {
        for (std::size_t i = 0; i < 20000; ++i) {
            const std::size_t number = i * (static_cast<std::size_t>(self) + 1) % kLines;
            const auto generation = static_cast<CallStackCache::Generation>(i / 5000);
            keep(number, generation);
            const std::string text = found(number, generation);
            if (text != "-" && text != textOf(number)) ++wrong;
        }
    });
    EXPECT_EQ(wrong, 0);
}

// --- Call stacks

using Lines = std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>;

[[gnu::noinline]] Lines callStack(int depth) {
    Lines lines;
    if (depth == 0) {
        OS()->utils()->getCallStack(&lines);
    } else {
        lines = callStack(depth - 1);
    }
    lines.shrink_to_fit(); // work after the call keeps it a call
    return lines;
}

/// All of one place in the source, so that their frames are the same.
std::vector<Lines> callStacks(int count, int depth) {
    std::vector<Lines> stacks;
    for (int i = 0; i < count; ++i) stacks.push_back(callStack(depth));
    return stacks;
}

TEST(RepeatedCallStack, IsTheSameEveryTime) {
    const std::vector<Lines> stacks = callStacks(10, 20);
    ASSERT_GT(stacks[0].size(), 20U);
    for (const Lines& stack : stacks) EXPECT_EQ(stack, stacks[0]);
}

TEST(RepeatedCallStack, HasLinesOfItsOwn) {
    std::vector<Lines> stacks = callStacks(3, 3);
    const LightweightString<char> first(stacks[0][0].c_str());
    stacks[1][0] += "changed";
    for (const Lines& stack : stacks) {
        for (const auto& line : stack) EXPECT_EQ(line.useCount(), 1U);
    }
    EXPECT_EQ(stacks[0][0], first);
    EXPECT_EQ(stacks[2][0], first);
}

TEST(RepeatedCallStack, IsTheSameOnEveryThread) {
    std::array<Lines, 4> stacks;
    onThreads(4, [&](int self) {
        for (int i = 0; i < 200; ++i) stacks[static_cast<std::size_t>(self)] = callStack(10);
    });
    for (const Lines& stack : stacks) EXPECT_EQ(stack, stacks[0]);
}

TEST(RepeatedCallStack, IsTakenInAForkedChildToo) {
    std::atomic<bool> enough = false;
    std::thread busy([&] {
        while (!enough) callStack(5);
    });
    for (int i = 0; i < 20; ++i) {
        ChildProcess child([] {
            const std::vector<Lines> stacks = callStacks(2, 10);
            return stacks[0] == stacks[1] && stacks[0].size() > 10 ? 0 : 1;
        });
        EXPECT_TRUE(child.endsWithin(60s));
        EXPECT_EQ(child.exitCode(), 0);
    }
    enough = true;
    busy.join();
}

/// What this thread does while another one holds the loader's lock.
template <class Work> void whileTheLoaderIsBusy(Work work) {
    struct {
        std::atomic<bool> isBusy = false;
        std::atomic<bool> isDone = false;
    } state;
    std::thread other([&] {
        dl_iterate_phdr(
            [](dl_phdr_info*, std::size_t, void* data) {
                auto& shared = *static_cast<decltype(state)*>(data);
                shared.isBusy = true;
                shared.isBusy.notify_one();
                shared.isDone.wait(false);
                return 1;
            },
            &state);
    });
    state.isBusy.wait(false);
    work();
    state.isDone = true;
    state.isDone.notify_one();
    other.join();
}

TEST(RepeatedCallStack, IsTakenFirstInTheChildOfAForkThatCameWhileTheLoaderWasBusy) {
    inFreshProcess([] {
        whileTheLoaderIsBusy([] {
            ChildProcess child([] { return callStack(10).size() > 10 ? 0 : 1; });
            EXPECT_TRUE(child.endsWithin(60s));
            EXPECT_EQ(child.exitCode(), 0);
        });
    });
}

TEST(RepeatedCallStack, IsTakenAgainInTheChildOfAForkThatCameWhileTheLoaderWasBusy) {
    ASSERT_GT(callStack(10).size(), 10U);
    whileTheLoaderIsBusy([] {
        ChildProcess child([] { return callStack(10).size() > 10 ? 0 : 1; });
        EXPECT_TRUE(child.endsWithin(60s));
        EXPECT_EQ(child.exitCode(), 0);
    });
}

} // namespace
