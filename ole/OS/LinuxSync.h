/// Locks and thread identity.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe.
class LinuxSync final : public iSyncFactory {
public:
    constexpr LinuxSync() = default;

    /// A recursive lock whose waiters sleep in the kernel, the same for every `tuning`. Free, it is
    /// taken by one atomic operation and given back by another. Its operations take no memory and
    /// cannot fail; a release by a thread that does not hold the lock does nothing. The child of a
    /// fork holds what the forking thread held.
    Vq::Ptr<iCriticalSection> createCriticalSection(unsigned int tuning) override;

    /// The kernel's id of the thread, as debuggers and /proc show it. Asked for once in each
    /// thread, and again by the child of a fork.
    unsigned int currentThreadId() override;
};

} // namespace Vq
