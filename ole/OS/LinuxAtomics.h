/// Atomic operations as single machine instructions.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe. Sequentially consistent, which on this processor is a locked instruction: a full barrier.
class LinuxAtomics final : public iAtomics {
public:
    constexpr LinuxAtomics() = default;

    int atomicIncrement(int* counter) override {
        return __atomic_add_fetch(counter, 1, __ATOMIC_SEQ_CST);
    }

    int atomicDecrement(int* counter) override {
        return __atomic_sub_fetch(counter, 1, __ATOMIC_SEQ_CST);
    }

    long compareAndSwap(long* target, long newValue, long expected) override {
        // On failure `expected` takes the value found; on success it already is that value.
        __atomic_compare_exchange_n(target, &expected, newValue, false, __ATOMIC_SEQ_CST,
                                    __ATOMIC_SEQ_CST);
        return expected;
    }
};

} // namespace Vq
