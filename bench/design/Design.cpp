#include "Design.h"

#include <cstdlib>

namespace bench {

namespace {

class LockedAtomics final : public Atomics {
public:
    int atomicIncrement(int* counter) override {
        return __atomic_add_fetch(counter, 1, __ATOMIC_SEQ_CST);
    }

    int atomicDecrement(int* counter) override {
        return __atomic_sub_fetch(counter, 1, __ATOMIC_SEQ_CST);
    }

    long compareAndSwap(long* target, long newValue, long expected) override {
        __atomic_compare_exchange_n(target, &expected, newValue, false, __ATOMIC_SEQ_CST,
                                    __ATOMIC_SEQ_CST);
        return expected;
    }
};

class MallocMemory final : public Memory {
public:
    void* allocate(unsigned long bytes) override { return std::malloc(bytes); }
    void deallocate(void* block) override { std::free(block); }
};

class BuiltIn final : public Design {
public:
    Memory* memory() override { return &memory_; }
    Atomics* atomics() override { return &atomics_; }

private:
    MallocMemory memory_;
    LockedAtomics atomics_;
};

BuiltIn builtIn;

} // namespace

Design* builtInDesign() {
    return &builtIn;
}

} // namespace bench
