/// Locks and thread identity of the scripted platform: real recursive locks, counted.
///
/// Thread rule: safe.
#pragma once

#include "Vq/Platform.h"
#include "VqTest/CallScript.h"

#include <atomic>

namespace vqtest {

/// Locks, and what a test asks of them. Safe.
class ScriptedSync final : public iSyncFactory {
public:
    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit ScriptedSync(CallScript& calls) : calls_(calls) {}

    /// Locks in the whole program.
    long liveLocks() const { return liveLocks_; }

    /// What `currentThreadId` answers on every thread from now on; 0 goes back to the threads' own
    /// ids.
    void setThreadId(unsigned id) { threadId_ = id; }

    void reset() { threadId_ = 0; } ///< back to the threads' own ids

    Vq::Ptr<iCriticalSection> createCriticalSection(unsigned int tuning) override;
    unsigned int currentThreadId() override;

private:
    friend class ScriptedLock;

    CallScript& calls_;
    std::atomic<long> liveLocks_{0};
    std::atomic<unsigned> threadId_{0};
};

} // namespace vqtest
