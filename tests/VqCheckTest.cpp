// Checked calls and timed log lines. The exceptions: ExceptionTest.
#include "Vq/VqCheck.h"

#include "VqTest/CapturedOutput.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/FreshProcess.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <latch>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using namespace Vq::Check::Private;
using enum vqtest::Call;

/// What was printed, with every time stamp, whatever it says, replaced by "<t>".
std::string withoutStamps(std::string_view printed) {
    std::string result;
    while (!printed.empty()) {
        const std::string_view line =
            printed.substr(0, std::min(printed.find('\n'), printed.size() - 1) + 1);
        const std::size_t stamp = line.find_first_not_of("-0123456789. ");
        const bool isStamped = stamp >= 9 && stamp < line.size() && line.substr(stamp, 2) == ": ";
        result += isStamped ? "<t>" + std::string(line.substr(stamp + 2)) : std::string(line);
        printed.remove_prefix(line.size());
    }
    return result;
}

/// What `work()` prints, in that form.
template <class Work> std::string printedBy(Work work) {
    CapturedOutput output;
    work();
    return withoutStamps(output.text());
}

constexpr char kLost[] = "assertion failed false at ole/Vq/VqCheck line 49\n";

class LogTimed : public ScriptedTest {};
class CheckAndLog : public ScriptedTest {};
class CheckAndLogTimed : public ScriptedTest {};
class CheckMacros : public ScriptedTest {};

// --- The zero point is kept for the life of a process, so each test has one of its own.

TEST(LogTimedZeroPoint, IsTheFirstLineAndLaterOnesTellTheSecondsSince) {
    inFreshProcess([] {
        platform().utils()->setNow(1000);
        CapturedOutput output;
        Vq::LogTimed("first\n");
        platform().utils()->advance(2500);
        Vq::LogTimed("second\n");
        platform().utils()->advance(0.75);
        Vq::LogTimed("third\n");
        platform().utils()->advance(123456789);
        Vq::LogTimed("fourth\n");
        EXPECT_EQ(output.text(), "0.000    : first\n"
                                 "2.500    : second\n"
                                 "2.501    : third\n"
                                 "123459.290: fourth\n");
    });
}

TEST(LogTimedZeroPoint, IsASecondReadingOfTheClock) {
    inFreshProcess([] {
        platform().utils()->setNow(1000);
        platform().utils()->setStep(0.25);
        CapturedOutput output;
        const Counts first = countsOf([] { Vq::LogTimed("first\n"); });
        platform().utils()->setNow(1001.25);
        const Counts second = countsOf([] { Vq::LogTimed("second\n"); });
        EXPECT_EQ(output.text(), "-0.000   : first\n0.001    : second\n");
        EXPECT_EQ(first[kNow], 2);
        EXPECT_EQ(first.total(), 2) << first;
        EXPECT_EQ(second[kNow], 1);
        EXPECT_EQ(second.total(), 1) << second;
    });
}

TEST(LogTimedZeroPoint, IsTakenAnewAfterAReadingOfZero) {
    inFreshProcess([] {
        CapturedOutput output;
        Vq::LogTimed("at zero\n");
        platform().utils()->setNow(2500);
        Vq::LogTimed("first after zero\n");
        platform().utils()->setNow(4000);
        Vq::LogTimed("second\n");
        EXPECT_EQ(output.text(), "0.000    : at zero\n"
                                 "0.000    : first after zero\n"
                                 "1.500    : second\n");
    });
}

TEST(LogTimedZeroPoint, IsNotTakenForALineThatIsLost) {
    inFreshProcess([] {
        platform().utils()->setNow(1000);
        CapturedOutput output;
        const Counts made = countsOf([] { Vq::LogTimed("%s", ""); });
        platform().utils()->setNow(3000);
        Vq::LogTimed("first\n");
        EXPECT_EQ(made.total(), 0) << made;
        EXPECT_EQ(output.text(), std::string(kLost) + "0.000    : first\n");
    });
}

TEST(LogTimedZeroPoint, MayBeTheLineOfACheck) {
    inFreshProcess([] {
        platform().utils()->setNow(1000);
        CapturedOutput output;
        checkAndLog(-1, "demo", 7, "x", false);
        EXPECT_EQ(output.text(), "0.000    : VqCheck: demo(7) [x] = 0xffffffff\n");
    });
}

// --- LogTimed

TEST_F(LogTimed, FormatsItsArguments) {
    EXPECT_EQ(printedBy([] { Vq::LogTimed("%s %d %05.2f%%\n", "text", -7, 2.5); }),
              "<t>text -7 02.50%\n");
}

TEST_F(LogTimed, AddsNoNewline) {
    EXPECT_EQ(printedBy([] {
                  Vq::LogTimed("one");
                  std::printf("|");
              }),
              "<t>one|");
}

TEST_F(LogTimed, PrintsTextsOfUpTo255CharactersWhole) {
    for (const int length : {1, 2, 254, 255}) {
        const std::string text(static_cast<std::size_t>(length), 'x');
        EXPECT_EQ(printedBy([&] { Vq::LogTimed("%s", text.c_str()); }), "<t>" + text);
    }
}

TEST_F(LogTimed, LosesLongerTextsAndSaysSo) {
    for (const int length : {256, 257, 100000}) {
        const std::string text(static_cast<std::size_t>(length), 'x');
        EXPECT_EQ(printedBy([&] { Vq::LogTimed("%s", text.c_str()); }), kLost);
    }
}

TEST_F(LogTimed, LosesTheEmptyTextAndSaysSo) {
    const char* const empty = "";
    EXPECT_EQ(printedBy([&] { Vq::LogTimed("%s", empty); }), kLost);
    // By a pointer, since compilers warn of an empty format.
    void (*const logTimed)(const char*, ...) = Vq::LogTimed;
    EXPECT_EQ(printedBy([&] { logTimed(empty); }), kLost);
}

TEST_F(LogTimed, LosesATextThatCannotBeFormattedAndSaysSo) {
    // A character that the "C" locale has no bytes for.
    EXPECT_EQ(printedBy([] { Vq::LogTimed("%ls", L"\u6C34"); }), kLost);
}

TEST_F(LogTimed, ReadsTheClockOnceALine) {
    platform().utils()->setNow(1000);
    CapturedOutput output;
    Vq::LogTimed("first, perhaps\n");
    const Counts made = countsOf([] { Vq::LogTimed("later\n"); });
    EXPECT_EQ(made[kNow], 1);
    EXPECT_EQ(made.total(), 1) << made;
}

// --- checkAndLog

TEST_F(CheckAndLog, PassesCodesThatAreNotNegativeInSilence) {
    for (const int code : {0, 1, INT_MAX}) {
        for (const bool forceLog : {false, true}) {
            CapturedOutput output;
            const Counts made =
                countsOf([&] { EXPECT_TRUE(checkAndLog(code, "demo", 7, "x", forceLog)); });
            EXPECT_EQ(output.text(), "");
            EXPECT_EQ(made.total(), 0) << made;
        }
    }
}

TEST_F(CheckAndLog, LogsNegativeCodesAsTheirBits) {
    for (const bool forceLog : {false, true}) {
        EXPECT_EQ(printedBy([&] { EXPECT_FALSE(checkAndLog(-1, "demo", 7, "x", forceLog)); }),
                  "<t>VqCheck: demo(7) [x] = 0xffffffff\n");
        EXPECT_EQ(printedBy([&] { checkAndLog(INT_MIN, "a/b.cpp", -3, "f(1, 2)", forceLog); }),
                  "<t>VqCheck: a/b.cpp(-3) [f(1, 2)] = 0x80000000\n");
    }
}

TEST_F(CheckAndLog, PrintsItsTextsAsTheyAre) {
    EXPECT_EQ(printedBy([] { checkAndLog(-2, "%s", 7, "100%d", false); }),
              "<t>VqCheck: %s(7) [100%d] = 0xfffffffe\n");
}

TEST_F(CheckAndLog, IsFalseAlsoWhenItsLineIsTooLong) {
    const std::string expression(300, 'x');
    EXPECT_EQ(
        printedBy([&] { EXPECT_FALSE(checkAndLog(-1, "demo", 7, expression.c_str(), true)); }),
        kLost);
}

TEST_F(CheckAndLog, LogsInThisBuild) {
    EXPECT_TRUE(logInDebug());
}

// --- checkAndLog with a threshold

std::string tookLine(const char* elapsed) {
    return std::string("<t>VqCheck: demo(7) [x] took ") + elapsed + "\n";
}

TEST_F(CheckAndLogTimed, LogsASlowCallThatSucceeded) {
    for (const bool forceLog : {false, true}) {
        EXPECT_EQ(
            printedBy([&] { EXPECT_TRUE(checkAndLog(0, "demo", 7, "x", forceLog, 5.0, 6.125)); }),
            tookLine("6.12"));
    }
}

TEST_F(CheckAndLogTimed, TakesTheThresholdItselfForSlow) {
    EXPECT_EQ(printedBy([] { EXPECT_TRUE(checkAndLog(1, "demo", 7, "x", false, 5.0, 5.0)); }),
              tookLine("5.00"));
    EXPECT_EQ(printedBy([] { EXPECT_TRUE(checkAndLog(1, "demo", 7, "x", false, 5.0, 4.999)); }),
              "");
}

TEST_F(CheckAndLogTimed, TakesNothingForSlowWithoutAThresholdAboveZero) {
    for (const double threshold : {0.0, -0.0, -1.0}) {
        EXPECT_EQ(printedBy([&] {
                      EXPECT_TRUE(checkAndLog(0, "demo", 7, "x", true, threshold, 1e9));
                      EXPECT_TRUE(checkAndLog(0, "demo", 7, "x", true, threshold, threshold));
                  }),
                  "");
    }
}

TEST_F(CheckAndLogTimed, LogsASlowFailureInTwoLinesTheTimeFirst) {
    for (const bool forceLog : {false, true}) {
        EXPECT_EQ(printedBy([&] {
                      EXPECT_FALSE(checkAndLog(-1, "demo", 7, "x", forceLog, 5.0, 1234.5));
                  }),
                  tookLine("1234.50") + "<t>VqCheck: demo(7) [x] = 0xffffffff\n");
    }
}

TEST_F(CheckAndLogTimed, LogsAQuickFailureInOneLine) {
    for (const double threshold : {5.0, 0.0}) {
        EXPECT_EQ(printedBy([&] {
                      EXPECT_FALSE(checkAndLog(-1, "demo", 7, "x", false, threshold, 1.0));
                  }),
                  "<t>VqCheck: demo(7) [x] = 0xffffffff\n");
    }
}

TEST_F(CheckAndLogTimed, PassesAQuickSuccessInSilence) {
    CapturedOutput output;
    const Counts made =
        countsOf([] { EXPECT_TRUE(checkAndLog(0, "demo", 7, "x", true, 5.0, 1.0)); });
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(CheckAndLog, ServesManyThreadsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 100;
    const std::string printed = printedBy([] {
        std::latch start(kThreads);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                for (int round = 0; round < kRounds; ++round) checkAndLog(-1, "demo", 7, "x", true);
            });
        }
        for (std::thread& thread : threads) thread.join();
    });
    std::string expected;
    for (int i = 0; i < kThreads * kRounds; ++i) {
        expected += "<t>VqCheck: demo(7) [x] = 0xffffffff\n";
    }
    EXPECT_EQ(printed, expected);
}

// --- The macros

/// Counts how often it is asked for a status.
struct Device {
    int status = 0;
    int asked = 0;
    int start() {
        ++asked;
        return status;
    }
};

std::string placeOf(int line) {
    return std::string(__FILE__) + "(" + std::to_string(line) + ")";
}

TEST_F(CheckMacros, CheckEvaluatesItsExpressionOnceAndLogsAFailure) {
    Device device{-2};
    int line = 0;
    const std::string printed = printedBy([&] {
        line = __LINE__ + 1;
        EXPECT_FALSE(VQ_CHECK(device.start()));
    });
    EXPECT_EQ(device.asked, 1);
    // A deep folder may make the line too long to print.
    const std::string expected = "VqCheck: " + placeOf(line) + " [device.start()] = 0xfffffffe\n";
    EXPECT_EQ(printed, expected.size() <= 255 ? "<t>" + expected : kLost);

    device.status = 3;
    EXPECT_EQ(printedBy([&] { EXPECT_TRUE(VQ_CHECK(device.start())); }), "");
    EXPECT_EQ(device.asked, 2);
}

TEST_F(CheckMacros, CheckThrowEvaluatesItsExpressionOnceAndThrowsForAFailure) {
    Device device{-2};
    int line = 0;
    try {
        line = __LINE__ + 1;
        VQ_CHECK_THROW(device.start());
        FAIL() << "nothing was thrown";
    } catch (const Vq::Exception::RuntimeError& error) {
        const std::string expected = "VqCheck: " + placeOf(line) + " [device.start()] = 0xfffffffe";
        EXPECT_EQ(error.message_, expected.substr(0, 255));
        EXPECT_STREQ(error.file_, __FILE__);
        EXPECT_EQ(error.line_, line);
        delete[] error.message_; // the library leaves it to the process
    }
    EXPECT_EQ(device.asked, 1);

    device.status = 0;
    EXPECT_EQ(printedBy([&] { VQ_CHECK_THROW(device.start()); }), "");
    EXPECT_EQ(device.asked, 2);
}

TEST_F(CheckMacros, CheckThrowIsOneStatement) {
    Device device{0};
    bool other = false;
    if (device.status == 0)
        VQ_CHECK_THROW(device.start());
    else
        other = true;
    EXPECT_EQ(device.asked, 1);
    EXPECT_FALSE(other);
}

} // namespace
