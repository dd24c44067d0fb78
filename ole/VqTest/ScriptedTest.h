/// The fixture of tests that script the platform: in its first state at the start and at the end,
/// and every block, lock and open file made in between is gone again.
///
///     using LightweightStringAppend = vqtest::ScriptedTest;
///     TEST_F(LightweightStringAppend, InPlaceAllocatesNothing) { ... }
///
/// Members of a derived fixture live inside the checked span.
#pragma once

#include "VqTest/ScriptedPlatform.h"

#include <gtest/gtest.h>

namespace vqtest {

/// The framework keeps its stack of traces for good: for fixtures that count blocks, lets it grow
/// before the count begins.
inline void makeRoomForTraces() {
    SCOPED_TRACE(1);
    SCOPED_TRACE(2);
    SCOPED_TRACE(3);
    SCOPED_TRACE(4);
}

/// A fixture, to be used as it is or derived from. Confined: one test at a time.
///
/// \copydetails ScriptedTest.h
class ScriptedTest : public ::testing::Test {
protected:
    /// Resets the platform and notes what is alive.
    ScriptedTest() {
        platform().reset();
        makeRoomForTraces();
        blocks_ = platform().memory()->liveBlocks();
        locks_ = platform().sync()->liveLocks();
        files_ = platform().fileSystem()->openFiles();
    }

    /// Resets the platform and expects nothing else to be alive, unless the test failed already.
    ~ScriptedTest() override {
        platform().reset();
        // The framework keeps the text of a failure in blocks of its own.
        if (HasFailure()) return;
        if (checksBlocks_) {
            EXPECT_EQ(platform().memory()->liveBlocks(), blocks_) << "blocks leaked";
        }
        EXPECT_EQ(platform().sync()->liveLocks(), locks_) << "locks leaked";
        EXPECT_EQ(platform().fileSystem()->openFiles(), files_) << "files left open";
    }

    /// For a test that may be the first to use something which then lives to the end of the
    /// program.
    void mayLeaveBlocks() { checksBlocks_ = false; }

private:
    bool checksBlocks_ = true;
    long blocks_ = 0;
    long locks_ = 0;
    long files_ = 0;
};

} // namespace vqtest
