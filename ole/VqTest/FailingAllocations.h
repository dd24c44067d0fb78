/// Runs an operation once for each allocation it makes, or for each call of another kind, with that
/// call refused.
#pragma once

#include "VqTest/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <new>
#include <type_traits>

namespace vqtest {

namespace detail {

enum class Outcome { kSuccess, kReported, kOther };

/// What `operation()` makes of a failure; one that returns a bool may also report it by `false`.
template <class Operation> Outcome outcomeOf(Operation& operation) {
    try {
        if constexpr (std::is_same_v<std::invoke_result_t<Operation&>, bool>) {
            return operation() ? Outcome::kSuccess : Outcome::kReported;
        } else {
            operation();
            return Outcome::kSuccess;
        }
    } catch (const std::bad_alloc&) {
        return Outcome::kReported;
    } catch (...) {
        return Outcome::kOther;
    }
}

/// What is alive of the platform's.
struct Alive {
    long blocks = platform().memory()->liveBlocks();
    long locks = platform().sync()->liveLocks();
    long files = platform().fileSystem()->openFiles();
};

} // namespace detail

/// Calls `operation()` with its 1st call of that kind failing, then with its 2nd and so on, until
/// it succeeds; each time once with that call alone failing and once with all later ones too, so
/// that nothing which undoes a half-done operation may count on a call of that kind either.
/// Expects of each failed run that `std::bad_alloc` comes out (or `false`, if the operation returns
/// a bool) and that no block, lock or open file is left over, then calls `check()`, which looks
/// whether the operands stand as before. Since a failed run changes nothing, the operation may work
/// on the same operands every time; the last, successful run changes them.
///
/// Returns the number of calls that were made to fail, which is the number that a success takes.
template <class Operation, class Check>
int forEachFailure(Call call, Operation operation, Check check) {
    using detail::Outcome;
    constexpr int kPatience = 100000;
    CallScript& calls = platform().calls();
    for (int nth = 1; nth <= kPatience; ++nth) {
        for (const bool alone : {true, false}) {
            const detail::Alive before;
            alone ? calls.fail(call, nth) : calls.failFrom(call, nth);
            const Outcome outcome = detail::outcomeOf(operation);
            const bool failed = calls.hasFailed(call);
            calls.succeed(call);
            if (outcome == Outcome::kSuccess && !failed) return alone ? nth - 1 : nth;
            const detail::Alive after;
            if (outcome == Outcome::kSuccess) {
                ADD_FAILURE() << "failed " << call << ' ' << nth << " was swallowed";
                return nth;
            }
            if (outcome == Outcome::kOther || !failed) {
                ADD_FAILURE() << "failed " << call << ' ' << nth << " came out as something else";
                return nth;
            }
            EXPECT_EQ(after.blocks, before.blocks) << "after failed " << call << ' ' << nth;
            EXPECT_EQ(after.locks, before.locks) << "after failed " << call << ' ' << nth;
            EXPECT_EQ(after.files, before.files) << "after failed " << call << ' ' << nth;
            check();
            if (::testing::Test::HasFatalFailure()) return nth;
        }
    }
    ADD_FAILURE() << "the operation never succeeds";
    return kPatience;
}

/// The same for allocations, which always come out as an exception.
template <class Operation, class Check>
int forEachFailingAllocation(Operation operation, Check check) {
    return forEachFailure(
        Call::kAllocate, [&operation] { static_cast<void>(operation()); }, check);
}

} // namespace vqtest
