// The heap behind the memory service: what it shares with the program's own malloc (nothing), with
// other threads, with threads that have ended and with the child of a fork (everything).

#include "Vq/Platform.h"
#include "support/ChildProcess.h"
#include "support/StartGate.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stop_token>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;

iMemory* memory() {
    return OS()->memory();
}

/// A block whose every byte says where it is from.
struct Marked {
    unsigned char* bytes;
    std::size_t size;
    unsigned char mark;
};

Marked makeMarked(std::size_t size, unsigned char mark) {
    auto* const bytes = static_cast<unsigned char*>(memory()->allocate(size));
    std::memset(bytes, mark, size);
    return {bytes, size, mark};
}

bool isWhole(const Marked& block) {
    for (std::size_t i = 0; i < block.size; ++i) {
        if (block.bytes[i] != block.mark) return false;
    }
    return true;
}

/// Sizes from every class that a heap may treat in its own way.
std::vector<Marked> makeMany(unsigned char seed) {
    std::vector<Marked> blocks;
    for (std::size_t size = 1; size <= (std::size_t{8} << 20); size += size / 3 + 1) {
        blocks.push_back(makeMarked(size, seed++));
    }
    return blocks;
}

void checkAndFree(const std::vector<Marked>& blocks) {
    for (const Marked& block : blocks) {
        EXPECT_TRUE(isWhole(block)) << block.size;
        memory()->deallocate(block.bytes);
    }
}

template <class Function> std::string_view libraryOf(Function* function) {
    Dl_info info;
    return ::dladdr(reinterpret_cast<void*>(function), &info) != 0 ? info.dli_fname : "";
}

TEST(LinuxHeap, LeavesTheProgramItsOwnMalloc) {
    for (const std::string_view library : {libraryOf(&std::malloc), libraryOf(&std::free)}) {
        EXPECT_NE(library, "");
        EXPECT_EQ(library.find("mimalloc"), library.npos) << library;
    }
}

TEST(LinuxHeap, KeepsBlocksOfAllSizesApart) {
    const std::vector<Marked> first = makeMany(1);
    const std::vector<Marked> second = makeMany(101);
    checkAndFree(first);
    checkAndFree(second);
}

TEST(LinuxHeap, AlignsBlocksOfAllSizes) {
    for (const Marked& block : makeMany(1)) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.bytes) % alignof(std::max_align_t), 0U)
            << block.size;
        memory()->deallocate(block.bytes);
    }
}

TEST(LinuxHeap, TakesBlocksBackOnAnotherThread) {
    std::vector<Marked> blocks;
    std::thread([&] { blocks = makeMany(7); }).join(); // the thread that made them has ended
    std::thread([&] { checkAndFree(blocks); }).join();
}

TEST(LinuxHeap, ServesThreadsThatPassBlocksOnToEachOther) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    std::vector<std::vector<Marked>> passed(std::size_t{kThreads});
    for (int round = 0; round < kRounds; ++round) {
        StartGate gate(kThreads);
        std::vector<std::thread> threads;
        std::vector<std::vector<Marked>> made(std::size_t{kThreads});
        for (std::size_t i = 0; i < std::size_t{kThreads}; ++i) {
            threads.emplace_back([&, i] {
                gate.wait();
                for (std::size_t size = 1; size < 3000; size += size / 2 + 1) {
                    made[i].push_back(makeMarked(size, static_cast<unsigned char>(i + size)));
                }
                checkAndFree(passed[(i + 1) % kThreads]);
            });
        }
        for (std::thread& thread : threads) thread.join();
        passed = std::move(made);
    }
    for (const std::vector<Marked>& blocks : passed) checkAndFree(blocks);
}

// A sanitizer puts a heap of its own in place of this one, which no child of a fork may count on.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(LinuxHeap, WorksInTheChildOfAForkWhileOtherThreadsAllocate) {
    const std::jthread busy([](const std::stop_token& over) {
        while (!over.stop_requested()) checkAndFree({makeMarked(40, 3), makeMarked(5000, 4)});
    });
    const std::vector<Marked> before = makeMany(11);
    for (int i = 0; i < 20; ++i) {
        ChildProcess child([&] {
            checkAndFree(before); // its own copy of what the parent made
            checkAndFree(makeMany(12));
            return testing::Test::HasFailure() ? 1 : 0;
        });
        ASSERT_TRUE(child.endsWithin(1min));
        EXPECT_EQ(child.exitCode(), 0);
    }
    checkAndFree(before);
}
#endif

} // namespace
