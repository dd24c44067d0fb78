#include "Vq/PoolLog.h"

#include "VqTest/FailingAllocations.h"
#include "support/PoolLogTest.h"

#include <algorithm>
#include <optional>
#include <type_traits>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::PooledObjectDebug::LoggingTraitsBase;

class PoolLogger : public PoolLogTest {};

static_assert(std::has_virtual_destructor_v<LoggingTraitsBase>);
static_assert(!std::is_copy_constructible_v<LoggingTraitsBase>);
static_assert(!std::is_copy_assignable_v<LoggingTraitsBase>);

TEST_F(PoolLogger, CopiesItsNameIntoABlockOfItsLength) {
    const PoolLogFolder file;
    char name[] = "a name of twenty-six bytes";
    RecordedCalls made;
    {
        platform().calls().startRecording();
        const LoggingTraitsBase log(name);
        made = platform().calls().stopRecording();
        std::ranges::fill(name, '\0');
    }
    EXPECT_EQ(std::ranges::count(made, RecordedCall{kAllocate, nullptr, sizeof name}), 1);
    EXPECT_EQ(file.summaries(), quietLine("a name of twenty-six bytes", 0));
}

TEST_F(PoolLogger, IsPutOnTheListByASwapAndThenCounted) {
    const RecordedCalls made = callsOf([] { const LoggingTraitsBase log("pool"); });
    const auto swap = std::ranges::find(made, kCompareAndSwap, &RecordedCall::call);
    const auto count = std::ranges::find(made, kAtomicIncrement, &RecordedCall::call);
    ASSERT_NE(swap, made.end());
    ASSERT_NE(count, made.end());
    EXPECT_LT(swap, count);
    EXPECT_EQ(std::ranges::count(made, kCompareAndSwap, &RecordedCall::call), 1);
}

TEST_F(PoolLogger, LeaksNothingWhenMemoryRunsOut) {
    std::optional<LoggingTraitsBase> log;
    platform().calls().startRecording();
    const int failures = forEachFailingAllocation([&] { log.emplace("pool"); }, [] {});
    const RecordedCalls made = platform().calls().stopRecording();
    EXPECT_GE(failures, 2) << "the record and the name";
    EXPECT_EQ(std::ranges::count(made, kCompareAndSwap, &RecordedCall::call), 1)
        << "only the last, successful one is put on the list";
}

TEST_F(PoolLogger, FreesItsRecordAndItsName) {
    long perLogger = 0;
    const auto blocksAfter = [&](int loggers) {
        const long before = platform().memory()->liveBlocks();
        for (int i = 0; i < loggers; ++i) const LoggingTraitsBase log("pool");
        perLogger = (platform().memory()->liveBlocks() - before) / loggers;
    };
    blocksAfter(1);
    EXPECT_LE(perLogger, 1) << "its place in the list of all loggers may stay";
    blocksAfter(10);
    EXPECT_LE(perLogger, 1);
}

struct FrameLog : LoggingTraitsBase {
    explicit FrameLog(int& destroyed) : LoggingTraitsBase("frames"), destroyed_(destroyed) {}
    ~FrameLog() override { ++destroyed_; }
    int& destroyed_;
};

TEST_F(PoolLogger, IsDestroyedWholeThroughItsBase) {
    const PoolLogFolder file;
    int destroyed = 0;
    LoggingTraitsBase* const log = new FrameLog(destroyed);
    delete log;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(file.summaries(), quietLine("frames", 0));
}

} // namespace
