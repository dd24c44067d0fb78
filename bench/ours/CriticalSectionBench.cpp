// The recursive lock and the gate, as one thread finds them when no other wants them.

#include "Vq/CriticalSection.h"
#include "Vq/VqLockFreeRW.h"

#include "Bench.h"

namespace {

void enter(benchmark::State& state) {
    CriticalSection lock;
    lock.enter();
    vqbench::require(lock.owner() != 0 && lock.attemptEntry() == 0);
    lock.leave();
    lock.leave();
    vqbench::require(lock.owner() == 0);
    for (auto step : state) {
        lock.enter();
        benchmark::ClobberMemory();
        lock.leave();
    }
}

void nested(benchmark::State& state) {
    CriticalSection lock;
    lock.enter();
    for (auto step : state) {
        lock.enter();
        benchmark::ClobberMemory();
        lock.leave();
    }
    vqbench::require(lock.owner() != 0);
    lock.leave();
    vqbench::require(lock.owner() == 0);
}

void read(benchmark::State& state) {
    Vq::LockFree::RWLock gate;
    vqbench::require(gate.openRead() == 0 && gate.openWrite() != 0 && gate.closeRead() == 0);
    for (auto step : state) {
        benchmark::DoNotOptimize(gate.openRead());
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(gate.closeRead());
    }
    vqbench::require(gate.readers() == 0);
}

void write(benchmark::State& state) {
    Vq::LockFree::RWLock gate;
    vqbench::require(gate.openWrite() == 0 && gate.openRead() != 0 && gate.closeWrite() == 0);
    for (auto step : state) {
        benchmark::DoNotOptimize(gate.openWrite());
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(gate.closeWrite());
    }
    vqbench::require(gate.writers() == 0);
}

[[maybe_unused]] const bool added = [] {
    vqbench::add("lock.enter", "ours", 1, enter);
    vqbench::add("lock.nested", "ours", 1, nested);
    vqbench::add("gate.read", "ours", 1, read);
    vqbench::add("gate.write", "ours", 1, write);
    return true;
}();

} // namespace
