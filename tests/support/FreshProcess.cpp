#include "support/FreshProcess.h"

#include <cstdio>

#include <gtest/gtest.h>
#include <unistd.h>

namespace vqtest {

namespace {

/// The framework keeps quiet in such a process, so what failed is told here.
[[noreturn]] void runAndLeave(void (*body)()) {
    body();
    const ::testing::TestResult& result =
        *::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
        const ::testing::TestPartResult& part = result.GetTestPartResult(i);
        if (!part.failed()) continue;
        std::fprintf(stderr, "%s:%d: %s\n", part.file_name(), part.line_number(), part.message());
    }
    std::fflush(nullptr);
    _exit(result.Failed() ? 1 : 0);
}

} // namespace

void inFreshProcess(void (*body)()) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(runAndLeave(body), ::testing::ExitedWithCode(0), "");
}

} // namespace vqtest
