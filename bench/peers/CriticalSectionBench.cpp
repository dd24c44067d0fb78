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

/// What the rule of the gate asks for: a swap of the whole word and a decrement of one half, each
/// decided by what was read before. A locked instruction holds the reads behind it back, so that
/// they are no small part of it.
class DesignGate {
public:
    bool openRead() {
        if (read(&half_.writers) != 0) return false;
        const long inside = read(&half_.readers);
        const long found = read(&word_);
        return bench::design()->atomics()->compareAndSwap(&word_, inside + 1, found) == found;
    }
    int closeRead() {
        vqbench::require(read(&half_.readers) != 0 && read(&half_.writers) == 0);
        return bench::design()->atomics()->atomicDecrement(&half_.readers);
    }
    bool openWrite() {
        if (read(&word_) != 0) return false;
        return bench::design()->atomics()->compareAndSwap(&word_, 1L << 32, 0) == 0;
    }
    int closeWrite() {
        vqbench::require(read(&half_.writers) == 1 && read(&half_.readers) == 0);
        return bench::design()->atomics()->atomicDecrement(&half_.writers);
    }

private:
    template <class T> static T read(const T* from) {
        return __atomic_load_n(from, __ATOMIC_ACQUIRE);
    }

    struct Halves {
        int readers;
        int writers;
    };
    union {
        long word_ = 0;
        Halves half_;
    };
};

void designGateRead(benchmark::State& state) {
    DesignGate gate;
    for (auto step : state) {
        vqbench::require(gate.openRead());
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(gate.closeRead());
    }
    vqbench::require(gate.openWrite());
}

void designGateWrite(benchmark::State& state) {
    DesignGate gate;
    for (auto step : state) {
        vqbench::require(gate.openWrite());
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(gate.closeWrite());
    }
    vqbench::require(gate.openRead());
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
    vqbench::add("gate.read", "bound.design", 1, designGateRead);
    vqbench::add("gate.write", "bound.design", 1, designGateWrite);
#ifdef VQ_PEER_QT
    vqbench::add("lock.enter", "qrecursivemutex", 1, enter<QRecursiveMutex>);
    vqbench::add("lock.nested", "qrecursivemutex", 1, nested<QRecursiveMutex>);
    vqbench::add("gate.read", "qreadwritelock", 1, readWriteLockRead);
    vqbench::add("gate.write", "qreadwritelock", 1, readWriteLockWrite);
#endif
    return true;
}();

} // namespace
