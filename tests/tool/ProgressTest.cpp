// The tool is a program without a library to link, and this part of it stands alone.
#include "../../tools/vq/Progress.cpp"

#include <cstdlib>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace {

using vqtool::Progress;

constexpr unsigned long kMiB = 1UL << 20;

/// A progress line on a terminal in memory, by a clock that stands still until it is told.
class ProgressLine : public testing::Test {
protected:
    ~ProgressLine() override {
        progress_.reset();
        std::fclose(terminal_);
        std::free(text_);
    }

    void begin(std::size_t fileCount, unsigned long size, vqtool::ProgressRhythm rhythm = {0, 0}) {
        progress_.emplace(terminal_, clock(), fileCount, rhythm);
        startFile(size);
    }

    void startFile(unsigned long size) {
        progress_->startFile();
        progress_->expectBytes(size);
    }

    Progress::Clock clock() {
        return [this] {
            ++asked_;
            return now_;
        };
    }

    void advanceAt(double time, unsigned long bytes = kMiB) {
        now_ = time;
        progress_->advance(bytes);
    }

    /// What went to the terminal since the last call.
    std::string takeText() {
        std::fflush(terminal_);
        std::string text(text_ + taken_, length_ - taken_);
        taken_ = length_;
        return text;
    }

    double now_ = 1000;
    int asked_ = 0;
    char* text_ = nullptr;
    std::size_t length_ = 0;
    std::size_t taken_ = 0;
    std::FILE* terminal_ = open_memstream(&text_, &length_);
    std::optional<Progress> progress_;
};

TEST_F(ProgressLine, SaysHowMuchOfAFileIsDone) {
    begin(1, 100 * kMiB);
    EXPECT_EQ(takeText(), "");
    progress_->advance(7 * kMiB);
    EXPECT_EQ(takeText(), "\rvq: 7% of 100 MiB");
    progress_->advance(93 * kMiB - 1);
    EXPECT_EQ(takeText(), "\rvq: 99% of 100 MiB");
    progress_->advance(1);
    EXPECT_EQ(takeText(), "\rvq: 100% of 100 MiB");
}

TEST_F(ProgressLine, SaysWhichOfManyFiles) {
    begin(3, 2 * kMiB);
    progress_->advance(kMiB);
    EXPECT_EQ(takeText(), "\rvq: file 1 of 3, 50% of 2 MiB");
    startFile(4 * kMiB);
    EXPECT_EQ(takeText(), "");
    progress_->advance(kMiB);
    EXPECT_EQ(takeText(), "\rvq: file 2 of 3, 25% of 4 MiB");
}

TEST_F(ProgressLine, CountsWhereTheSizeIsUnknown) {
    begin(1, 0);
    progress_->advance(kMiB / 2);
    EXPECT_EQ(takeText(), "\rvq: 0 MiB");
    progress_->advance(5 * kMiB);
    EXPECT_EQ(takeText(), "\rvq: 5 MiB");
}

TEST_F(ProgressLine, CountsAFileWhoseSizeNeverCameToBeKnown) {
    begin(3, kMiB);
    progress_->startFile();
    startFile(4 * kMiB);
    progress_->advance(kMiB);
    EXPECT_EQ(takeText(), "\rvq: file 3 of 3, 25% of 4 MiB");
}

TEST_F(ProgressLine, KnowsSizesBeyondThirtyTwoBits) {
    begin(1, 1UL << 62);
    progress_->advance(1UL << 61);
    EXPECT_EQ(takeText(), "\rvq: 50% of 4398046511104 MiB");
}

TEST_F(ProgressLine, KeepsSilentInAShortRun) {
    begin(1, 100 * kMiB, {500, 100});
    advanceAt(1000);
    advanceAt(1499.9);
    EXPECT_EQ(takeText(), "");
    advanceAt(1500);
    EXPECT_EQ(takeText(), "\rvq: 3% of 100 MiB");
}

TEST_F(ProgressLine, WaitsFromLineToLine) {
    begin(1, 100 * kMiB, {500, 100});
    advanceAt(2000);
    EXPECT_EQ(takeText(), "\rvq: 1% of 100 MiB");
    advanceAt(2001);
    advanceAt(2099);
    EXPECT_EQ(takeText(), "");
    advanceAt(2100);
    EXPECT_EQ(takeText(), "\rvq: 4% of 100 MiB");
}

TEST_F(ProgressLine, WaitsHalfASecondAndThenATenthUnlessToldOtherwise) {
    const vqtool::ProgressRhythm rhythm;
    EXPECT_EQ(rhythm.firstAfter, 500);
    EXPECT_EQ(rhythm.every, 100);
}

TEST_F(ProgressLine, CoversTheLineBeforeWithItsLength) {
    begin(2, 10 * kMiB);
    progress_->advance(10 * kMiB);
    EXPECT_EQ(takeText(), "\rvq: file 1 of 2, 100% of 10 MiB");
    startFile(kMiB);
    progress_->advance(0);
    EXPECT_EQ(takeText(), "\rvq: file 2 of 2, 0% of 1 MiB   ");
    progress_->advance(0);
    EXPECT_EQ(takeText(), "\rvq: file 2 of 2, 0% of 1 MiB");
}

TEST_F(ProgressLine, IsClearedWithBlanksAndOnlyOnce) {
    begin(1, 100 * kMiB);
    progress_->clear();
    EXPECT_EQ(takeText(), "");
    progress_->advance(kMiB);
    takeText();
    progress_->clear();
    EXPECT_EQ(takeText(), "\r" + std::string(17, ' ') + "\r");
    progress_->clear();
    EXPECT_EQ(takeText(), "");
    progress_->advance(kMiB);
    EXPECT_EQ(takeText(), "\rvq: 2% of 100 MiB");
}

TEST_F(ProgressLine, IsClearedAtTheEnd) {
    begin(1, 100 * kMiB);
    progress_->advance(kMiB);
    takeText();
    progress_.reset();
    EXPECT_EQ(takeText(), "\r" + std::string(17, ' ') + "\r");
}

TEST_F(ProgressLine, DoesNotEvenAskTheClockWithoutATerminal) {
    {
        Progress progress(nullptr, clock(), 1, {0, 0});
        progress.startFile();
        progress.expectBytes(kMiB);
        progress.advance(kMiB);
        progress.clear();
    }
    EXPECT_EQ(asked_, 0);
    EXPECT_EQ(takeText(), "");
}

} // namespace
