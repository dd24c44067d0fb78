// Pool loggers between many threads: whose hooks all use at once, that are dumped meanwhile, and
// that come and go while the exit handler takes them off their list.
#include "OS/LinuxPlatform.h"
#include "Vq/PoolLog.h"
#include "stress/Stress.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using namespace vqtest;
using Vq::PooledObjectDebug::LoggingTraitsBase;
using Vq::PooledObjectDebug::LoggingTraitsBase_exit;

/// The log in a folder of the test's own.
class PoolStress : public ::testing::Test {
protected:
    PoolStress() {
        std::filesystem::create_directories(folder_ / "App/Logs");
        setFolder(4, folder_.path().c_str());
        setApplicationName("App");
    }

    ~PoolStress() override {
        setFolder(4, nullptr);
        setApplicationName(nullptr);
    }

    /// What the lines of each pool say of its highest number. Expects every line to be whole.
    std::map<std::string, std::vector<long>> highestNumbers() const {
        std::map<std::string, std::vector<long>> numbers;
        std::istringstream log(folder_.content("App/Logs/PooledObjects.log"));
        for (std::string line; std::getline(log, line);) {
            if (line.empty() || line.starts_with("-----")) continue; // the header's
            static constexpr std::string_view kName = ": maxInUse ";
            const std::size_t name = line.find(kName);
            if (name == std::string::npos || !line.ends_with(end_)) {
                ADD_FAILURE() << "a broken line: " << line;
                continue;
            }
            char* rest = nullptr;
            const char* const number = line.c_str() + name + kName.size();
            numbers[line.substr(0, name)].push_back(std::strtol(number, &rest, 10));
            EXPECT_EQ(rest, line.c_str() + line.size() - end_.size()) << line;
        }
        return numbers;
    }

private:
    /// Of pools that are younger than 7.5 seconds: they measure no rate.
    static std::string endOfAQuietLine() {
        const std::time_t start = 0;
        std::tm parts{};
        char date[64];
        std::string text = asctime_r(localtime_r(&start, &parts), date);
        text.pop_back();
        return " Peak Demand 0.00 allocs/sec @ 0.00 " + text;
    }

    TemporaryFolder folder_;
    std::string end_ = endOfAQuietLine();
};

TEST_F(PoolStress, CountsExactlyWhatThreadsTakeAndGiveBack) {
    constexpr int kThreads = 4;
    constexpr int kHeldAtOnce = 5;
    const long rounds = 4000 * stressFactor();
    LoggingTraitsBase log("pool");
    onThreads(kThreads, [&](int thread) {
        int object = 0;
        for (long round = 0; round < rounds; ++round) {
            for (int i = 0; i < kHeldAtOnce; ++i) {
                log.ltb_beforePop(sizeof object);
                log.ltb_afterPop(&object, sizeof object);
            }
            for (int i = 0; i < kHeldAtOnce; ++i) {
                log.ltb_beforePush(&object, sizeof object);
                log.ltb_afterPush(&object, sizeof object);
            }
        }
        for (int i = 0; i < thread; ++i) log.ltb_afterPop(&object, sizeof object);
    });
    EXPECT_EQ(log.inUse(), 0 + 1 + 2 + 3);
    EXPECT_GE(log.maxInUse(), 1);
    EXPECT_LE(log.maxInUse(), kThreads * kHeldAtOnce);
    report("hooks", kThreads * rounds * 4 * kHeldAtOnce);
}

// With a larger factor there are more pools, none of which gets old enough to measure a rate.
TEST_F(PoolStress, WritesWholeLinesOfPoolsThatAreInUse) {
    constexpr int kUsers = 3;
    constexpr int kDumpers = 2;
    constexpr long kDumps = 20;
    constexpr long kPops = 500;
    const long pools = 5 * stressFactor();
    for (long pool = 0; pool < pools; ++pool) {
        const std::string name = "pool " + std::to_string(pool);
        LoggingTraitsBase log(name.c_str());
        onThreads(kUsers + kDumpers, [&](int thread) {
            if (thread < kDumpers) {
                for (long i = 0; i < kDumps; ++i) log.dump();
                return;
            }
            for (long i = 0; i < kPops; ++i) log.ltb_afterPop(nullptr, 0);
            for (long i = 0; i < kPops; ++i) log.ltb_afterPush(nullptr, 0);
        });
        EXPECT_EQ(log.inUse(), 0);
        EXPECT_GE(log.maxInUse(), 1);
        EXPECT_LE(log.maxInUse(), kUsers * kPops);
    }
    const auto lines = highestNumbers();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(pools));
    for (const auto& [name, numbers] : lines) {
        EXPECT_EQ(numbers.size(), static_cast<std::size_t>(kDumpers * kDumps + 1)) << name;
        for (const long number : numbers) {
            EXPECT_GE(number, 0) << name;
            EXPECT_LE(number, kUsers * kPops) << name;
        }
        EXPECT_GE(numbers.back(), 1) << name << ": the destructor's line";
    }
    report("dumps", pools * kDumpers * kDumps);
}

TEST_F(PoolStress, WritesEveryLoggerThatComesAndGoesWhileTheHandlerRuns) {
    constexpr int kMakers = 2;
    constexpr int kTakers = 2;
    const long rounds = 200 * stressFactor();
    std::atomic<int> makersLeft{kMakers};
    onThreads(kMakers + kTakers, [&](int thread) {
        if (thread >= kMakers) {
            while (makersLeft > 0) LoggingTraitsBase_exit();
            return;
        }
        for (long round = 0; round < rounds; ++round) {
            const std::string name = std::to_string(thread) + "-" + std::to_string(round);
            LoggingTraitsBase log(name.c_str());
            log.ltb_afterPop(nullptr, 0);
            EXPECT_EQ(log.inUse(), 1);
        }
        --makersLeft;
    });
    const auto lines = highestNumbers();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kMakers * rounds));
    for (const auto& [name, numbers] : lines) {
        EXPECT_GE(numbers.size(), 1u) << name;
        EXPECT_LE(numbers.size(), 2u) << name << ": the handler's and the destructor's";
        EXPECT_EQ(numbers.back(), 1) << name << ": the destructor's";
    }
    report("loggers", kMakers * rounds);
}

} // namespace
