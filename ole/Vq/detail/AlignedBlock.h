/// Aligned blocks inside plain ones: one mechanism for `CPUAlignedNew` and the over-aligned forms
/// of `operator new`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace Vq::detail {

/// A block at a multiple of `alignment`, a power of two from 16 on, carved out of a plain
/// allocation of `bytes` + 2 * `alignment`. The 8 bytes before the result hold the start of the
/// plain allocation.
inline void* alignedNew(std::size_t bytes, std::size_t alignment) {
    constexpr std::size_t kLimit = std::numeric_limits<std::size_t>::max();
    if (alignment > kLimit / 4 || bytes > kLimit - 2 * alignment) throw std::bad_alloc();
    const std::size_t extra = 2 * alignment;
    void* raw = ::operator new(bytes + extra);
    const auto start = reinterpret_cast<std::uintptr_t>(raw);
    std::uintptr_t aligned = ((start - 1) & ~(alignment - 1)) + alignment;
    if (aligned - start < sizeof(void*)) aligned += alignment;
    // A multiple of 16 at least one pointer past the start: aligned storage for the address.
    auto* const result = reinterpret_cast<void**>(aligned);
    result[-1] = raw;
    return result;
}

/// Frees a result of `alignedNew`; not null.
inline void alignedDelete(void* block) {
    ::operator delete(static_cast<void**>(block)[-1]);
}

} // namespace Vq::detail
