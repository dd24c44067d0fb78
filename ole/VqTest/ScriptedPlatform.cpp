#include "VqTest/ScriptedPlatform.h"

#include <new>

namespace vqtest {

namespace {

/// Initialised by the compiler and never destroyed: `operator new` needs it all through the
/// program.
union Storage {
    constexpr Storage() : platform() {}
    ~Storage() {}

    ScriptedPlatform platform;
};

constinit Storage storage;

} // namespace

ScriptedPlatform& platform() {
    return storage.platform;
}

void ScriptedPlatform::reset() {
    calls_.reset();
    memory_.reset();
    utils_.reset();
    files_.reset();
    sync_.reset();
    cpu_.reset();
    folders_.reset();
}

int ScriptedAtomics::atomicIncrement(int* counter) {
    if (calls_.enter(Call::kAtomicIncrement, counter)) throw std::bad_alloc();
    return __atomic_add_fetch(counter, 1, __ATOMIC_SEQ_CST);
}

int ScriptedAtomics::atomicDecrement(int* counter) {
    calls_.enter(Call::kAtomicDecrement, counter);
    return __atomic_sub_fetch(counter, 1, __ATOMIC_SEQ_CST);
}

long ScriptedAtomics::compareAndSwap(long* target, long newValue, long expected) {
    if (calls_.enter(Call::kCompareAndSwap, target, static_cast<unsigned long>(newValue))) {
        return ~expected;
    }
    long found = expected;
    __atomic_compare_exchange_n(target, &found, newValue, false, __ATOMIC_SEQ_CST,
                                __ATOMIC_SEQ_CST);
    return found;
}

int ScriptedCPU::processorCount() {
    calls_.enter(Call::kProcessorCount);
    return count_;
}

LightweightString<wchar_t> ScriptedFolders::getFolder(int kind) {
    if (calls_.enter(Call::kGetFolder, nullptr, static_cast<unsigned long>(kind))) {
        throw std::bad_alloc();
    }
    return LightweightString<wchar_t>(path_.text());
}

} // namespace vqtest

iPlatform* OS() {
    return &vqtest::platform();
}
