/// Tables of operations, each to be met with every failure that the platform can give it.
///
///     const FaultTable table = {
///         {"unshare", {kAllocate, kAtomicIncrement}, [](const FailEach& failEach) {
///              Narrow text("abc");
///              const Narrow sharer = text;
///              failEach([&] { text.unshare(); }, [&] { EXPECT_EQ(text.useCount(), 2u); });
///          }},
///     };
///     expectSound(table);
#pragma once

#include "Vq/VqCheck.h"
#include "VqTest/FailingAllocations.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace vqtest {

/// Hands an operation and its check to `forEachFailure`, with one kind of call.
class FailEach {
public:
    FailEach(Call call, int& failures) : call_(call), failures_(failures) {}

    template <class Operation, class Check>
    void operator()(Operation operation, Check check) const {
        failures_ += forEachFailure(call_, operation, check);
    }

    /// Without operands that could change.
    template <class Operation> void operator()(Operation operation) const {
        (*this)(operation, [] {});
    }

private:
    Call call_;
    int& failures_;
};

struct FaultyOperation {
    const char* name;
    std::vector<Call> asks; ///< all the kinds of calls that it makes and that can fail
    /// Makes the operands, then calls `failEach` once.
    std::function<void(const FailEach& failEach)> run;
};

using FaultTable = std::vector<FaultyOperation>;

/// All kinds of calls that can fail, but `tryAcquire`, whose failure is an answer like another.
inline constexpr Call kFailing[] = {
    Call::kAllocate,
    Call::kRegisterReclaimable,
    Call::kWideFromAscii,
    Call::kNarrowFromWide,
    Call::kToUTF8,
    Call::kFromUTF8,
    Call::kGenerateUUID,
    Call::kGetCallStack,
    Call::kOpenFile,
    Call::kApplicationName,
    Call::kRead,
    Call::kWrite,
    Call::kSize,
    Call::kCommit,
    Call::kCreateCriticalSection,
    Call::kAtomicIncrement,
    Call::kGetFolder,
};

/// Expects every operation to bear every failure of the calls that it makes, and to make calls of
/// no other kinds than it says.
inline void expectSound(const FaultTable& table) {
    for (const FaultyOperation& operation : table) {
        SCOPED_TRACE(operation.name);
        for (const Call call : kFailing) {
            int failures = 0;
            operation.run(FailEach(call, failures));
            EXPECT_EQ(failures > 0, std::ranges::count(operation.asks, call) == 1) << call;
        }
    }
}

/// Does `work()`, which has to end in the library's own exception.
template <class Work> void expectError(Work work) {
    bool thrown = false;
    try {
        work();
    } catch (const Vq::Exception::RuntimeError&) {
        thrown = true;
    }
    EXPECT_TRUE(thrown);
}

} // namespace vqtest
