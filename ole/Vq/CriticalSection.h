/// `CriticalSection`, the library's recursive lock.
///
///     CriticalSection guard;
///     {
///         std::scoped_lock hold(guard);      // or enter() ... leave()
///         shared.change();
///     }
///
/// A lock is a handle: its copies are the same lock and exclude one another, two locks that were
/// made separately do not.
///
/// | the lock is         | `owner()`     | `enter()`        | `attemptEntry()` |
/// |---------------------|---------------|------------------|------------------|
/// | free                | 0             | mine at depth 1  | 0, mine          |
/// | mine at depth n     | my thread id  | depth n + 1      | 0, depth n + 1   |
/// | another thread's    | that one's id | blocks           | -1, unchanged    |
///
/// Thread rule: safe, except `init`, `setName` and assignment, which change the handle or its
/// diagnostic name and want it (the lock, for the name) to themselves.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/Platform.h"
#include "Vq/Ptr.h"
#include "Vq/TypeManip.h"
#include "Vq/detail/Export.h"

#include <concepts>

namespace Vq::detail {
class NamedObjectIndex;
}

/// A recursive lock on the platform's. Copying shares the lock at the cost of one increment. There
/// is no move: a lock that was moved from would be none. Destroying the last handle while a thread
/// holds the lock is undefined.
///
/// \copydetails CriticalSection.h
class VQ_EXPORT CriticalSection {
public:
    /// What all copies of a lock share. Not for clients: the lock knows who may read what when.
    struct VQ_EXPORT Rep {
        /// Asks the platform for a lock; `tuning` means what the platform makes of it.
        explicit Rep(unsigned int tuning);
        ~Rep();
        Rep(const Rep&) = delete;
        Rep& operator=(const Rep&) = delete;

        Vq::Ptr<iCriticalSection> lock_; ///< recursive; all blocking happens in it
        unsigned int lockCount_ = 0;     ///< depth of the owner, 0 when free; the holder's to write
        unsigned int owner_ = 0;         ///< thread id of the owner, 0 when free; likewise
        LightweightString<char> name_;   ///< for diagnostics
    };

    /// A free lock. Throws what the platform's factory or the allocation throws.
    CriticalSection();
    /// The same with a tuning value for the platform's factory, passed on as it is.
    explicit CriticalSection(unsigned int tuning);
    /// The same for any other integer, so that a literal 0 is not mistaken for a null name.
    template <std::integral N>
    explicit CriticalSection(N tuning) : CriticalSection(static_cast<unsigned int>(tuning)) {}
    /// The same with a diagnostic name.
    explicit CriticalSection(const char* name);

    /// The same lock: one increment.
    CriticalSection(const CriticalSection& other);
    /// Becomes a handle on the other lock: one increment, one decrement. This handle must not be in
    /// use meanwhile; a thread that holds the old lock has to leave it through another handle.
    CriticalSection& operator=(const CriticalSection& other);
    ~CriticalSection();

    /// Puts a new, free lock in place of this handle's. Other handles stay with the old one. When
    /// it throws, this one does too.
    void init(unsigned int tuning);

    /// Keeps a copy of `name` for diagnostics; null or empty clears it. The name belongs to the
    /// lock: all copies of the handle have it.
    void setName(const char* name);

    /// The diagnostic name, shared.
    LightweightString<char> name() const;

    /// Blocks until the calling thread holds the lock, which it may already.
    void enter();

    /// Undoes one `enter` or successful `attemptEntry` of the calling thread. Nothing checks that
    /// there was one: an unbalanced call is undefined.
    void leave();

    /// 0 when the calling thread now holds the lock, once more if it did; -1 when another thread
    /// holds it. Never blocks. Mind that **0 is success**.
    [[nodiscard]] int attemptEntry();

    /// The platform's id of the thread that holds the lock, 0 when free. A snapshot, good for a
    /// thread to ask whether it holds the lock itself.
    unsigned int owner() const;

    /// Does nothing; a place for a breakpoint.
    void debugPrint() const;

    // The standard's names for the same operations.
    void lock() { enter(); }   ///< as `enter`
    void unlock() { leave(); } ///< as `leave`
    /// As `attemptEntry`, true where that gives 0.
    [[nodiscard]] bool try_lock() { return attemptEntry() == 0; }

private:
    friend class Vq::detail::NamedObjectIndex;

    Vq::Ptr<Rep, Vq::DtorTraits, Vq::ExternalRefCountTraits> rep_;
};

VQ_EXPORTED_INSTANTIATION(
    class Vq::Ptr<CriticalSection::Rep, Vq::DtorTraits, Vq::ExternalRefCountTraits>);
VQ_EXPORTED_INSTANTIATION(struct Vq::TypeManip::TemplatedNew<CriticalSection>);
