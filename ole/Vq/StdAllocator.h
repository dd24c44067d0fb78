/// The allocator of the library's vectors of strings: straight to the platform's memory service,
/// without the global operators in between.
///
///     std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>> lines;
///
/// Thread rule: safe.
#pragma once

#include "Vq/detail/PlatformCore.h"

#include <cstddef>
#include <limits>
#include <new>

/// A standard allocator; all instances are equal, of any type.
///
/// \copydetails StdAllocator.h
template <class T> class VQ_EXPORT StdAllocator {
public:
    using value_type = T; ///< what there is room for

    constexpr StdAllocator() noexcept = default; ///< equal to all others
    /// Equal to all others: containers of different types may free each other's blocks.
    template <class U> constexpr StdAllocator(const StdAllocator<U>& /*other*/) noexcept {}

    /// Room for `count` objects, uninitialised. Throws what the platform's `allocate` throws, and
    /// `std::bad_array_new_length` when the size in bytes does not fit in 64 bits.
    [[nodiscard]] T* allocate(std::size_t count) {
        // Here and not in the class, which may be named for types that are not complete yet.
        static_assert(alignof(T) <= alignof(std::max_align_t),
                      "the memory service promises the alignment of fundamental types only");
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(OS()->memory()->allocate(count * sizeof(T)));
    }

    /// Gives back what `allocate` returned; null is accepted.
    void deallocate(T* block, std::size_t /*count*/) noexcept { OS()->memory()->deallocate(block); }

    /// Always true.
    template <class U> constexpr bool operator==(const StdAllocator<U>& /*other*/) const noexcept {
        return true;
    }
};
