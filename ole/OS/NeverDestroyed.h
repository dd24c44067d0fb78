/// Static objects that are there before the first constructor of the process and after its last
/// destructor.
#pragma once

namespace Vq {

/// Holds a `T` that is made by the compiler and never destroyed. Declare it as
///
///     constexpr NeverDestroyed<Service> service;
///
/// `constexpr` is what keeps the destruction from being registered at load (with `constinit` alone
/// the compiler registers even an empty destructor); `mutable` is what makes the object writable
/// all the same.
template <class T> class NeverDestroyed {
public:
    constexpr NeverDestroyed() = default;

    T& get() const noexcept { return kept_.object; }

private:
    union Kept {
        constexpr Kept() : object() {}
        constexpr ~Kept() {}
        T object;
    };

    mutable Kept kept_;
};

} // namespace Vq
