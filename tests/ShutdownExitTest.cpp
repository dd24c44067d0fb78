// The exit callbacks and the process: the flag, the flush, and what is left when it ends.
#include "Vq/Shutdown.h"

#include "VqTest/CapturedOutput.h"
#include "VqTest/ScriptedTest.h"
#include "support/ChildProcess.h"
#include "support/FreshProcess.h"
#include "support/NotingCallback.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;
using Shutdown::eExitType;

using CallbackPtr = Vq::Ptr<Shutdown::Callback>;

constexpr eExitType kExit{3};

// --- The flag, which never goes back: each test in a process of its own

TEST(ShutdownExiting, IsFalseBeforeAndTrueDuringAndAfterTheRun) {
    inFreshProcess([] {
        static bool during = false;
        EXPECT_FALSE(Shutdown::isExiting());
        EXPECT_FALSE(Shutdown::exiting);
        Shutdown::addCallback(
            +[](eExitType) { during = Shutdown::isExiting(); }, 0);
        EXPECT_FALSE(Shutdown::isExiting()) << "registering is no exit";
        Shutdown::executeCallbacks(kExit);
        EXPECT_TRUE(during);
        EXPECT_TRUE(Shutdown::isExiting());
        EXPECT_TRUE(Shutdown::exiting);
        Shutdown::executeCallbacks(kExit);
        EXPECT_TRUE(Shutdown::isExiting());
    });
}

TEST(ShutdownExiting, IsSetByARunOfNothing) {
    inFreshProcess([] {
        Shutdown::executeCallbacks(kExit);
        EXPECT_TRUE(Shutdown::isExiting());
    });
}

TEST(ShutdownExiting, StaysTrueWhereACallbackThrows) {
    inFreshProcess([] {
        Shutdown::addCallback(
            +[](eExitType) { throw 1; }, 0);
        EXPECT_THROW(Shutdown::executeCallbacks(kExit), int);
        EXPECT_TRUE(Shutdown::isExiting());
    });
}

TEST(ShutdownExiting, IsNotSetByTheRunOfAList) {
    inFreshProcess([] {
        static int runs = 0;
        const auto count = +[](eExitType) { ++runs; };
        Shutdown::CallbackItemList list;
        list.add(Shutdown::CallbackItem(count, 0));
        list.execute(kExit);
        Shutdown::addCallback(count, 0);
        Shutdown::shutdownCallbacks_.execute(kExit);
        EXPECT_EQ(runs, 2);
        EXPECT_FALSE(Shutdown::isExiting());
    });
}

TEST(ShutdownExiting, IsSeenByAThreadThatPolls) {
    inFreshProcess([] {
        std::thread poller([] {
            while (!Shutdown::isExiting()) std::this_thread::yield();
        });
        Shutdown::executeCallbacks(kExit);
        poller.join();
        EXPECT_TRUE(Shutdown::isExiting());
    });
}

TEST(ShutdownExiting, CostsThePlatformNothing) {
    const Counts made = countsOf([] { (void)Shutdown::isExiting(); });
    EXPECT_EQ(made.total(), 0) << made;
}

// --- The flush

long bytesOut() {
    struct stat file {};
    EXPECT_EQ(fstat(STDOUT_FILENO, &file), 0);
    return file.st_size;
}

class ShutdownFlush : public ScriptedTest {
protected:
    // The first use gives standard output its buffer, which stays.
    ShutdownFlush() { mayLeaveBlocks(); }
};

TEST_F(ShutdownFlush, HasBufferedTextOutBeforeTheFirstCallback) {
    long before = -1;
    long during = -1;
    Notes notes;
    Shutdown::addCallback(noting(notes, "", [&during](eExitType) { during = bytesOut(); }), 0);
    CapturedOutput output;
    std::printf("held back");
    before = bytesOut();
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(output.text(), "held back");
    EXPECT_EQ(before, 0) << "else nothing was there to be flushed";
    EXPECT_EQ(during, 9);
}

TEST_F(ShutdownFlush, HappensWithoutCallbacksToo) {
    CapturedOutput output;
    std::printf("held back");
    const long before = bytesOut();
    Shutdown::executeCallbacks(kExit);
    const long after = bytesOut();
    EXPECT_EQ(output.text(), "held back");
    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 9);
}

TEST_F(ShutdownFlush, IsNotTheBusinessOfAList) {
    CapturedOutput output;
    std::printf("held back");
    Shutdown::shutdownCallbacks_.execute(kExit);
    const long after = bytesOut();
    EXPECT_EQ(output.text(), "held back");
    EXPECT_EQ(after, 0);
}

// --- The end of the process

/// What became of the callbacks of a process that has ended.
struct Ends {
    int runs = 0;
    int released = 0;
    int released2 = 0;
};

/// Counts in memory that outlives the process; may register another one at its own end.
class CountsItsEnd : public Shutdown::Callback {
public:
    CountsItsEnd(int* runs, int* released, CallbackPtr added = {})
        : runs_(runs), released_(released), added_(std::move(added)) {}
    ~CountsItsEnd() override {
        ++*released_;
        Shutdown::addCallback(added_, 0);
    }
    void execute(const eExitType& /*type*/) override { ++*runs_; }

private:
    int* runs_;
    int* released_;
    CallbackPtr added_;
};

/// Runs `body` in a child that then ends as a program does.
template <class Body> void inProcessThatExits(Body body) {
    ChildProcess child([&] {
        body();
        std::exit(7);
        return 0;
    });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 7);
}

TEST(ShutdownAtExit, ReleasesWhatIsLeftWithoutRunningIt) {
    Shared<Ends> ends;
    inProcessThatExits([&] {
        for (unsigned int priority = 0; priority < 5; ++priority) {
            Shutdown::addCallback(new CountsItsEnd(&ends->runs, &ends->released), priority);
        }
    });
    EXPECT_EQ(ends->runs, 0);
    EXPECT_EQ(ends->released, 5);
}

TEST(ShutdownAtExit, ReleasesWhatWaitsBehindOneThatThrew) {
    Shared<Ends> ends;
    inProcessThatExits([&] {
        Shutdown::addCallback(
            +[](eExitType) { throw 1; }, 0);
        Shutdown::addCallback(new CountsItsEnd(&ends->runs, &ends->released), 1);
        EXPECT_THROW(Shutdown::executeCallbacks(kExit), int);
    });
    EXPECT_EQ(ends->runs, 0);
    EXPECT_EQ(ends->released, 1);
}

TEST(ShutdownAtExit, ReleasesWhatACallableRegistersAtItsOwnEnd) {
    Shared<Ends> ends;
    inProcessThatExits([&] {
        const CallbackPtr late = new CountsItsEnd(&ends->runs, &ends->released2);
        Shutdown::addCallback(new CountsItsEnd(&ends->runs, &ends->released, late), 0);
        Shutdown::addCallback(new CountsItsEnd(&ends->runs, &ends->released), 1);
    });
    EXPECT_EQ(ends->runs, 0);
    EXPECT_EQ(ends->released, 2);
    EXPECT_EQ(ends->released2, 1);
}

TEST(ShutdownAtExit, LeavesNothingToReleaseOfWhatHasRun) {
    Shared<Ends> ends;
    inProcessThatExits([&] {
        Shutdown::addCallback(new CountsItsEnd(&ends->runs, &ends->released), 0);
        Shutdown::executeCallbacks(kExit);
        ends->released2 = ends->released;
    });
    EXPECT_EQ(ends->runs, 1);
    EXPECT_EQ(ends->released, 1);
    EXPECT_EQ(ends->released2, 1) << "released at its run";
}

/// Registers a callback at its end, when the program's own static objects go.
struct RegistersAtExit {
    ~RegistersAtExit() {
        if (ends) Shutdown::addCallback(new CountsItsEnd(&ends->runs, &ends->released), 0);
    }
    Ends* ends = nullptr;
};
RegistersAtExit registersAtExit;

TEST(ShutdownAtExit, ReleasesWhatStaticObjectsRegisterWhenTheyGo) {
    Shared<Ends> ends;
    inProcessThatExits([&] { registersAtExit.ends = &*ends; });
    EXPECT_EQ(ends->runs, 0);
    EXPECT_EQ(ends->released, 1);
}

} // namespace
