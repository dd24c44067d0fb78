/// Runs an operation once for each allocation it makes, with that allocation refused.
#pragma once

#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <new>

namespace vqtest {

/// Calls `operation()` with its 1st allocation failing, then with its 2nd and so on, until it
/// succeeds. Expects of each failed run that `std::bad_alloc` comes out and that no block is left
/// over, then calls `check()`, which looks whether the operands stand as before. Since a failed run
/// changes nothing, the operation may work on the same operands every time; the last, successful
/// run changes them.
///
/// Returns the number of failed runs, which is the number of allocations that a success takes.
template <class Operation, class Check>
int forEachFailingAllocation(Operation operation, Check check) {
    constexpr int kPatience = 100000;
    CallScript& calls = platform().calls();
    for (int nth = 1; nth <= kPatience; ++nth) {
        const long blocks = platform().memory()->liveBlocks();
        bool threw = false;
        calls.fail(Call::kAllocate, nth);
        try {
            operation();
        } catch (const std::bad_alloc&) {
            threw = true;
        } catch (...) {
            calls.succeed(Call::kAllocate);
            ADD_FAILURE() << "failed allocation " << nth << " came out as something else";
            return nth;
        }
        const bool failed = calls.hasFailed(Call::kAllocate);
        calls.succeed(Call::kAllocate);
        if (!failed && !threw) return nth - 1;
        const long leaked = platform().memory()->liveBlocks() - blocks;
        if (!threw) {
            ADD_FAILURE() << "failed allocation " << nth << " was swallowed";
            return nth;
        }
        EXPECT_EQ(leaked, 0) << "after failed allocation " << nth;
        check();
        if (::testing::Test::HasFatalFailure()) return nth;
    }
    ADD_FAILURE() << "the operation never succeeds";
    return kPatience;
}

} // namespace vqtest
