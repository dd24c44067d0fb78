#include "Vq/Platform.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

double steadyMilliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::milli>(now).count();
}

TEST(LinuxClock, CountsMillisecondsOfTheMonotonicClock) {
    const double before = steadyMilliseconds();
    const double now = OS()->utils()->now();
    const double after = steadyMilliseconds();
    // The two count alike up to the rounding of a double.
    EXPECT_GE(now, before - 0.001);
    EXPECT_LE(now, after + 0.001);
}

TEST(LinuxClock, NeverGoesBackwards) {
    double last = OS()->utils()->now();
    for (int i = 0; i < 100000; ++i) {
        const double now = OS()->utils()->now();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(LinuxClock, SeesTimePass) {
    const double start = OS()->utils()->now();
    std::this_thread::sleep_for(2ms);
    EXPECT_GE(OS()->utils()->now() - start, 2.0);
}

TEST(LinuxClock, TellsFractionsOfAMillisecond) {
    const double start = OS()->utils()->now();
    double now = start;
    while (now == start) now = OS()->utils()->now();
    EXPECT_LT(now - start, 1.0);
}

} // namespace
