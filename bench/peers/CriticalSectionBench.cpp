// Locks of the standard library and of Qt, and the bare atomic operations of a gate.

#include "Bench.h"
#include "Design.h"

#include <mutex>
#include <shared_mutex>
#include <thread>

#ifdef VQ_PEER_QT
#include <QMutex>
#include <QReadWriteLock>
#endif

namespace {

/// What another thread is told.
template <class Attempt> bool elsewhere(Attempt attempt) {
    bool taken = false;
    std::thread([&] { taken = attempt(); }).join();
    return taken;
}

template <class Lock> void requireExclusion(Lock& lock) {
    lock.lock();
    vqbench::require(!elsewhere([&] { return lock.try_lock(); }));
    lock.unlock();
}

template <class Lock> void enter(benchmark::State& state) {
    Lock lock;
    requireExclusion(lock);
    for (auto step : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

template <class Lock> void nested(benchmark::State& state) {
    Lock lock;
    requireExclusion(lock);
    lock.lock();
    for (auto step : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
    lock.unlock();
}

void sharedMutexRead(benchmark::State& state) {
    std::shared_mutex lock;
    requireExclusion(lock);
    for (auto step : state) {
        benchmark::DoNotOptimize(lock.try_lock_shared());
        benchmark::ClobberMemory();
        lock.unlock_shared();
    }
}

void sharedMutexWrite(benchmark::State& state) {
    std::shared_mutex lock;
    requireExclusion(lock);
    for (auto step : state) {
        benchmark::DoNotOptimize(lock.try_lock());
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

// One swap of the word to enter, one decrement of a half to leave.
void designGate(benchmark::State& state) {
    struct {
        long word = 0;
    } gate;
    for (auto step : state) {
        vqbench::require(bench::design()->atomics()->compareAndSwap(&gate.word, 1, 0) == 0);
        benchmark::ClobberMemory();
        int* const readers = reinterpret_cast<int*>(&gate.word);
        benchmark::DoNotOptimize(bench::design()->atomics()->atomicDecrement(readers));
    }
    vqbench::require(gate.word == 0);
}

#ifdef VQ_PEER_QT
void readWriteLockRead(benchmark::State& state) {
    QReadWriteLock lock;
    for (auto step : state) {
        benchmark::DoNotOptimize(lock.tryLockForRead());
        benchmark::ClobberMemory();
        lock.unlock();
    }
    vqbench::require(lock.tryLockForWrite());
    lock.unlock();
}

void readWriteLockWrite(benchmark::State& state) {
    QReadWriteLock lock;
    for (auto step : state) {
        benchmark::DoNotOptimize(lock.tryLockForWrite());
        benchmark::ClobberMemory();
        lock.unlock();
    }
    vqbench::require(lock.tryLockForWrite() && !lock.tryLockForRead());
    lock.unlock();
}
#endif

[[maybe_unused]] const bool added = [] {
    vqbench::add("lock.enter", "std", 1, enter<std::recursive_mutex>);
    vqbench::add("lock.nested", "std", 1, nested<std::recursive_mutex>);
    vqbench::add("gate.read", "std", 1, sharedMutexRead);
    vqbench::add("gate.write", "std", 1, sharedMutexWrite);
    vqbench::add("gate.read", "bound.design", 1, designGate);
    vqbench::add("gate.write", "bound.design", 1, designGate);
#ifdef VQ_PEER_QT
    vqbench::add("lock.enter", "qrecursivemutex", 1, enter<QRecursiveMutex>);
    vqbench::add("lock.nested", "qrecursivemutex", 1, nested<QRecursiveMutex>);
    vqbench::add("gate.read", "qreadwritelock", 1, readWriteLockRead);
    vqbench::add("gate.write", "qreadwritelock", 1, readWriteLockWrite);
#endif
    return true;
}();

} // namespace
