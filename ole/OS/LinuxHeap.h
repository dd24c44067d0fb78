/// The heap that every block of the platform comes from.
///
/// It is mimalloc where the build has it, several times faster than malloc for the small blocks
/// that strings and handles live in, or else malloc itself. Either way it is this library's alone:
/// the program's own `malloc` and `free` stay what they are (see ole/OS/CMakeLists.txt), and a
/// block of one is never given to the other.
///
/// Thread rule: safe, also for blocks that another thread gives back, and in the child of a fork.
#pragma once

#include <cstdlib>

#ifdef VQ_OS_MIMALLOC
#include <mimalloc.h>
#endif

namespace Vq {

#ifdef VQ_OS_MIMALLOC

/// A block aligned for any fundamental type, null when there is no memory.
inline void* heapAllocate(unsigned long bytes) noexcept {
    // Blocks of less would be aligned for themselves only.
    constexpr unsigned long kSmallest = 16;
    return mi_malloc(bytes < kSmallest ? kSmallest : bytes);
}

/// Takes a block of `heapAllocate` back, or null.
inline void heapFree(void* block) noexcept {
    mi_free(block);
}

/// Gives what the heap keeps for later back to the system, as far as it can.
inline void heapTrim() noexcept {
    mi_collect(true);
}

#else

inline void* heapAllocate(unsigned long bytes) noexcept {
    return std::malloc(bytes);
}

inline void heapFree(void* block) noexcept {
    std::free(block);
}

/// malloc looks through all it keeps before it fails.
inline void heapTrim() noexcept {}

#endif

} // namespace Vq
