#include "VqTest/CallScript.h"

#include <algorithm>
#include <numeric>

namespace vqtest {

const char* nameOf(Call call) {
    static constexpr std::array<const char*, kCallKinds> kNames = {
        "allocate",
        "deallocate",
        "registerReclaimable",
        "unregisterReclaimable",
        "wideFromAscii",
        "narrowFromWide",
        "toUTF8",
        "fromUTF8",
        "now",
        "generateUUID",
        "getCallStack",
        "openFile",
        "applicationName",
        "pathSeparator",
        "read",
        "write",
        "size",
        "commit",
        "closeFile",
        "createCriticalSection",
        "currentThreadId",
        "acquire",
        "tryAcquire",
        "release",
        "destroyCriticalSection",
        "atomicIncrement",
        "atomicDecrement",
        "compareAndSwap",
        "processorCount",
        "getFolder",
    };
    static_assert(kNames.back(), "one name per operation");
    return kNames[static_cast<std::size_t>(call)];
}

std::ostream& operator<<(std::ostream& out, Call call) {
    return out << nameOf(call);
}

long Counts::total() const {
    return std::accumulate(counts_.begin(), counts_.end(), 0L);
}

Counts operator-(const Counts& later, const Counts& earlier) {
    Counts result;
    std::transform(later.counts_.begin(), later.counts_.end(), earlier.counts_.begin(),
                   result.counts_.begin(), std::minus<>());
    return result;
}

std::ostream& operator<<(std::ostream& out, const Counts& counts) {
    const char* gap = "";
    for (std::size_t i = 0; i < kCallKinds; ++i) {
        const auto call = static_cast<Call>(i);
        if (counts[call] == 0) continue;
        out << gap << call << " x " << counts[call];
        gap = ", ";
    }
    return *gap ? out : out << "no calls";
}

std::ostream& operator<<(std::ostream& out, const RecordedCall& call) {
    return out << call.call << '(' << call.address << ", " << call.value << ')';
}

Counts CallScript::counts() const {
    Counts result;
    for (std::size_t i = 0; i < kCallKinds; ++i) {
        const auto call = static_cast<Call>(i);
        result[call] = count(call);
    }
    return result;
}

void CallScript::fail(Call call, long nth) {
    failFrom(call, nth);
    at(call).lastFailure = at(call).firstFailure.load();
}

void CallScript::failFrom(Call call, long nth) {
    at(call).firstFailure = count(call) + nth;
    at(call).lastFailure = kNever;
}

void CallScript::succeed(Call call) {
    at(call).firstFailure = kNever;
}

bool CallScript::hasFailed(Call call) const {
    return count(call) >= at(call).firstFailure;
}

void CallScript::startRecording() {
    const std::scoped_lock hold(recordLock_);
    record_.clear();
    isRecording_ = true;
}

RecordedCalls CallScript::stopRecording() {
    const std::scoped_lock hold(recordLock_);
    isRecording_ = false;
    return std::move(record_);
}

void CallScript::reset() {
    stopRecording();
    for (Entry& entry : entries_) {
        entry.count = 0;
        entry.firstFailure = kNever;
        entry.hook = nullptr;
    }
}

bool CallScript::enter(Call call, const void* address, unsigned long value) {
    Entry& entry = at(call);
    // Relaxed: a stronger order would make threads look synchronised that are not.
    const long number = entry.count.fetch_add(1, std::memory_order_relaxed) + 1;
    if (isRecording_.load(std::memory_order_relaxed)) {
        const std::scoped_lock hold(recordLock_);
        if (isRecording_) record_.push_back({call, address, value});
    }
    if (entry.hook) entry.hook(entry.context);
    return number >= entry.firstFailure.load(std::memory_order_relaxed) &&
           number <= entry.lastFailure.load(std::memory_order_relaxed);
}

} // namespace vqtest
