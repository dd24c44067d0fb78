// What the exit of a process writes to the pool log. Every test starts a fresh process, in which
// nothing is on the list of loggers yet, and has a child of that one exit.
#include "Vq/PoolLog.h"

#include "support/ChildProcess.h"
#include "support/FreshProcess.h"
#include "support/PoolLogTest.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::PooledObjectDebug::LoggingTraitsBase;
using Vq::PooledObjectDebug::LoggingTraitsBase_exit;

// Of the child.
const PoolLogFolder* theLog = nullptr;

/// The log after a child process has run `body` and has exited in the ordinary way.
template <class Body> std::string logOfProcess(Body body) {
    const PoolLogFolder file;
    theLog = &file;
    ChildProcess child([&] {
        body();
        std::exit(0);
        return 1;
    });
    EXPECT_TRUE(child.endsWithin(std::chrono::minutes(2)));
    EXPECT_EQ(child.exitCode(), 0);
    const std::string all = file.text();
    const std::string summaries = file.summaries();
    EXPECT_EQ(all.size(), summaries.empty() ? 0 : kPoolLogHeaderSize + summaries.size()) << all;
    return summaries;
}

/// Leaves a line in the log, to show when something ran.
void mark(const char* text) {
    std::ofstream(theLog->path(), std::ios::app) << "-- " << text << '\n';
}

std::string linesOf(std::initializer_list<const char*> names) {
    std::string lines;
    for (const char* name : names) lines += quietLine(name, 0);
    return lines;
}

/// A logger that nobody destroys. Where it is kept leak detectors look.
LoggingTraitsBase* keep(const char* name) {
    static std::vector<LoggingTraitsBase*>& kept = *new std::vector<LoggingTraitsBase*>;
    kept.push_back(new LoggingTraitsBase(name));
    return kept.back();
}

TEST(PoolLogProcessExit, WritesTheLoggersThatAreAliveNewestFirst) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("first");
                      keep("second")->ltb_afterPop(nullptr, 0);
                      keep("third");
                  }),
                  quietLine("third", 0) + quietLine("second", 1) + quietLine("first", 0));
    });
}

TEST(PoolLogProcessExit, WritesTheDashedLineBeforeTheFirst) {
    inFreshProcess([] {
        const PoolLogFolder file;
        ChildProcess child([] {
            keep("first");
            keep("second");
            std::exit(0);
            return 1;
        });
        ASSERT_TRUE(child.endsWithin(std::chrono::minutes(2)));
        const std::string text = file.text();
        EXPECT_TRUE(text.starts_with(kPoolLogDashes)) << text;
        EXPECT_EQ(text.substr(kPoolLogHeaderSize - 2), "\n\n" + linesOf({"second", "first"}));
    });
}

TEST(PoolLogProcessExit, WritesNothingWithoutLoggers) {
    inFreshProcess([] {
        const PoolLogFolder file;
        ChildProcess child([] {
            std::exit(0);
            return 1;
        });
        EXPECT_TRUE(child.endsWithin(std::chrono::minutes(2)));
        EXPECT_FALSE(file.exists());
    });
}

TEST(PoolLogProcessExit, LeavesOutTheLoggersDestroyedBefore) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("oldest");
                      { const LoggingTraitsBase log("destroyed"); }
                      auto other = std::make_unique<LoggingTraitsBase>("destroyed later");
                      keep("newest");
                      other.reset();
                  }),
                  linesOf({"destroyed", "destroyed later", "newest", "oldest"}));
    });
}

TEST(PoolLogProcessExit, WritesAStaticLoggerOnce) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      static LoggingTraitsBase first("first static");
                      static LoggingTraitsBase second("second static");
                      first.ltb_afterPop(nullptr, 0);
                      second.ltb_afterPop(nullptr, 0);
                  }),
                  quietLine("second static", 1) + quietLine("first static", 1));
    });
}

TEST(PoolLogProcessExit, WritesStaticAndKeptLoggersInTheOrderOfTheirMaking) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("1 kept");
                      static const LoggingTraitsBase second("2 static");
                      keep("3 kept");
                      static const LoggingTraitsBase fourth("4 static");
                  }),
                  linesOf({"4 static", "3 kept", "2 static", "1 kept"}));
    });
}

TEST(PoolLogProcessExit, HasOneHandlerForEachLoggerWhereItWasMade) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      std::atexit([] { mark("before all"); });
                      keep("a");
                      std::atexit([] { mark("between a and b"); });
                      keep("b");
                      keep("c");
                      std::atexit([] { mark("after all"); });
                  }),
                  "-- after all\n" + linesOf({"c", "b"}) + "-- between a and b\n" + linesOf({"a"}) +
                      "-- before all\n");
    });
}

TEST(PoolLogProcessExit, HasAHandlerForADestroyedLoggerToo) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("a");
                      std::atexit([] { mark("between"); });
                      std::optional<LoggingTraitsBase> b("b");
                      keep("c");
                      b.reset();
                  }),
                  // The two handlers made last serve "c" and the place of "b".
                  linesOf({"b", "c"}) + "-- between\n" + linesOf({"a"}));
    });
}

TEST(PoolLogProcessExit, WritesALoggerTwiceThatOutlivesItsHandler) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      static std::unique_ptr<LoggingTraitsBase> owner;
                      std::atexit([] { owner->ltb_afterPop(nullptr, 0); });
                      owner = std::make_unique<LoggingTraitsBase>("owned");
                  }),
                  quietLine("owned", 0) + quietLine("owned", 1));
    });
}

TEST(PoolLogProcessExit, WritesLoggersThatAreMadeMeanwhile) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("early");
                      std::atexit([] {
                          keep("late, kept");
                          { const LoggingTraitsBase log("late, destroyed"); }
                          static const LoggingTraitsBase log("late, static");
                      });
                  }),
                  linesOf({"late, destroyed", "late, static", "late, kept", "early"}));
    });
}

TEST(PoolLogProcessExit, WritesWhatAnEarlierCallOfTheHandlerHasNotTaken) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("a");
                      keep("b");
                      LoggingTraitsBase_exit();
                      mark("exit");
                  }),
                  linesOf({"b"}) + "-- exit\n" + linesOf({"a"}));
    });
}

TEST(PoolLogProcessExit, WritesTheLoggersOfAllThreadsWhicheverExits) {
    inFreshProcess([] {
        EXPECT_EQ(
            logOfProcess([] {
                keep("of the main thread");
                std::thread([] { keep("of another that has ended"); }).join();
                std::thread([] {
                    keep("of the one that exits");
                    std::exit(0);
                }).join();
            }),
            linesOf({"of the one that exits", "of another that has ended", "of the main thread"}));
    });
}

TEST(PoolLogProcessExit, SurvivesAFolderThatIsGone) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      keep("kept");
                      static const LoggingTraitsBase log("static");
                      std::filesystem::remove(theLog->path().parent_path());
                  }),
                  "");
    });
}

TEST(PoolLogProcessExit, SurvivesAPlatformThatThrows) {
    inFreshProcess([] {
        EXPECT_EQ(logOfProcess([] {
                      static int asked = 0;
                      static auto refuseOnce = [] {
                          if (++asked == 1) throw std::runtime_error("of the platform");
                      };
                      keep("oldest");
                      static const LoggingTraitsBase log("static");
                      keep("newest");
                      platform().calls().intercept(kGetFolder, refuseOnce);
                  }),
                  linesOf({"static", "oldest"}));
    });
}

TEST(PoolLogProcessExit, KeepsCountingForALoggerMadeBeforeAFork) {
    inFreshProcess([] {
        LoggingTraitsBase log("pool");
        log.ltb_afterPop(nullptr, 0);
        const std::string inChild = logOfProcess([&] { log.ltb_afterPop(nullptr, 0); });
        EXPECT_EQ(inChild, quietLine("pool", 2));
        EXPECT_EQ(log.inUse(), 1);
    });
}

} // namespace
