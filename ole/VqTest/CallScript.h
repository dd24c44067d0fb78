/// What the calls of a scripted platform have in common: each is counted, can be recorded with its
/// arguments, intercepted, and made to fail.
///
///     using enum vqtest::Call;
///     Counts made = countsOf([&] { copy = text; });
///     EXPECT_EQ(made[kAtomicIncrement], 1);
///     EXPECT_EQ(made.total(), 1);
///
/// Thread rule: counting, failing and recording are safe; everything else is set up and read while
/// no other thread uses the platform. Counting orders nothing between threads, so it hides no data
/// race.
#pragma once

#include "VqTest/MallocAllocator.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <limits>
#include <mutex>
#include <ostream>

namespace vqtest {

/// Every operation of every service, under its own name.
enum class Call : unsigned char {
    kAllocate,
    kDeallocate,
    kRegisterReclaimable,
    kUnregisterReclaimable,
    kWideFromAscii,
    kNarrowFromWide,
    kToUTF8,
    kFromUTF8,
    kNow,
    kGenerateUUID,
    kGetCallStack,
    kOpenFile,
    kApplicationName,
    kPathSeparator,
    kRead,
    kWrite,
    kSize,
    kCommit,
    kCloseFile, ///< the last handle on a file is gone
    kCreateCriticalSection,
    kCurrentThreadId,
    kAcquire,
    kTryAcquire,
    kRelease,
    kDestroyCriticalSection, ///< the last handle on a lock is gone
    kAtomicIncrement,
    kAtomicDecrement,
    kCompareAndSwap,
    kProcessorCount,
    kGetFolder,
};

/// How many operations there are.
inline constexpr std::size_t kCallKinds = static_cast<std::size_t>(Call::kGetFolder) + 1;

/// The operation's own name, as "allocate".
const char* nameOf(Call call);
/// Writes that name.
std::ostream& operator<<(std::ostream& out, Call call);

/// How often each operation was called.
class Counts {
public:
    /// @{
    /// The calls of one operation.
    constexpr long operator[](Call call) const { return counts_[static_cast<std::size_t>(call)]; }
    constexpr long& operator[](Call call) { return counts_[static_cast<std::size_t>(call)]; }
    /// @}

    /// Calls of all operations together.
    long total() const;

    friend Counts operator-(const Counts& later, const Counts& earlier);
    friend bool operator==(const Counts&, const Counts&) = default;
    /// The operations that were called, with their numbers.
    friend std::ostream& operator<<(std::ostream& out, const Counts& counts);

private:
    std::array<long, kCallKinds> counts_{};
};

/// One call and the arguments that tell it from others.
struct RecordedCall {
    Call call;                     ///< the operation
    const void* address = nullptr; ///< the pointer argument: block, counter, text, object, buffer
    unsigned long value = 0;       ///< the number: bytes, value to store, tuning, folder kind

    friend bool operator==(const RecordedCall&, const RecordedCall&) = default;
    friend std::ostream& operator<<(std::ostream& out, const RecordedCall& call);
};

/// Calls in their order.
using RecordedCalls = MallocVector<RecordedCall>;

/// Counts, failures, hooks and records of all operations of one platform.
///
/// \copydetails CallScript.h
class CallScript {
public:
    constexpr CallScript() = default;
    CallScript(const CallScript&) = delete;
    CallScript& operator=(const CallScript&) = delete;

    /// How often each operation was called.
    Counts counts() const;
    /// How often that one was.
    long count(Call call) const { return at(call).count.load(std::memory_order_relaxed); }

    /// Makes the `nth` call from now (1: the next) of that operation fail, in the way that the
    /// operation fails: `allocate`, `registerReclaimable`, `atomicIncrement` and everything that
    /// returns a text, an identifier or a lock throw `std::bad_alloc`, `openFile` gives an empty
    /// handle, `read`, `write`, `size`, `commit` and `tryAcquire` return 0, `compareAndSwap`
    /// refuses. The other operations cannot fail. Replaces an earlier order.
    void fail(Call call, long nth = 1);

    /// As `fail`, and all later calls fail as well.
    void failFrom(Call call, long nth = 1);

    /// Takes back what `fail` or `failFrom` ordered.
    void succeed(Call call);

    /// Has an ordered failure come to pass?
    bool hasFailed(Call call) const;

    /// From now on `hook()` runs at the start of every call of that operation, before its effect;
    /// what it throws comes out of the operation. Borrowed: it must live until `reset`. One per
    /// operation.
    template <class Hook> void intercept(Call call, Hook& hook) {
        at(call).context = &hook;
        at(call).hook = [](void* context) { (*static_cast<Hook*>(context))(); };
    }

    /// Starts a fresh record of all calls.
    void startRecording();
    /// Ends it and returns the calls in their order.
    RecordedCalls stopRecording();

    /// Counts from 0, nothing fails, nothing is intercepted or recorded.
    void reset();

    /// For the services: notes a call down. True when it is to fail.
    bool enter(Call call, const void* address = nullptr, unsigned long value = 0);

private:
    static constexpr long kNever = std::numeric_limits<long>::max();

    struct Entry {
        std::atomic<long> count{0};
        std::atomic<long> firstFailure{kNever}; ///< the number of the first call to fail, and
        std::atomic<long> lastFailure{0};       ///< that of the last
        void (*hook)(void*) = nullptr;
        void* context = nullptr;
    };

    Entry& at(Call call) { return entries_[static_cast<std::size_t>(call)]; }
    const Entry& at(Call call) const { return entries_[static_cast<std::size_t>(call)]; }

    std::array<Entry, kCallKinds> entries_{};
    std::atomic<bool> isRecording_{false};
    std::mutex recordLock_;
    RecordedCalls record_;
};

} // namespace vqtest
