/// Locks and thread identity.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe.
class LinuxSync final : public iSyncFactory {
public:
    constexpr LinuxSync() = default;

    /// A recursive pthread mutex, the same for every `tuning`. Its three operations take no memory
    /// and cannot fail when they are paired as iCriticalSection asks.
    Vq::Ptr<iCriticalSection> createCriticalSection(unsigned int tuning) override;

    /// The kernel's id of the thread, as debuggers and /proc show it. Asked for once in each
    /// thread, and again by the child of a fork.
    unsigned int currentThreadId() override;
};

} // namespace Vq
