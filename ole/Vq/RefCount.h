/// Reference counts that live inside the object they count.
///
/// Whatever derives from `iObject` can be held by `Vq::Ptr<T>`: a new object starts at count 0, the
/// first handle raises it to 1, and the handle that drops it back to 0 deletes the object through
/// its virtual destructor.
///
///     struct Frame : iObject { int width = 0; };
///     Vq::Ptr<Frame> frame = new Frame;      // count 1
///
/// Thread rule: compatible. Only `Vq::Ptr` changes the count, atomically; see Ptr.h.
#pragma once

#include "Vq/detail/Export.h"

namespace Vq {

/// The 32-bit count of an internally counted object.
///
/// A count belongs to one object in memory and not to its value: a copy starts at 0, and assignment
/// leaves both counts as they are. Compatible; handles change the count on any thread.
class VQ_EXPORT InternalRefCount {
public:
    InternalRefCount() noexcept = default; ///< starts at 0
    /// Starts at 0, whatever the other count is.
    InternalRefCount(const InternalRefCount& /*other*/) noexcept {}
    /// Leaves both counts as they are.
    InternalRefCount& operator=(const InternalRefCount& /*other*/) noexcept { return *this; }
    virtual ~InternalRefCount() = default;

    /// Handles that hold the object now. A snapshot: other threads may change it at any time.
    int refCount() const noexcept {
        // The same instruction as a plain load, and no data race with handles on other threads.
        return __atomic_load_n(&count_, __ATOMIC_ACQUIRE);
    }

    /// Where the count lives; `Vq::Ptr` keeps this address. Not for application code.
    int* refCountAddress() const noexcept { return &count_; }

private:
    mutable int count_ = 0; // of handles, which may be handles on a constant object
};

} // namespace Vq

/// The root of all reference-counted interfaces. The count is a virtual base, so that an object
/// which implements several interfaces still has one count, and deleting through any of them,
/// `iObject` included, destroys the whole object.
///
/// An object on the stack, or one that is a member of another, is never given to a handle, which
/// would delete it.
///
/// \copydetails RefCount.h
class VQ_EXPORT iObject : public virtual Vq::InternalRefCount {
public:
    iObject() noexcept = default;               ///< starts at count 0
    iObject(const iObject&) noexcept = default; ///< starts at count 0, whatever the other's is
    /// Leaves both counts as they are.
    iObject& operator=(const iObject&) noexcept { return *this; }
    ~iObject() override = default;
};
