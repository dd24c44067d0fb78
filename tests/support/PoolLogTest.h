/// What tests of the pool log share: a log of the test's own, and what its lines say.
///
///     class PoolLogFile : public vqtest::PoolLogTest {};
///     TEST_F(PoolLogFile, HoldsALine) {
///         vqtest::PoolLogFolder log;
///         LoggingTraitsBase("frames").dump();
///         EXPECT_EQ(log.summaries(), ...);
///     }
#pragma once

#include "Vq/CriticalSection.h"
#include "Vq/PoolLog.h"
#include "Vq/VqNamedObjects.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace vqtest {

inline constexpr char kPoolLogLock[] = "PooledObjects.log_FileAccessLock";

/// The lock that the log's writers hold.
inline CriticalSection& poolLogLock() {
    return *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance()->findOrCreate<CriticalSection>(
        kPoolLogLock);
}

/// Makes the lock, which stays for good, before a test starts to count.
struct PoolLogLockIsThere {
    PoolLogLockIsThere() { poolLogLock(); }
};

/// Each logger leaves its place in the list of all loggers behind.
class PoolLogTest : private PoolLogLockIsThere, public ScriptedTest {
protected:
    PoolLogTest() { mayLeaveBlocks(); }
};

/// A time zone, as in the variable TZ. That the library notices is its own affair.
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* const before = std::getenv("TZ")) before_ = before;
        setenv("TZ", zone, 1);
    }

    ~ScopedTimeZone() {
        if (before_) {
            setenv("TZ", before_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    std::optional<std::string> before_;
};

/// How the header begins, before its date.
inline constexpr std::string_view kPoolLogDashes =
    "\n----------------------------------------------------------- ";

/// Dashes, the date of 24 characters with its newline and another newline.
inline constexpr std::size_t kPoolLogHeaderSize = kPoolLogDashes.size() + 26;

/// What the line of a pool says that measured no rate.
inline std::string quietLine(std::string_view name, int maxInUse) {
    return std::string(name) + ": maxInUse " + std::to_string(maxInUse) +
           " Peak Demand 0.00 allocs/sec @ 0.00 Thu Jan  1 00:00:00 1970\n";
}

/// A folder that the platform gives for the log, with the folders that the log wants, in UTC.
class PoolLogFolder {
public:
    PoolLogFolder() {
        std::filesystem::create_directories(folder_ / "App/Logs");
        platform().folders()->setFolder(folder_.path().wstring() + L"/");
        platform().fileSystem()->setApplicationName(L"App");
    }

    const TemporaryFolder& folder() const { return folder_; }

    std::filesystem::path path() const { return folder_ / kLog; }
    bool exists() const { return std::filesystem::exists(path()); }

    /// All of it, header included.
    std::string text() const { return folder_.content(kLog); }

    void put(std::string_view text) const { folder_.put(kLog, text); }

    /// Without the header, which the process may have written long ago.
    std::string summaries() const {
        std::string all = text();
        const std::size_t header = all.find(kPoolLogDashes);
        if (header != std::string::npos) all.erase(header, kPoolLogHeaderSize);
        return all;
    }

private:
    static constexpr char kLog[] = "App/Logs/PooledObjects.log";

    TemporaryFolder folder_;
    ScopedTimeZone utc_{"UTC0"};
};

} // namespace vqtest
