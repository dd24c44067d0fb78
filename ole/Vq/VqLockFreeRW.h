/// `Vq::LockFree::RWLock`, a reader/writer gate that never waits.
///
///     Vq::LockFree::RWLock gate(0, 0);
///     if (gate.openRead() == 0) {            // 0 is "entered"
///         use(shared);
///         gate.closeRead();
///     }                                      // refused: do something else, or ask again later
///
/// | readers × writers | `openRead()`           | `openWrite()` | state                 |
/// |-------------------|------------------------|---------------|-----------------------|
/// | 0 × 0             | 0, 1 reader            | 0, 1 writer   | free                  |
/// | n × 0             | 0, n + 1 readers       | -1            | open to read          |
/// | 0 × 1             | -1                     | -1            | open to write         |
///
/// A reader may also be refused while only readers are inside, when others came and went at each of
/// its seven attempts. Nothing here is fair, nothing is handed over: do not use it where a caller
/// has to get in eventually; that is what `CriticalSection` is for.
///
/// Thread rule: safe, except `forceClose`.
#pragma once

#include "Vq/detail/Export.h"

namespace Vq::LockFree {

/// One 64-bit word: the readers inside in its low half, the writers (0 or 1) in its high half. It
/// is no value: there is no copy.
///
/// \copydetails VqLockFreeRW.h
class VQ_EXPORT RWLock {
public:
    /// A free gate.
    RWLock() noexcept : RWLock(0, 0) {}
    /// A gate with the given counts.
    RWLock(int readers, int writers) noexcept;
    /// A gate from the packed word.
    explicit RWLock(long word) noexcept;
    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

    /// Enters as a reader: 0 when inside, -1 when refused.
    int openRead();

    /// Leaves as a reader and returns the readers that remain. Without a reader, or with a writer
    /// inside, a failed assertion is printed and the count goes down all the same: below zero
    /// perhaps, and until `forceClose`.
    int closeRead();

    /// Enters as the only writer: 0 when inside, -1 when refused. One attempt.
    int openWrite();

    /// Leaves as the writer and returns the writers that remain. Without a writer, or with readers
    /// inside, as `closeRead`.
    int closeWrite();

    /// Makes the gate free whatever it was. Confined: only while nobody uses it.
    void forceClose();

    /// @{
    /// The counts now; snapshots.
    int readers() const noexcept { return __atomic_load_n(&half_.readers_, __ATOMIC_ACQUIRE); }
    int writers() const noexcept { return __atomic_load_n(&half_.writers_, __ATOMIC_ACQUIRE); }
    /// @}

    // The standard's names for the operations of a shared mutex that never wait.

    /// As `openWrite`, true where that gives 0; for `std::unique_lock` with `std::try_to_lock`.
    [[nodiscard]] bool try_lock() { return openWrite() == 0; }
    /// As `closeWrite`.
    void unlock() { closeWrite(); }
    /// As `openRead`, true where that gives 0; for `std::shared_lock` with `std::try_to_lock`.
    [[nodiscard]] bool try_lock_shared() { return openRead() == 0; }
    /// As `closeRead`.
    void unlock_shared() { closeRead(); }

private:
    struct Halves {
        int readers_; // low: first in memory
        int writers_;
    };
    union {
        long word_;
        Halves half_;
    };
};

} // namespace Vq::LockFree
