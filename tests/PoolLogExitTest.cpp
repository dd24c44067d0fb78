#include "Vq/PoolLog.h"

#include "support/FreshProcess.h"
#include "support/PoolLogTest.h"
#include "support/StartGate.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::PooledObjectDebug::LoggingTraitsBase;
using Vq::PooledObjectDebug::LoggingTraitsBase_exit;

class PoolLogExit : public PoolLogTest {};

std::string linesOf(std::initializer_list<const char*> names) {
    std::string lines;
    for (const char* name : names) lines += quietLine(name, 0);
    return lines;
}

// --- One call of the handler

TEST_F(PoolLogExit, TakesTheNewestLoggerAtEachCall) {
    const PoolLogFolder file;
    const LoggingTraitsBase a("a"), b("b"), c("c");
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"c"}));
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"c", "b"}));
    const LoggingTraitsBase d("d");
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"c", "b", "d"}));
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"c", "b", "d", "a"}));
}

TEST_F(PoolLogExit, WritesWhatTheLoggerSaysThen) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    for (int i = 0; i < 3; ++i) log.ltb_afterPop(nullptr, 0);
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), quietLine("pool", 3));
}

TEST_F(PoolLogExit, SkipsADestroyedLoggerAtItsCall) {
    const PoolLogFolder file;
    const LoggingTraitsBase a("a");
    std::optional<LoggingTraitsBase> b("b");
    const LoggingTraitsBase c("c");
    b.reset();
    EXPECT_EQ(file.summaries(), linesOf({"b"}));
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"b", "c"}));
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"b", "c"})) << "the call of the destroyed one";
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"b", "c", "a"}));
}

TEST_F(PoolLogExit, TouchesNothingOfADestroyedLogger) {
    const PoolLogFolder file;
    // Where the logger was there is nothing that could pass for one.
    alignas(LoggingTraitsBase) unsigned char place[sizeof(LoggingTraitsBase)];
    auto* const log = ::new (static_cast<void*>(place)) LoggingTraitsBase("pool");
    log->~LoggingTraitsBase();
    std::fill(std::begin(place), std::end(place), static_cast<unsigned char>(0xFF));
    const std::string before = file.text();
    const Counts made = countsOf([] { LoggingTraitsBase_exit(); });
    EXPECT_EQ(made[kGetFolder], 0);
    EXPECT_EQ(file.text(), before);
    EXPECT_EQ(std::ranges::count(place, 0xFF), static_cast<long>(sizeof place));
}

TEST_F(PoolLogExit, LeavesTheLoggerUsable) {
    const PoolLogFolder file;
    {
        LoggingTraitsBase log("pool");
        LoggingTraitsBase_exit();
        log.ltb_afterPop(nullptr, 0);
        EXPECT_EQ(log.inUse(), 1);
    }
    EXPECT_EQ(file.summaries(), quietLine("pool", 0) + quietLine("pool", 1))
        << "one line from the handler, one from the destructor";
}

TEST_F(PoolLogExit, TakesALoggerOnce) {
    const PoolLogFolder file;
    const LoggingTraitsBase a("a"), b("b");
    LoggingTraitsBase_exit();
    LoggingTraitsBase_exit();
    const std::string both = file.summaries();
    EXPECT_EQ(both, linesOf({"b", "a"}));
    for (int i = 0; i < 10; ++i) LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), both);
}

TEST(PoolLogExitAlone, DoesNothingWithoutLoggers) {
    inFreshProcess([] {
        EXPECT_EQ(countsOf([] { LoggingTraitsBase_exit(); }).total(), 0);
        const PoolLogFolder file;
        { const LoggingTraitsBase log("pool"); }
        LoggingTraitsBase_exit();
        EXPECT_EQ(countsOf([] { LoggingTraitsBase_exit(); }).total(), 0);
        EXPECT_EQ(file.summaries(), linesOf({"pool"}));
    });
}

TEST_F(PoolLogExit, TakesByASwapAndThenCounts) {
    const LoggingTraitsBase log("pool");
    const RecordedCalls made = callsOf([] { LoggingTraitsBase_exit(); });
    EXPECT_EQ(std::ranges::count(made, kCompareAndSwap, &RecordedCall::call), 1);
    const auto swap = std::ranges::find(made, kCompareAndSwap, &RecordedCall::call);
    const auto count = std::ranges::find(made, kAtomicDecrement, &RecordedCall::call);
    EXPECT_LT(swap, count);
    ASSERT_NE(count, made.end());

    // The counter is the one that the next logger raises.
    const RecordedCalls next = callsOf([] { const LoggingTraitsBase other("other"); });
    const auto raised = std::ranges::find(next, kAtomicIncrement, &RecordedCall::call);
    ASSERT_NE(raised, next.end());
    EXPECT_EQ(raised->address, count->address);
}

// --- Others who come between

TEST_F(PoolLogExit, FindsALoggerThatCameBetweenThePushOfAnother) {
    const PoolLogFolder file;
    const LoggingTraitsBase oldest("oldest");
    std::optional<LoggingTraitsBase> between;
    bool isFirst = true;
    auto onSwap = [&] {
        if (std::exchange(isFirst, false)) between.emplace("between");
    };
    platform().calls().intercept(kCompareAndSwap, onSwap);
    const LoggingTraitsBase newest("newest");
    platform().calls().reset();
    for (int i = 0; i < 3; ++i) LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"newest", "between", "oldest"}));
}

TEST_F(PoolLogExit, SwapsAgainWhenAnotherLoggerCameBetween) {
    std::optional<LoggingTraitsBase> between;
    bool isFirst = true;
    auto onSwap = [&] {
        if (std::exchange(isFirst, false)) between.emplace("between");
    };
    platform().calls().intercept(kCompareAndSwap, onSwap);
    const Counts made = countsOf([] { const LoggingTraitsBase log("pool"); });
    EXPECT_EQ(made[kCompareAndSwap], 3) << "two for this one, one for the other";
}

TEST_F(PoolLogExit, TakesALoggerThatCameBetween) {
    const PoolLogFolder file;
    const LoggingTraitsBase older("older");
    std::optional<LoggingTraitsBase> between;
    bool isFirst = true;
    auto onSwap = [&] {
        if (std::exchange(isFirst, false)) between.emplace("between");
    };
    platform().calls().intercept(kCompareAndSwap, onSwap);
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"between"}));
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"between", "older"}));
}

TEST_F(PoolLogExit, LooksAtTheListAgainWhenASwapIsRefused) {
    const PoolLogFolder file;
    const LoggingTraitsBase older("older");
    std::optional<LoggingTraitsBase> newer;
    platform().calls().fail(kCompareAndSwap);
    EXPECT_EQ(countsOf([&] { newer.emplace("newer"); })[kCompareAndSwap], 2);
    platform().calls().fail(kCompareAndSwap);
    EXPECT_EQ(countsOf([] { LoggingTraitsBase_exit(); })[kCompareAndSwap], 2);
    EXPECT_EQ(file.summaries(), linesOf({"newer"}));
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.summaries(), linesOf({"newer", "older"}));
}

// --- Failures

struct Failure : std::runtime_error {
    Failure() : std::runtime_error("of the platform") {}
};

TEST_F(PoolLogExit, SwallowsWhatADumpThrowsAndGoesOnWithTheNext) {
    const PoolLogFolder file;
    const LoggingTraitsBase older("older"), newer("newer");
    int thrown = 0;
    auto refuse = [&] {
        ++thrown;
        throw Failure();
    };
    platform().calls().intercept(kGetFolder, refuse);
    EXPECT_NO_THROW(LoggingTraitsBase_exit());
    EXPECT_EQ(thrown, 1);
    platform().calls().reset();
    EXPECT_EQ(poolLogLock().owner(), 0u);
    LoggingTraitsBase_exit();
    EXPECT_EQ(file.text().find("newer"), std::string::npos);
    EXPECT_EQ(file.summaries(), linesOf({"older"}));
}

TEST_F(PoolLogExit, SwallowsWantOfMemory) {
    const PoolLogFolder file;
    const LoggingTraitsBase log("pool");
    platform().calls().failFrom(kAllocate);
    EXPECT_NO_THROW(LoggingTraitsBase_exit());
    EXPECT_TRUE(platform().calls().hasFailed(kAllocate));
    platform().calls().succeed(kAllocate);
    EXPECT_FALSE(file.exists());
}

TEST_F(PoolLogExit, DestructorSwallowsWhatItsDumpThrows) {
    const PoolLogFolder file;
    int thrown = 0;
    auto refuse = [&] {
        ++thrown;
        throw Failure();
    };
    std::optional<LoggingTraitsBase> log("pool");
    platform().calls().intercept(kGetFolder, refuse);
    EXPECT_NO_THROW(log.reset());
    platform().calls().reset();
    EXPECT_EQ(thrown, 1);
    EXPECT_EQ(poolLogLock().owner(), 0u);

    log.emplace("pool");
    platform().calls().failFrom(kAllocate);
    EXPECT_NO_THROW(log.reset());
    platform().calls().succeed(kAllocate);
    EXPECT_FALSE(file.exists());
}

TEST_F(PoolLogExit, DestructorMayRunWhileAnotherExceptionIsUnderWay) {
    const PoolLogFolder file;
    auto refuse = [] { throw Failure(); };
    platform().calls().intercept(kGetFolder, refuse);
    EXPECT_THROW(
        {
            const LoggingTraitsBase log("pool");
            throw std::out_of_range("of the client");
        },
        std::out_of_range);
}

// --- Threads

/// How often each name stands in the log, whose lines must all be whole.
std::map<std::string, int> linesPerName(const std::string& log) {
    std::map<std::string, int> lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        const std::string name = line.substr(0, line.find(':'));
        // Without a pop where the handler came before it.
        EXPECT_TRUE(line + "\n" == quietLine(name, 0) || line + "\n" == quietLine(name, 1)) << line;
        ++lines[name];
    }
    return lines;
}

TEST_F(PoolLogExit, MeetsThreadsThatCreateAndDestroyLoggers) {
    constexpr int kMakers = 3;
    constexpr int kTakers = 2;
    constexpr int kRounds = 60;
    const PoolLogFolder file;
    StartGate gate(kMakers + kTakers);
    std::vector<std::thread> threads;
    for (int maker = 0; maker < kMakers; ++maker) {
        threads.emplace_back([&, maker] {
            gate.wait();
            for (int round = 0; round < kRounds; ++round) {
                const std::string name = std::to_string(maker) + "-" + std::to_string(round);
                LoggingTraitsBase log(name.c_str());
                log.ltb_afterPop(nullptr, 0);
            }
        });
    }
    for (int taker = 0; taker < kTakers; ++taker) {
        threads.emplace_back([&] {
            gate.wait();
            for (int round = 0; round < kMakers * kRounds; ++round) LoggingTraitsBase_exit();
        });
    }
    for (std::thread& thread : threads) thread.join();

    const std::map<std::string, int> lines = linesPerName(file.summaries());
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kMakers * kRounds));
    for (const auto& [name, count] : lines) {
        EXPECT_GE(count, 1) << name;
        EXPECT_LE(count, 2) << name << ": the destructor's and the handler's";
    }
}

TEST_F(PoolLogExit, TakesEveryLoggerOnceOnManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kLoggers = 200;
    const PoolLogFolder file;
    std::vector<std::unique_ptr<LoggingTraitsBase>> loggers;
    for (int i = 0; i < kLoggers; ++i) {
        loggers.push_back(std::make_unique<LoggingTraitsBase>(std::to_string(i).c_str()));
        loggers.back()->ltb_afterPop(nullptr, 0);
    }
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            gate.wait();
            for (int round = 0; round < kLoggers / kThreads; ++round) LoggingTraitsBase_exit();
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::map<std::string, int> lines = linesPerName(file.summaries());
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kLoggers));
    for (const auto& [name, count] : lines) EXPECT_EQ(count, 1) << name;
}

// A destructor that meets the handler at work on its logger must wait, or the handler would read
// what it frees. The handler is held where it has the logger but not yet the log's lock, for which
// a destructor would wait anyway.
TEST_F(PoolLogExit, HoldsUpTheDestructorOfTheLoggerAtHand) {
    const PoolLogFolder file;
    static thread_local bool isAboutToDump = false;
    StartGate atWork(2);
    std::atomic<bool> isDestroyed{false};
    bool wasDestroyedMeanwhile = false;
    auto onAcquire = [&] {
        if (!std::exchange(isAboutToDump, false)) return;
        atWork.wait();
        // Many chances for a destructor that would not wait.
        for (int i = 0; i < 1000 && !isDestroyed; ++i) std::this_thread::yield();
        wasDestroyedMeanwhile = isDestroyed;
    };
    platform().calls().intercept(kAcquire, onAcquire);
    auto log = std::make_unique<LoggingTraitsBase>("pool");
    std::thread handler([] {
        isAboutToDump = true;
        LoggingTraitsBase_exit();
    });
    atWork.wait();
    log.reset();
    isDestroyed = true;
    handler.join();
    platform().calls().reset();
    EXPECT_FALSE(wasDestroyedMeanwhile);
    EXPECT_EQ(file.summaries(), linesOf({"pool", "pool"}));
}

} // namespace
