#include "Vq/PoolLog.h"

#include "VqTest/FailingAllocations.h"
#include "support/FreshProcess.h"
#include "support/PoolLogTest.h"
#include "support/StartGate.h"

#include <algorithm>
#include <atomic>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::PooledObjectDebug::LoggingTraitsBase;

class PoolLogLock : public PoolLogTest {};

bool isHeldHere() {
    return poolLogLock().owner() == OS()->sync()->currentThreadId();
}

bool isFree() {
    return poolLogLock().owner() == 0;
}

/// Asked on another thread, where a lock that is held cannot be entered.
bool isFreeToOthers() {
    bool entered = false;
    std::thread([&] {
        entered = poolLogLock().attemptEntry() == 0;
        if (entered) poolLogLock().leave();
    }).join();
    return entered;
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// --- What dump asks of the platform

TEST(PoolLogNewLock, IsMadeByTheFirstDumpUnderItsName) {
    inFreshProcess([] {
        auto& names = *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
        EXPECT_EQ(names.find<CriticalSection>("PooledObjects.log_FileAccessLock"), nullptr);
        LoggingTraitsBase log("pool");
        EXPECT_EQ(names.find<CriticalSection>("PooledObjects.log_FileAccessLock"), nullptr)
            << "the first dump makes it";
        log.dump();
        CriticalSection* const lock =
            names.find<CriticalSection>("PooledObjects.log_FileAccessLock");
        ASSERT_NE(lock, nullptr);

        const long locks = platform().sync()->liveLocks();
        log.dump();
        EXPECT_EQ(names.find<CriticalSection>("PooledObjects.log_FileAccessLock"), lock);
        EXPECT_EQ(platform().sync()->liveLocks(), locks);
    });
}

TEST(PoolLogNewLock, MayBeTheClients) {
    inFreshProcess([] {
        CriticalSection own;
        Vq::NamedObjectsNamespace::getGlobalNamespaceInstance()->create<CriticalSection>(
            "PooledObjects.log_FileAccessLock", &own);
        bool wasHeld = false;
        auto look = [&] { wasHeld = own.owner() == OS()->sync()->currentThreadId(); };
        platform().calls().intercept(kGetFolder, look);
        LoggingTraitsBase log("pool");
        log.dump();
        EXPECT_TRUE(wasHeld);
        EXPECT_EQ(own.owner(), 0u);
        platform().calls().reset();
    });
}

TEST_F(PoolLogLock, IsHeldWhileThePathIsMadeAndConverted) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    int asked = 0;
    auto look = [&] {
        ++asked;
        EXPECT_TRUE(isHeldHere());
        EXPECT_FALSE(isFreeToOthers());
    };
    const Call calls[] = {kGetFolder, kApplicationName, kPathSeparator, kNarrowFromWide, kToUTF8};
    for (const Call call : calls) platform().calls().intercept(call, look);
    log.dump();
    platform().calls().reset();
    EXPECT_GE(asked, 5);
    EXPECT_TRUE(isFree());
    EXPECT_TRUE(isFreeToOthers());
}

TEST_F(PoolLogLock, IsLeftWhenTheLineIsInTheFile) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    std::string seen;
    auto look = [&] { seen = file.summaries(); };
    platform().calls().intercept(kRelease, look);
    log.dump();
    platform().calls().reset();
    EXPECT_EQ(seen, quietLine("pool", 0));
}

TEST_F(PoolLogLock, IsEnteredBeforeThePathIsAskedForAndLeftLast) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    log.dump();
    const RecordedCalls all = callsOf([&] { log.dump(); });
    std::vector<Call> order;
    for (const RecordedCall& call : all) {
        const bool concernsFile = call.call == kGetFolder || call.call == kApplicationName ||
                                  call.call == kPathSeparator || call.call == kNarrowFromWide ||
                                  call.call == kToUTF8;
        if (concernsFile && (order.empty() || order.back() != call.call)) {
            order.push_back(call.call);
        }
    }
    EXPECT_EQ(order, (std::vector<Call>{kGetFolder, kApplicationName, kPathSeparator,
                                        kNarrowFromWide, kToUTF8}));

    const auto folder = std::ranges::find(all, kGetFolder, &RecordedCall::call);
    ASSERT_NE(folder, all.end());
    EXPECT_EQ(folder->value, 4u) << "the kind of folder";
    const auto enter = std::find_if(std::make_reverse_iterator(folder), all.rend(),
                                    [](const RecordedCall& call) { return call.call == kAcquire; });
    ASSERT_NE(enter, all.rend());
    EXPECT_EQ(all.back().call, kRelease);
    EXPECT_EQ(all.back().address, enter->address);
    EXPECT_EQ(std::ranges::count(all, kAcquire, &RecordedCall::call),
              std::ranges::count(all, kRelease, &RecordedCall::call));
    const auto mode = std::ranges::find(all, kNarrowFromWide, &RecordedCall::call);
    ASSERT_NE(mode, all.end());
    EXPECT_STREQ(static_cast<const wchar_t*>(mode->address), L"a+t");
}

TEST_F(PoolLogLock, AsksForEveryPartOfThePathOnce) {
    LoggingTraitsBase log("pool");
    const Counts made = countsOf([&] { log.dump(); });
    EXPECT_EQ(made[kGetFolder], 1);
    EXPECT_EQ(made[kApplicationName], 1);
    EXPECT_GE(made[kPathSeparator], 1);
    EXPECT_LE(made[kPathSeparator], 2);
    EXPECT_EQ(made[kNarrowFromWide], 1);
    EXPECT_EQ(made[kToUTF8], 1);
    EXPECT_EQ(made[kNow], 0);
    EXPECT_EQ(made[kOpenFile], 0) << "the log is the C library's file";
}

TEST_F(PoolLogLock, MayBeHeldByTheCallerAlready) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    poolLogLock().enter();
    log.dump();
    EXPECT_TRUE(isHeldHere());
    poolLogLock().leave();
    EXPECT_TRUE(isFree());
    EXPECT_EQ(file.summaries(), quietLine("pool", 0));
}

TEST_F(PoolLogLock, MakesADumpWaitForItsHolder) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    log.dump();
    // How many locks a dump enters before it asks for the folder, the last of them the file's.
    const RecordedCalls all = callsOf([&] { log.dump(); });
    const auto locks =
        std::count_if(all.begin(), std::ranges::find(all, kGetFolder, &RecordedCall::call),
                      [](const RecordedCall& call) { return call.call == kAcquire; });

    static thread_local bool dumps = false;
    std::atomic<long> entered{0};
    std::atomic<bool> wasLeft{false};
    bool cameAfter = false;
    std::binary_semaphore isWaitingOrPast{0};
    auto onAcquire = [&] {
        if (dumps && ++entered == locks) isWaitingOrPast.release();
    };
    auto onFolder = [&] {
        cameAfter = wasLeft;
        if (entered < locks) isWaitingOrPast.release();
    };
    const std::string before = file.summaries();
    poolLogLock().enter();
    platform().calls().intercept(kAcquire, onAcquire);
    platform().calls().intercept(kGetFolder, onFolder);
    std::thread other([&] {
        dumps = true;
        log.dump();
    });
    isWaitingOrPast.acquire();
    EXPECT_EQ(file.summaries(), before);
    wasLeft = true;
    poolLogLock().leave();
    other.join();
    platform().calls().reset();
    EXPECT_TRUE(cameAfter);
    EXPECT_EQ(file.summaries(), before + quietLine("pool", 0));
}

TEST_F(PoolLogLock, KeepsTheLinesOfThreadsApart) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    const PoolLogFolder file;
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            LoggingTraitsBase log(std::string(3000, 'n').c_str());
            gate.wait();
            for (int round = 1; round < kRounds; ++round) log.dump();
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::string expected;
    for (int i = 0; i < kThreads * kRounds; ++i) expected += quietLine(std::string(3000, 'n'), 0);
    EXPECT_EQ(file.summaries(), expected);
}

// --- When something fails

struct Failure : std::runtime_error {
    Failure() : std::runtime_error("of the platform") {}
};

TEST_F(PoolLogLock, IsLeftWhenThePathCannotBeMade) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    auto refuse = [] { throw Failure(); };
    const Call calls[] = {kGetFolder, kApplicationName, kPathSeparator, kNarrowFromWide, kToUTF8};
    for (const Call call : calls) {
        platform().calls().intercept(call, refuse);
        EXPECT_THROW(log.dump(), Failure) << call;
        platform().calls().reset();
        EXPECT_TRUE(isFree()) << call;
        EXPECT_TRUE(isFreeToOthers()) << call;
        EXPECT_FALSE(file.exists()) << call;
    }
    platform().calls().fail(kNarrowFromWide);
    EXPECT_THROW(log.dump(), std::bad_alloc);
    platform().calls().fail(kToUTF8);
    EXPECT_THROW(log.dump(), std::bad_alloc);
    EXPECT_TRUE(isFreeToOthers());
    log.dump();
    EXPECT_EQ(file.summaries(), quietLine("pool", 0));
}

TEST_F(PoolLogLock, IsLeftWhenMemoryRunsOut) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    const int failures = forEachFailingAllocation([&] { log.dump(); },
                                                  [&] {
                                                      EXPECT_TRUE(isFree());
                                                      EXPECT_FALSE(file.exists());
                                                  });
    EXPECT_GE(failures, 2) << "the path and its conversion";
    EXPECT_TRUE(isFreeToOthers());
    EXPECT_EQ(file.summaries(), quietLine("pool", 0));
}

TEST(PoolLogNewLock, ThatCannotBeMadeMakesDumpThrow) {
    inFreshProcess([] {
        const PoolLogFolder file;
        Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
        LoggingTraitsBase log("pool");
        platform().calls().fail(kCreateCriticalSection, 2); // the 1st is of the registry's entry
        EXPECT_THROW(log.dump(), std::bad_alloc);
        EXPECT_TRUE(platform().calls().hasFailed(kCreateCriticalSection));
        platform().calls().succeed(kCreateCriticalSection);
        EXPECT_FALSE(file.exists());
        log.dump();
        EXPECT_EQ(file.summaries(), quietLine("pool", 0));
    });
}

TEST_F(PoolLogLock, IsLeftWhenTheDestructorFails) {
    const PoolLogFolder file;
    auto refuse = [] { throw Failure(); };
    platform().calls().intercept(kGetFolder, refuse);
    { const LoggingTraitsBase log("pool"); }
    platform().calls().reset();
    EXPECT_TRUE(isFreeToOthers());
    EXPECT_FALSE(file.exists());
}

TEST_F(PoolLogLock, IsLeftWhenTheFileCannotBeOpened) {
    LoggingTraitsBase log("pool");
    platform().folders()->setFolder(L"/nowhere/");
    log.dump();
    EXPECT_TRUE(isFree());
    EXPECT_TRUE(isFreeToOthers());
}

TEST_F(PoolLogLock, LeavesNoFileOpen) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 5; ++i) log.dump();
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
