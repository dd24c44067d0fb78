/// The memory service: LinuxHeap.h, and the reclaimables when that is empty.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe. The heap, with the reclaimables between an empty one and `std::bad_alloc`.
class LinuxMemory final : public iMemory {
public:
    constexpr LinuxMemory() = default;

    /// One call of the heap while there is memory. When there is none, the registered reclaimables
    /// are asked as LinuxReclaimables.h says; throws `std::bad_alloc` when that does not help.
    void* allocate(unsigned long bytes) override;

    void deallocate(void* block) override;

    /// Throws `std::bad_alloc` when there is no memory left to remember the object in.
    void registerReclaimable(iReclaimable* object) override;

    /// Returns when no other thread is running one of the object's operations.
    void unregisterReclaimable(iReclaimable* object) override;
};

} // namespace Vq
