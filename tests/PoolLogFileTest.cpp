#include "Vq/PoolLog.h"

#include "support/FreshProcess.h"
#include "support/PoolLogTest.h"
#include "support/ScopedLocale.h"

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::PooledObjectDebug::LoggingTraitsBase;

class PoolLogPath : public PoolLogTest {};
class PoolLogText : public PoolLogTest {};

/// The date as `asctime` has it, in UTC.
std::string dateAt(std::time_t time) {
    std::tm parts{};
    char text[64];
    return asctime_r(gmtime_r(&time, &parts), text);
}

/// Is `text` the date of a moment from `from` to `to`?
bool isDateWithin(std::string_view text, std::time_t from, std::time_t to) {
    for (; from <= to; ++from) {
        if (text == dateAt(from)) return true;
    }
    return false;
}

/// A logger with a peak of 100 per second, at 12345.68 milliseconds.
void measure(LoggingTraitsBase& log) {
    platform().utils()->setNow(12145.678);
    for (int i = 0; i < 20; ++i) log.ltb_afterPop(nullptr, 0);
    platform().utils()->setNow(12345.678);
    log.ltb_afterPop(nullptr, 0);
}

// --- Where the file is

TEST_F(PoolLogPath, IsFolderApplicationLogsAndTheFilesName) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "data/Editor/Logs");
    platform().folders()->setFolder((folder / "data/").wstring());
    platform().fileSystem()->setApplicationName(L"Editor");
    LoggingTraitsBase("pool").dump();
    EXPECT_TRUE(std::filesystem::exists(folder / "data/Editor/Logs/PooledObjects.log"));
    EXPECT_EQ(folder.names(), std::set<std::string>{"data"});
}

TEST_F(PoolLogPath, JoinsFolderAndApplicationWithNothingBetween) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "dataEditor/Logs");
    platform().folders()->setFolder((folder / "data").wstring());
    platform().fileSystem()->setApplicationName(L"Editor");
    LoggingTraitsBase("pool").dump();
    EXPECT_TRUE(std::filesystem::exists(folder / "dataEditor/Logs/PooledObjects.log"));
}

TEST_F(PoolLogPath, UsesThePlatformsSeparator) {
    const TemporaryFolder folder;
    platform().folders()->setFolder((folder / "").wstring());
    platform().fileSystem()->setApplicationName(L"Editor");
    platform().fileSystem()->setPathSeparator(L'+');
    LoggingTraitsBase("pool").dump();
    platform().fileSystem()->setPathSeparator(L'/');
    EXPECT_EQ(folder.names(), std::set<std::string>{"Editor+Logs+PooledObjects.log"});
}

TEST_F(PoolLogPath, IsHandedToTheSystemAsUtf8) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "Sch\xC3\xB6n \xF0\x9F\x8E\xAC/Logs");
    platform().folders()->setFolder((folder / "").wstring());
    platform().fileSystem()->setApplicationName(L"Sch\u00F6n \U0001F3AC");
    LoggingTraitsBase("pool").dump();
    EXPECT_TRUE(
        std::filesystem::exists(folder / "Sch\xC3\xB6n \xF0\x9F\x8E\xAC/Logs/PooledObjects.log"));
}

TEST_F(PoolLogPath, IsAskedForAtEveryDump) {
    LoggingTraitsBase log("pool");
    const PoolLogFolder first;
    log.dump();
    const PoolLogFolder second;
    log.dump();
    EXPECT_EQ(first.summaries(), quietLine("pool", 0));
    EXPECT_EQ(second.summaries(), quietLine("pool", 0));
}

TEST_F(PoolLogPath, IsNotCreated) {
    const TemporaryFolder folder;
    platform().folders()->setFolder((folder / "").wstring());
    platform().fileSystem()->setApplicationName(L"Editor");
    LoggingTraitsBase log("pool");
    log.dump();
    EXPECT_EQ(folder.names(), std::set<std::string>{});
    std::filesystem::create_directory(folder / "Editor");
    log.dump();
    EXPECT_TRUE(std::filesystem::is_empty(folder / "Editor"));
}

TEST_F(PoolLogPath, ThatCannotBeOpenedIsPassedOverInSilence) {
    const PoolLogFolder file;
    std::filesystem::create_directory(file.path());
    LoggingTraitsBase log("pool");
    EXPECT_NO_THROW(log.dump());
    std::filesystem::remove(file.path());
    log.dump();
    EXPECT_EQ(file.summaries(), quietLine("pool", 0)) << "the file is tried again at every dump";
}

TEST_F(PoolLogPath, IsThatOfALinksTarget) {
    const PoolLogFolder file;
    file.folder().put("elsewhere.log", "");
    std::filesystem::create_symlink(file.folder() / "elsewhere.log", file.path());
    LoggingTraitsBase("pool").dump();
    EXPECT_TRUE(std::filesystem::is_symlink(file.path()));
    EXPECT_NE(file.folder().content("elsewhere.log"), "");
}

// --- The summary line

TEST_F(PoolLogText, OfAnUnusedPoolHasZerosAndTheStartOfTime) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    log.dump();
    EXPECT_EQ(file.summaries(), "pool: maxInUse 0 Peak Demand 0.00 allocs/sec @ 0.00 "
                                "Thu Jan  1 00:00:00 1970\n");
}

TEST_F(PoolLogText, OfAPoolUsedInItsFirstSecondsHasNoRate) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    for (int i = 0; i < 300; ++i) {
        platform().utils()->setNow(25.0 * i);
        log.ltb_afterPop(nullptr, 0);
    }
    for (int i = 0; i < 300; ++i) log.ltb_afterPush(nullptr, 0);
    log.dump();
    EXPECT_EQ(file.summaries(), quietLine("pool", 300));
}

TEST_F(PoolLogText, HasRateClockAndDateOfThePeak) {
    const PoolLogFolder file;
    LoggingTraitsBase log("frames");
    const std::time_t before = std::time(nullptr);
    measure(log);
    const std::time_t after = std::time(nullptr);
    log.dump();
    const std::string start = "frames: maxInUse 21 Peak Demand 100.00 allocs/sec @ 12345.68 ";
    const std::string text = file.summaries();
    ASSERT_TRUE(text.starts_with(start)) << text;
    EXPECT_TRUE(isDateWithin(text.substr(start.size()), before, after)) << text;
}

TEST_F(PoolLogText, RoundsToTwoDecimals) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    platform().utils()->setNow(1e12);
    log.ltb_afterPop(nullptr, 0);
    platform().utils()->setNow(1e12 + 300.0);
    log.ltb_afterPop(nullptr, 0); // 3.333... per second
    log.dump();
    EXPECT_TRUE(file.summaries().starts_with(
        "pool: maxInUse 2 Peak Demand 3.33 allocs/sec @ 1000000000300.00 "))
        << file.summaries();
}

TEST_F(PoolLogText, DatesInLocalTimeWhateverTheZone) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    struct Zone {
        const char* name;
        const char* startOfTime;
    };
    constexpr Zone kZones[] = {
        {"UTC0", "Thu Jan  1 00:00:00 1970"},         {"EST5", "Wed Dec 31 19:00:00 1969"},
        {"LINT-14", "Thu Jan  1 14:00:00 1970"},      {"<+0530>-5:30", "Thu Jan  1 05:30:00 1970"},
        {"<-1130>11:30", "Wed Dec 31 12:30:00 1969"},
    };
    std::string expected;
    for (const Zone& zone : kZones) {
        const ScopedTimeZone scoped(zone.name);
        log.dump();
        expected += std::string("pool: maxInUse 0 Peak Demand 0.00 allocs/sec @ 0.00 ") +
                    zone.startOfTime + "\n";
        EXPECT_EQ(file.summaries(), expected) << zone.name;
    }
}

TEST_F(PoolLogText, DatesThePeakInLocalTime) {
    const PoolLogFolder file;
    const ScopedTimeZone zone("XXX-9");
    constexpr std::time_t kNineHours = 9 * 3600;
    LoggingTraitsBase log("frames");
    const std::time_t before = std::time(nullptr);
    measure(log);
    const std::time_t after = std::time(nullptr);
    log.dump();
    const std::string text = file.summaries();
    EXPECT_TRUE(isDateWithin(text.substr(text.find("@ 12345.68 ") + 11), before + kNineHours,
                             after + kNineHours))
        << text;
}

TEST_F(PoolLogText, HasPointsInALocaleOfCommas) {
    const PoolLogFolder file;
    const ScopedLocale comma(LC_NUMERIC, kTestLocale);
    char shown[16];
    std::snprintf(shown, sizeof shown, "%.1f", 0.5);
    ASSERT_STREQ(shown, "0,5");
    LoggingTraitsBase log("frames");
    log.dump();
    measure(log);
    log.dump();
    const std::string text = file.summaries();
    EXPECT_TRUE(text.starts_with(quietLine("frames", 0) +
                                 "frames: maxInUse 21 Peak Demand 100.00 allocs/sec @ 12345.68 "))
        << text;
}

TEST_F(PoolLogText, StartsWithTheNameWhateverItIs) {
    const PoolLogFolder file;
    const std::string longName(20000, 'n');
    const std::string names[] = {"",           "with blank", "100%s %n",
                                 "l\xC3\xB6w", "two\nlines", longName};
    std::string expected;
    for (const std::string& name : names) {
        LoggingTraitsBase(name.c_str()).dump();
        expected += quietLine(name, 0) + quietLine(name, 0); // and the destructor's
    }
    EXPECT_EQ(file.summaries(), expected);
}

TEST_F(PoolLogText, TakesANullNameForAnEmptyOne) {
    const PoolLogFolder file;
    { const LoggingTraitsBase log(nullptr); }
    EXPECT_EQ(file.summaries(), quietLine("", 0));
}

TEST_F(PoolLogText, HasTheHighestNumberRatherThanThePresentOne) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    for (int i = 0; i < 7; ++i) log.ltb_afterPop(nullptr, 0);
    for (int i = 0; i < 9; ++i) log.ltb_afterPush(nullptr, 0);
    EXPECT_EQ(log.inUse(), -2);
    log.dump();
    EXPECT_EQ(file.summaries(), quietLine("pool", 7));
}

TEST_F(PoolLogText, GetsALineAtEveryDump) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    log.dump();
    log.ltb_afterPop(nullptr, 0);
    log.dump();
    EXPECT_EQ(file.summaries(), quietLine("pool", 0) + quietLine("pool", 1));
}

TEST_F(PoolLogText, GetsALineFromTheDestructor) {
    const PoolLogFolder file;
    {
        LoggingTraitsBase log("pool");
        log.ltb_afterPop(nullptr, 0);
        EXPECT_FALSE(file.exists());
    }
    EXPECT_EQ(file.summaries(), quietLine("pool", 1));
}

TEST_F(PoolLogText, IsAppendedToWhatIsThere) {
    const PoolLogFolder file;
    file.put("of an earlier run\n");
    LoggingTraitsBase("pool").dump();
    EXPECT_EQ(file.summaries(),
              "of an earlier run\n" + quietLine("pool", 0) + quietLine("pool", 0));
}

TEST_F(PoolLogText, ChangesNothingOfThePool) {
    const PoolLogFolder file;
    LoggingTraitsBase log("pool");
    measure(log);
    log.dump();
    EXPECT_EQ(log.inUse(), 21);
    EXPECT_EQ(log.maxInUse(), 21);
    EXPECT_DOUBLE_EQ(log.peakRate(), 100.0);
}

// --- The header. It is written once in a process, so each test has one of its own.

const std::string kDashes(kPoolLogDashes);

TEST(PoolLogHeader, IsADashedLineWithTheDateBeforeTheFirstSummary) {
    inFreshProcess([] {
        const PoolLogFolder file;
        LoggingTraitsBase log("pool");
        const std::time_t before = std::time(nullptr);
        log.dump();
        const std::time_t after = std::time(nullptr);
        const std::string text = file.text();
        const std::string end = "\n" + quietLine("pool", 0);
        ASSERT_TRUE(text.starts_with(kDashes)) << text;
        ASSERT_TRUE(text.ends_with(end)) << text;
        EXPECT_TRUE(isDateWithin(
            text.substr(kDashes.size(), text.size() - kDashes.size() - end.size()), before, after))
            << text;
    });
}

TEST(PoolLogHeader, HasFiftyNineDashes) {
    inFreshProcess([] {
        const PoolLogFolder file;
        LoggingTraitsBase("pool").dump();
        EXPECT_EQ(file.text().substr(0, 62).find_first_not_of('-', 1), 60u);
        EXPECT_EQ(file.text().substr(0, 1), "\n");
        EXPECT_EQ(file.text()[60], ' ');
    });
}

TEST(PoolLogHeader, IsDatedInLocalTime) {
    inFreshProcess([] {
        const PoolLogFolder file;
        const ScopedTimeZone zone("XXX-9");
        constexpr std::time_t kNineHours = 9 * 3600;
        const std::time_t before = std::time(nullptr);
        LoggingTraitsBase("pool").dump();
        const std::time_t after = std::time(nullptr);
        const std::string date = file.text().substr(kDashes.size(), 25);
        EXPECT_TRUE(isDateWithin(date, before + kNineHours, after + kNineHours)) << date;
    });
}

TEST(PoolLogHeader, IsWrittenOnceForAllLoggers) {
    inFreshProcess([] {
        const PoolLogFolder file;
        {
            LoggingTraitsBase frames("frames");
            LoggingTraitsBase buffers("buffers");
            buffers.dump();
            frames.dump();
            frames.dump();
        }
        const std::string text = file.text();
        EXPECT_EQ(text.rfind(kDashes), 0u) << text;
        EXPECT_TRUE(text.ends_with("\n\n" + quietLine("buffers", 0) + quietLine("frames", 0) +
                                   quietLine("frames", 0) + quietLine("buffers", 0) +
                                   quietLine("frames", 0)))
            << text;
    });
}

TEST(PoolLogHeader, IsWrittenOnceInAllFiles) {
    inFreshProcess([] {
        LoggingTraitsBase log("pool");
        const PoolLogFolder first;
        log.dump();
        const PoolLogFolder second;
        log.dump();
        EXPECT_TRUE(first.text().starts_with(kDashes));
        EXPECT_EQ(second.text(), quietLine("pool", 0));
    });
}

TEST(PoolLogHeader, FollowsWhatIsInTheFile) {
    inFreshProcess([] {
        const PoolLogFolder file;
        file.put("of an earlier run\n");
        LoggingTraitsBase("pool").dump();
        EXPECT_TRUE(file.text().starts_with("of an earlier run\n" + kDashes)) << file.text();
    });
}

TEST(PoolLogHeader, WaitsForTheFirstFileThatOpens) {
    inFreshProcess([] {
        const PoolLogFolder file;
        LoggingTraitsBase log("pool");
        platform().folders()->setFolder(L"/nowhere/");
        log.dump();
        platform().calls().fail(kToUTF8);
        EXPECT_THROW(log.dump(), std::bad_alloc);
        platform().folders()->setFolder((file.folder() / "").wstring());
        log.dump();
        EXPECT_TRUE(file.text().starts_with(kDashes)) << file.text();
    });
}

TEST(PoolLogHeader, IsWrittenByADestructorToo) {
    inFreshProcess([] {
        const PoolLogFolder file;
        { const LoggingTraitsBase log("pool"); }
        EXPECT_TRUE(file.text().starts_with(kDashes)) << file.text();
        EXPECT_EQ(file.summaries(), quietLine("pool", 0));
    });
}

} // namespace
