/// `Vq::Ptr`, the library's one shared-ownership handle.
///
/// Two policies choose where the 32-bit count lives: in the object (`InternalRefCountTraits`, for
/// everything that derives from `iObject`) or in an integer of its own (`ExternalRefCountTraits`,
/// for plain objects). A third says how the object goes when the last handle does.
///
///     Vq::Ptr<iFile> file = OS()->fileSystem()->openFile(path, 1, 0, 1, 0);
///     if (file) use(*file);                                   // gone with the last handle
///
/// Thread rule: compatible. Distinct handles on one object may be copied, assigned and destroyed on
/// different threads at once: the count changes only through the platform's atomic operations. The
/// object is destroyed on the thread that drops the last handle.
///
/// Costs: an empty handle costs no atomic operation, a copy one increment, a move none.
#pragma once

#include "Vq/RefCount.h"
#include "Vq/detail/PlatformCore.h"

#include <cstddef>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>

namespace Vq {

/// Destroys with `delete`: the virtual destructor where there is one.
struct VQ_EXPORT DtorTraits {
    /// Deletes `object`; its destructor must not throw.
    template <class T> static void destroy(T* object) noexcept { delete object; }
};

/// The count lives inside the object, which has `int* refCountAddress()` and is born with count 0.
struct VQ_EXPORT InternalRefCountTraits {
    static constexpr bool kCountIsInObject = true; ///< so a handle may be made of a plain address

    /// Where the count of `object` is; nothing is allocated.
    template <class D, class T> static int* counterFor(T* object) {
        return object->refCountAddress();
    }

    /// Destroys the object, and the count with it.
    template <class D, class T> static void release(int* /*counter*/, T* object) noexcept {
        D::destroy(object);
    }
};

/// The count is an integer on the heap, made when the first handle takes the object.
struct VQ_EXPORT ExternalRefCountTraits {
    static constexpr bool kCountIsInObject = false; ///< so only a handle knows where it is

    /// A new counter, at 0, by `operator new`, whose exception comes out with the object destroyed.
    /// Takes ownership even on failure: without a counter nobody could ever delete the object.
    template <class D, class T> static int* counterFor(T* object) {
        try {
            return ::new (::operator new(sizeof(int))) int(0);
        } catch (...) {
            D::destroy(object);
            throw;
        }
    }

    /// Frees the counter, then destroys the object.
    template <class D, class T> static void release(int* counter, T* object) noexcept {
        ::operator delete(counter);
        D::destroy(object);
    }
};

/// A handle: the address of the count and the object, both null when empty. Whether a handle is
/// empty is asked of the object alone.
///
/// Give a raw pointer to one handle and copy that: an internally counted object may be taken by
/// several handles from its plain address, an externally counted one must not.
///
/// \copydetails Ptr.h
template <class T, class D = DtorTraits, class R = InternalRefCountTraits> class VQ_EXPORT Ptr {
public:
    constexpr Ptr() noexcept = default;       ///< empty
    constexpr Ptr(std::nullptr_t) noexcept {} ///< empty

    /// Takes a reference on `object`; null gives an empty handle. Internal count: one increment.
    /// External count: allocates the counter. If any of that throws, an object that no other handle
    /// holds is destroyed.
    Ptr(T* object) {
        if (object) {
            counter_ = R::template counterFor<D>(object);
            object_ = object;
            takeFirst();
        }
    }

    /// Shares the object: one increment.
    Ptr(const Ptr& other) : counter_(other.counter_), object_(other.object_) { incRef(); }

    /// Takes over the reference and leaves `other` empty: no atomic operation.
    Ptr(Ptr&& other) noexcept
        : counter_(std::exchange(other.counter_, nullptr)),
          object_(std::exchange(other.object_, nullptr)) {}

    /// Shares the object of a handle on a derived class, where the count is in the object: one
    /// increment.
    template <class U>
        requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*> && R::kCountIsInObject)
    Ptr(const Ptr<U, D, R>& other) : counter_(other.counter_), object_(other.object_) { incRef(); }

    /// Takes over the reference of such a handle and leaves it empty: no atomic operation.
    template <class U>
        requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*> && R::kCountIsInObject)
    Ptr(Ptr<U, D, R>&& other)
    noexcept
        : counter_(std::exchange(other.counter_, nullptr)),
          object_(std::exchange(other.object_, nullptr)) {}

    /// Drops the reference: one decrement, none when empty.
    ~Ptr() { decRef(); }

    /// Shares the object of `other`. The new reference is taken before the old one is dropped, so
    /// the object survives when both are the same or when `other` lives inside the object let go.
    /// One increment and one decrement; assigning a handle to itself does nothing.
    Ptr& operator=(const Ptr& other) {
        if (&other != this) {
            Ptr taken(other);
            swap(taken);
        }
        return *this;
    }

    /// Takes over the reference of `other`, leaves it empty and drops the old object: no increment.
    /// Moving a handle onto itself does nothing.
    Ptr& operator=(Ptr&& other) noexcept {
        if (&other != this) {
            Ptr taken(std::move(other));
            swap(taken);
        }
        return *this;
    }

    /// Takes one more reference without a handle to hold it; pair it with `decRef`.
    void incRef() {
        if (object_) OS()->atomics()->atomicIncrement(counter_);
    }

    /// Drops a reference. While others remain, this handle goes on pointing at the object; when it
    /// was the last, the object is destroyed and the handle becomes empty.
    void decRef() noexcept {
        if (object_ && OS()->atomics()->atomicDecrement(counter_) == 0) {
            R::template release<D>(counter_, object_);
            counter_ = nullptr;
            object_ = nullptr;
        }
    }

    /// Empties the handle, dropping its reference.
    void reset() noexcept { Ptr dropped(std::move(*this)); }

    /// Exchanges the objects of two handles: no atomic operation.
    void swap(Ptr& other) noexcept {
        std::swap(counter_, other.counter_);
        std::swap(object_, other.object_);
    }

    T* get() const noexcept { return object_; }        ///< the object, null when empty; no count
    T* operator->() const noexcept { return object_; } ///< the object; not of an empty handle
    T& operator*() const noexcept { return *object_; } ///< the object; not of an empty handle
    explicit operator bool() const noexcept { return object_ != nullptr; } ///< is there an object?
    bool operator!() const noexcept { return object_ == nullptr; }         ///< is there none?

    /// Handles on the object now, 0 when empty. A snapshot; exact when 1 and nobody else can reach
    /// this handle, since no other handle is there to be copied from.
    int useCount() const noexcept {
        // An acquire load, so that whoever finds itself alone also sees what past sharers wrote.
        return object_ ? __atomic_load_n(counter_, __ATOMIC_ACQUIRE) : 0;
    }

    /// @{
    /// Same object? No count is touched; likewise with a plain pointer and with null.
    friend bool operator==(const Ptr& a, const Ptr& b) noexcept { return a.object_ == b.object_; }
    friend bool operator==(const Ptr& a, const T* b) noexcept { return a.object_ == b; }
    friend bool operator==(const Ptr& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }
    /// @}

private:
    template <class U, class E, class S> friend class Ptr;

    // Counting may fail on a platform of an application's own; a new object must not leak then.
    void takeFirst() {
        try {
            incRef();
        } catch (...) {
            if (useCount() == 0) R::template release<D>(counter_, object_);
            throw;
        }
    }

    int* counter_ = nullptr;
    T* object_ = nullptr;
};

} // namespace Vq

/// Hashes the object's address, in step with `==`.
template <class T, class D, class R> struct std::hash<Vq::Ptr<T, D, R>> {
    /// The hash of the plain pointer.
    std::size_t operator()(const Vq::Ptr<T, D, R>& handle) const noexcept {
        return std::hash<T*>()(handle.get());
    }
};
