/// What the stress programs share. They run the library on the real platform, with as many threads
/// as they like, for a number of operations that the environment variable VQ_STRESS multiplies:
///
///     VQ_STRESS=100 ./vq_stress_tests
///
/// Left alone they take well under a second each, under the thread sanitizer too. Nothing in them
/// depends on who is faster: threads start together, do a fixed number of things, and what they
/// did adds up exactly at the end.
#pragma once

#include "support/Threads.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace vqtest {

/// The integer in VQ_STRESS, 1 when there is none. Throws for anything but a number above 0.
inline long stressFactor() {
    const char* const text = std::getenv("VQ_STRESS");
    if (!text || !*text) return 1;
    char* end = nullptr;
    errno = 0;
    const long factor = std::strtol(text, &end, 10);
    if (*end || errno != 0 || factor < 1 || factor > INT_MAX) {
        throw std::runtime_error("VQ_STRESS is no number above 0: " + std::string(text));
    }
    return factor;
}

/// Tells a number of the running test, to its reader and to its record.
inline void report(const char* what, long number) {
    const ::testing::TestInfo& test = *::testing::UnitTest::GetInstance()->current_test_info();
    std::printf("%s.%s: %s %ld\n", test.test_suite_name(), test.name(), what, number);
    ::testing::Test::RecordProperty(what, std::to_string(number));
}

} // namespace vqtest
