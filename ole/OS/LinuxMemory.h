/// The heap of the process.
#pragma once

#include "Vq/Platform.h"

#include <cstdlib>

namespace Vq {

/// Safe. `malloc` and `free`, with the reclaimables between an empty heap and `std::bad_alloc`.
class LinuxMemory final : public iMemory {
public:
    constexpr LinuxMemory() = default;

    /// One call of `malloc` while there is memory. When there is none, the registered reclaimables
    /// are asked as LinuxReclaimables.h says; throws `std::bad_alloc` when that does not help.
    void* allocate(unsigned long bytes) override;

    void deallocate(void* block) override { std::free(block); }

    /// Throws `std::bad_alloc` when there is no memory left to remember the object in.
    void registerReclaimable(iReclaimable* object) override;

    /// Returns when no other thread is running one of the object's operations.
    void unregisterReclaimable(iReclaimable* object) override;
};

} // namespace Vq
