/// Runs part of a test in a process of its own, where nothing of the library has been used yet: for
/// what the library keeps for the life of a process.
///
///     TEST_F(LogTimed, StampsTheFirstLineOfAProcessWithZero) {
///         inFreshProcess([] { EXPECT_EQ(...); });
///     }
///
/// Thread rule: confined.
#pragma once

namespace vqtest {

/// Starts the program again, which runs the calling test up to this call and then `body`.
/// Expectations that fail in `body` fail the calling test. What `body` leaves behind goes with
/// its process.
void inFreshProcess(void (*body)());

} // namespace vqtest
