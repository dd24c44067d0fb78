#include "VqTest/ScriptedPlatform.h"
#include "VqTest/CapturedOutput.h"
#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "VqTest/Utf8.h"

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest-spi.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using enum vqtest::Call;

class ScriptedPlatformCalls : public ScriptedTest {};
class ScriptedPlatformMemory : public ScriptedTest {};
class ScriptedPlatformAnswers : public ScriptedTest {};
class ScriptedPlatformFiles : public ScriptedTest {
protected:
    static Vq::Ptr<iFile> openToRead(const wchar_t* path) {
        return OS()->fileSystem()->openFile(path, 1, 0, 1, 0);
    }
    static Vq::Ptr<iFile> openToWrite(const wchar_t* path) {
        return OS()->fileSystem()->openFile(path, 2, 3, 0, 0);
    }

    MemoryFiles& files = *platform().fileSystem();
};
class FailingAllocations : public ScriptedTest {};
class FailingCalls : public ScriptedTest {};

/// Before main: does the platform already serve, and is it still the same later?
const std::unique_ptr<iPlatform*> kSeenByAStaticObject = std::make_unique<iPlatform*>(OS());

TEST(ScriptedPlatform, ServesBeforeMain) {
    EXPECT_EQ(*kSeenByAStaticObject, &platform());
}

TEST_F(ScriptedPlatformCalls, AreCountedByOperation) {
    int counter = 0;
    const Counts made = countsOf([&] {
        OS()->atomics()->atomicIncrement(&counter);
        OS()->atomics()->atomicIncrement(&counter);
        OS()->atomics()->atomicDecrement(&counter);
    });
    EXPECT_EQ(made[kAtomicIncrement], 2);
    EXPECT_EQ(made[kAtomicDecrement], 1);
    EXPECT_EQ(made.total(), 3);
}

TEST_F(ScriptedPlatformCalls, AreCountedExactlyOnManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 1000;
    int counter = 0;
    const auto work = [&] {
        for (int i = 0; i < kRounds; ++i) OS()->atomics()->atomicIncrement(&counter);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, kThreads * kRounds);
    EXPECT_EQ(platform().calls().count(kAtomicIncrement), kThreads * kRounds);
}

TEST_F(ScriptedPlatformCalls, AreRecordedWithTheirArguments) {
    void* block = nullptr;
    const RecordedCalls calls = callsOf([&] {
        block = OS()->memory()->allocate(24);
        OS()->memory()->deallocate(block);
        OS()->sync()->currentThreadId();
    });
    const RecordedCalls expected = {
        {kAllocate, nullptr, 24}, {kDeallocate, block, 0}, {kCurrentThreadId}};
    EXPECT_EQ(calls, expected);
}

TEST_F(ScriptedPlatformCalls, FailOnceAtTheOrderedTime) {
    platform().calls().fail(kAllocate, 2);
    void* first = OS()->memory()->allocate(1);
    EXPECT_FALSE(platform().calls().hasFailed(kAllocate));
    EXPECT_THROW(OS()->memory()->allocate(1), std::bad_alloc);
    EXPECT_TRUE(platform().calls().hasFailed(kAllocate));
    void* third = OS()->memory()->allocate(1);
    OS()->memory()->deallocate(first);
    OS()->memory()->deallocate(third);
}

TEST_F(ScriptedPlatformCalls, FailForGoodFromTheOrderedTime) {
    platform().calls().failFrom(kAllocate);
    EXPECT_THROW(OS()->memory()->allocate(1), std::bad_alloc);
    EXPECT_THROW(OS()->memory()->allocate(1), std::bad_alloc);
    platform().calls().succeed(kAllocate);
    OS()->memory()->deallocate(OS()->memory()->allocate(1));
}

TEST_F(ScriptedPlatformCalls, RunTheHookBeforeTheirEffect) {
    int counter = 0;
    int seen = -1;
    auto look = [&] { seen = counter; };
    platform().calls().intercept(kAtomicIncrement, look);
    OS()->atomics()->atomicIncrement(&counter);
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(counter, 1);
}

TEST_F(ScriptedPlatformCalls, PassOnWhatTheHookThrows) {
    auto refuse = [] { throw 7; };
    platform().calls().intercept(kAllocate, refuse);
    EXPECT_THROW(OS()->memory()->allocate(1), int);
}

TEST_F(ScriptedPlatformMemory, KnowsItsLiveBlocksAndTheirBytes) {
    ScriptedMemory& memory = *platform().memory();
    const long blocks = memory.liveBlocks();
    const long bytes = memory.liveBytes();
    void* block = memory.allocate(100);
    EXPECT_EQ(memory.liveBlocks(), blocks + 1);
    EXPECT_EQ(memory.liveBytes(), bytes + 100);
    memory.deallocate(block);
    EXPECT_EQ(memory.liveBlocks(), blocks);
    EXPECT_EQ(memory.liveBytes(), bytes);
}

TEST_F(ScriptedPlatformMemory, RemembersTheLatestSizes) {
    for (const unsigned long bytes : {10UL, 20UL, 30UL}) {
        OS()->memory()->deallocate(OS()->memory()->allocate(bytes));
    }
    EXPECT_EQ(platform().memory()->requestedBytes(), 30u);
    EXPECT_EQ(platform().memory()->requestedBytes(2), 10u);
}

TEST_F(ScriptedPlatformMemory, FillsNewBlocksWithGarbage) {
    auto* block = static_cast<unsigned char*>(OS()->memory()->allocate(8));
    EXPECT_EQ(block[0], ScriptedMemory::kFreshByte);
    EXPECT_EQ(block[7], ScriptedMemory::kFreshByte);
    OS()->memory()->deallocate(block);
}

TEST_F(ScriptedPlatformMemory, MisalignsBlocksWhenTold) {
    platform().memory()->setMisalignment(5);
    void* block = OS()->memory()->allocate(3);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 5u);
    platform().memory()->setMisalignment(0);
    OS()->memory()->deallocate(block);
}

TEST_F(ScriptedPlatformMemory, RefusesWhatNoMachineHas) {
    EXPECT_THROW(OS()->memory()->allocate(~0UL), std::bad_alloc);
}

TEST(ScriptedPlatformMemoryDeathTest, StopsAtWhatIsNoBlock) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto freeTheMiddle = [] {
        auto* block = static_cast<char*>(OS()->memory()->allocate(64));
        OS()->memory()->deallocate(block + 32);
    };
    EXPECT_DEATH(freeTheMiddle(), "no live block");
}

TEST_F(ScriptedPlatformAnswers, ComeFromTheTest) {
    platform().fileSystem()->setApplicationName(L"Cutter");
    platform().fileSystem()->setPathSeparator(L'\\');
    platform().folders()->setFolder(L"/data/");
    platform().cpu()->setProcessorCount(12);
    platform().sync()->setThreadId(77);
    platform().utils()->setUuid({1, 2});
    platform().utils()->setCallStack({"only line"});
    EXPECT_EQ(OS()->fileSystem()->applicationName(), L"Cutter");
    EXPECT_EQ(OS()->fileSystem()->pathSeparator(), L'\\');
    EXPECT_EQ(OS()->folders()->getFolder(4), L"/data/");
    EXPECT_EQ(OS()->cpu()->processorCount(), 12);
    EXPECT_EQ(OS()->sync()->currentThreadId(), 77u);
    EXPECT_EQ(OS()->utils()->generateUUID().second, 2u);
    std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>> lines;
    OS()->utils()->getCallStack(&lines);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "only line");
}

TEST_F(ScriptedPlatformAnswers, ClockMovesAsTold) {
    ScriptedUtils& utils = *platform().utils();
    EXPECT_EQ(OS()->utils()->now(), 0.0);
    utils.setNow(1500.25);
    utils.advance(0.5);
    utils.setStep(10);
    EXPECT_EQ(OS()->utils()->now(), 1500.75);
    EXPECT_EQ(OS()->utils()->now(), 1510.75);
}

TEST_F(ScriptedPlatformAnswers, DifferBetweenLivingThreads) {
    unsigned other = 0;
    std::thread([&] { other = OS()->sync()->currentThreadId(); }).join();
    EXPECT_NE(OS()->sync()->currentThreadId(), 0u);
    EXPECT_NE(OS()->sync()->currentThreadId(), other);
    EXPECT_EQ(OS()->sync()->currentThreadId(), OS()->sync()->currentThreadId());
}

TEST_F(ScriptedPlatformAnswers, LocksAreRecursiveAndExcludeOtherThreads) {
    const Vq::Ptr<iCriticalSection> lock = OS()->sync()->createCriticalSection(0);
    lock->acquire();
    EXPECT_TRUE(lock->tryAcquire());
    lock->release();
    bool taken = true;
    std::thread([&] { taken = lock->tryAcquire(); }).join();
    EXPECT_FALSE(taken);
    lock->release();
}

TEST_F(ScriptedPlatformAnswers, TextIsConvertedForReal) {
    const LightweightString<wchar_t> wide(L"a\u00e9\u20ac\U0001F3AC");
    const LightweightString<char> narrow = OS()->utils()->toUTF8(wide);
    EXPECT_EQ(narrow, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC");
    EXPECT_EQ(OS()->utils()->fromUTF8(narrow.c_str(), static_cast<int>(narrow.length())), wide);
}

TEST(Utf8, EachMaximalInvalidRunBecomesOneReplacement) {
    EXPECT_EQ(decodeUtf8("a\xF1\x80\x80\xE1\x80\xC2z"), L"a\uFFFD\uFFFD\uFFFDz");
    EXPECT_EQ(decodeUtf8("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(decodeUtf8("\xC0\xAF"), L"\uFFFD\uFFFD");
    EXPECT_EQ(decodeUtf8("\xF4\x90\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(decodeUtf8("\xE2\x82"), L"\uFFFD");
}

TEST(Utf8, SurrogatesAndOversizedValuesAreReplaced) {
    const wchar_t text[] = {0xD800, 0x110000, -1, 0x10FFFF, 0};
    EXPECT_EQ(encodeUtf8(text), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xF4\x8F\xBF\xBF");
}

TEST_F(ScriptedPlatformFiles, ReadsExactlyWhatIsThere) {
    files.put(L"/a", "12345");
    const Vq::Ptr<iFile> file = openToRead(L"/a");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 5u);
    char bytes[6] = {};
    EXPECT_NE(file->read(bytes, 2), 0);
    EXPECT_EQ(file->read(bytes, 4), 0);
    EXPECT_NE(file->read(bytes, 3), 0);
    EXPECT_STREQ(bytes, "345");
}

TEST_F(ScriptedPlatformFiles, AbsentFilesAndUnknownFlagsGiveNoFile) {
    files.put(L"/a", "1");
    EXPECT_FALSE(openToRead(L"/absent"));
    EXPECT_FALSE(OS()->fileSystem()->openFile(L"/a", 1, 0, 0, 0));
    platform().calls().fail(kOpenFile);
    EXPECT_FALSE(openToRead(L"/a"));
    ASSERT_EQ(files.requests().size(), 3u);
    EXPECT_EQ(files.requests()[1].path, L"/a");
    EXPECT_EQ(files.requests()[1].sharing, 0);
}

TEST_F(ScriptedPlatformFiles, CommitReplacesTheContentAsAWhole) {
    files.put(L"/a", "old");
    Vq::Ptr<iFile> file = openToWrite(L"/a");
    EXPECT_NE(file->write("new ", 4), 0);
    EXPECT_NE(file->write("text", 4), 0);
    EXPECT_EQ(files.content(L"/a"), "old");
    EXPECT_EQ(files.writeState(L"/a"), WriteState::kOpen);
    EXPECT_NE(file->commit(), 0);
    EXPECT_EQ(files.content(L"/a"), "new text");
    EXPECT_EQ(files.writeState(L"/a"), WriteState::kCommitted);
    ASSERT_EQ(files.writes(L"/a").size(), 2u);
    EXPECT_EQ(files.writes(L"/a")[1], "text");
    EXPECT_EQ(files.written(L"/a"), "new text");
}

TEST_F(ScriptedPlatformFiles, ReleaseAfterGoodWritesReplacesTheContent) {
    openToWrite(L"/a")->write("new", 3);
    EXPECT_EQ(files.content(L"/a"), "new");
    EXPECT_EQ(files.writeState(L"/a"), WriteState::kReleased);
}

TEST_F(ScriptedPlatformFiles, AFailedWriteKeepsTheOldContent) {
    files.put(L"/a", "old");
    platform().calls().fail(kWrite, 2);
    Vq::Ptr<iFile> file = openToWrite(L"/a");
    EXPECT_NE(file->write("1", 1), 0);
    EXPECT_EQ(file->write("2", 1), 0);
    EXPECT_EQ(file->write("3", 1), 0);
    EXPECT_EQ(file->commit(), 0);
    file.reset();
    EXPECT_EQ(files.content(L"/a"), "old");
    EXPECT_EQ(files.writeState(L"/a"), WriteState::kAbandoned);
    EXPECT_EQ(files.written(L"/a"), "123");
}

TEST_F(ScriptedPlatformFiles, AFailedCommitKeepsTheOldContent) {
    platform().calls().fail(kCommit);
    Vq::Ptr<iFile> file = openToWrite(L"/a");
    EXPECT_NE(file->write("1", 1), 0);
    EXPECT_EQ(file->commit(), 0);
    file.reset();
    EXPECT_FALSE(files.exists(L"/a"));
}

TEST_F(ScriptedPlatformFiles, PowerLossTakesWhatWasNotCommitted) {
    files.put(L"/a", "old");
    Vq::Ptr<iFile> file = openToWrite(L"/a");
    EXPECT_NE(file->write("new", 3), 0);
    files.losePower();
    file.reset();
    EXPECT_EQ(files.content(L"/a"), "old");
    EXPECT_EQ(files.writeState(L"/a"), WriteState::kAbandoned);
}

TEST_F(ScriptedPlatformFiles, TheReportedSizeIsTheTests) {
    files.put(L"/a", "123");
    files.reportSize(L"/a", 1000);
    const Vq::Ptr<iFile> file = openToRead(L"/a");
    EXPECT_EQ(file->size(), 1000u);
    char bytes[1000];
    EXPECT_EQ(file->read(bytes, 1000), 0);
}

TEST_F(ScriptedPlatformFiles, CostNoAllocation) {
    files.put(L"/a", "123");
    const LightweightString<wchar_t> path(L"/a");
    const Counts made = countsOf([&] { OS()->fileSystem()->openFile(path, 1, 0, 1, 0); });
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made[kAtomicDecrement], 1);
    EXPECT_EQ(made[kCloseFile], 1);
}

TEST_F(FailingAllocations, RunsOncePerAllocation) {
    int runs = 0;
    int checks = 0;
    const auto twoBlocks = [&] {
        ++runs;
        const LightweightString<char> first("1");
        const LightweightString<char> second("2");
    };
    EXPECT_EQ(forEachFailingAllocation(twoBlocks, [&] { ++checks; }), 2);
    EXPECT_EQ(runs, 5) << "with one and with all later ones refused; then the success";
    EXPECT_EQ(checks, 4);
}

TEST_F(FailingAllocations, FindsALeak) {
    mayLeaveBlocks(); // the framework's, for the expected failure
    LightweightString<char> kept;
    const auto leaky = [&] {
        kept = "1";
        const LightweightString<char> second("2");
    };
    EXPECT_NONFATAL_FAILURE(forEachFailingAllocation(leaky, [] {}), "after failed allocate 2");
}

TEST_F(FailingAllocations, FindsASwallowedFailure) {
    mayLeaveBlocks(); // the framework's, for the expected failure
    const auto swallowing = [] {
        try {
            const LightweightString<char> text("1");
        } catch (const std::bad_alloc&) {
        }
    };
    EXPECT_NONFATAL_FAILURE(forEachFailingAllocation(swallowing, [] {}), "was swallowed");
}

TEST_F(FailingCalls, MayBeReportedByFalse) {
    platform().fileSystem()->put(L"/a", "1");
    const LightweightString<wchar_t> path(L"/a");
    const auto readAll = [&] {
        const Vq::Ptr<iFile> file = OS()->fileSystem()->openFile(path, 1, 0, 1, 0);
        char byte;
        return file && file->read(&byte, 1) != 0;
    };
    EXPECT_EQ(forEachFailure(kOpenFile, readAll, [] {}), 1);
    EXPECT_EQ(forEachFailure(kRead, readAll, [] {}), 1);
    EXPECT_EQ(forEachFailure(kAtomicIncrement, readAll, [] {}), 1);
    EXPECT_EQ(forEachFailure(kWrite, readAll, [] {}), 0);
}

TEST_F(FailingCalls, FindAnOperationThatCannotUndoWithoutOneMore) {
    const LightweightString<char> a("a");
    const LightweightString<char> b("b");
    LightweightString<char> first = a;
    LightweightString<char> second = a;
    const auto half = [&] {
        const LightweightString<char> before = first;
        first = b;
        try {
            second = b;
        } catch (...) {
            first = before; // one more increment
            throw;
        }
    };
    int wrong = 0;
    forEachFailure(kAtomicIncrement, half, [&] {
        if (first != a) ++wrong;
        first = a;
    });
    EXPECT_EQ(wrong, 1);
}

TEST_F(ScriptedPlatformFiles, StandWhereTheHandleOfAWriterCannotBeCounted) {
    files.put(L"/a", "old");
    platform().calls().fail(kAtomicIncrement);
    EXPECT_THROW(openToWrite(L"/a"), std::bad_alloc);
    EXPECT_EQ(files.content(L"/a"), "old");
    EXPECT_EQ(files.writeState(L"/a"), WriteState::kNone);
    EXPECT_EQ(files.openFiles(), 0);
}

TEST(CapturedOutput, SeesEveryWayToWrite) {
    CapturedOutput output;
    std::printf("stdio ");
    std::fflush(stdout);
    ASSERT_EQ(write(1, "plain ", 6), 6);
    std::cout << "stream";
    EXPECT_EQ(output.text(), "stdio plain stream");
    EXPECT_EQ(output.text(), "stdio plain stream");
}

} // namespace
