/// The memory service of the scripted platform: `malloc` with an account of every block.
///
/// Each block is preceded by a note of its size. New blocks are filled with `kFreshByte` and freed
/// ones with `kFreedByte` (their first 4 KiB), so that code which counts on zeroed or still living
/// memory is found out. Freeing what is no live block ends the program with a message.
///
/// Thread rule: safe.
#pragma once

#include "Vq/Platform.h"
#include "VqTest/CallScript.h"

#include <array>
#include <atomic>

namespace vqtest {

/// Blocks from `malloc`, and what a test asks of them.
///
/// \copydetails ScriptedMemory.h
class ScriptedMemory final : public iMemory {
public:
    static constexpr unsigned char kFreshByte = 0xCD; ///< in blocks that nobody wrote to
    static constexpr unsigned char kFreedByte = 0xDD; ///< in blocks that are gone

    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit ScriptedMemory(CallScript& calls) : calls_(calls) {}

    /// Blocks handed out and not yet freed, in the whole program.
    long liveBlocks() const { return liveBlocks_; }
    /// The bytes that were asked for in the live blocks.
    long liveBytes() const { return liveBytes_; }

    /// The size asked of `allocate` last, or `back` calls before that; failed calls are included.
    /// The latest 16 are kept.
    unsigned long requestedBytes(unsigned back = 0) const;

    /// From now on blocks start that many bytes (below 16) after a multiple of 16. 0 at first.
    void setMisalignment(unsigned bytes) { misalignment_ = bytes; }

    /// Back to the first alignment; blocks and their account stay.
    void reset() { misalignment_ = 0; }

    /// The reclaimables in the order of their registration. They are never asked for anything.
    const MallocVector<iReclaimable*>& reclaimables() const { return reclaimables_; }

    void* allocate(unsigned long bytes) override;
    void deallocate(void* block) override;
    void registerReclaimable(iReclaimable* object) override;
    void unregisterReclaimable(iReclaimable* object) override;

private:
    static constexpr unsigned kRequestsKept = 16;

    CallScript& calls_;
    std::atomic<long> liveBlocks_{0};
    std::atomic<long> liveBytes_{0};
    std::array<std::atomic<unsigned long>, kRequestsKept> requests_{};
    std::atomic<unsigned> requestCount_{0};
    std::atomic<unsigned> misalignment_{0};
    std::mutex lock_; ///< for the reclaimables
    MallocVector<iReclaimable*> reclaimables_;
};

} // namespace vqtest
