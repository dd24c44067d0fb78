/// The heap that every block of the platform comes from.
///
/// It is mimalloc where the build has it, several times faster than malloc for the small blocks
/// that strings and handles live in, or else malloc itself. Either way it is this library's alone:
/// the program's own `malloc` and `free` stay what they are (see ole/OS/CMakeLists.txt), and a
/// block of one is never given to the other.
///
/// That needs everybody in the process to call the operators of libVq, the C++ runtime included. A
/// plug-in that is loaded with local binding cannot count on it: the runtime may be bound to its
/// own operators, which use malloc, or another plug-in may call those of the runtime, which call
/// some of libVq. So the first block asks whether libVq's operators are the program's and the
/// runtime's, and where they are not, the heap is malloc, too.
///
/// Thread rule: safe, also for blocks that another thread gives back, and in the child of a fork.
#pragma once

#include <cstdlib>

#ifdef VQ_OS_MIMALLOC
#include <atomic>
#include <mimalloc.h>
#endif

namespace Vq {

#ifdef VQ_OS_MIMALLOC

/// Unknown until the first block, then one of the others for good.
enum class HeapKind : int { kUnknown, kAsking, kMimalloc, kMalloc };
extern constinit std::atomic<HeapKind> heapKind;

/// The first block, and all where the heap is malloc.
void* otherHeapAllocate(unsigned long bytes) noexcept;

/// Relaxed: who has a block to free was given it after the kind was known.
inline bool heapIsMimalloc() noexcept {
    return heapKind.load(std::memory_order_relaxed) == HeapKind::kMimalloc;
}

/// A block aligned for any fundamental type, null when there is no memory.
inline void* heapAllocate(unsigned long bytes) noexcept {
    // Blocks of less would be aligned for themselves only.
    constexpr unsigned long kSmallest = 16;
    if (!heapIsMimalloc()) [[unlikely]]
        return otherHeapAllocate(bytes);
    return mi_malloc(bytes < kSmallest ? kSmallest : bytes);
}

/// Takes a block of `heapAllocate` back, or null.
inline void heapFree(void* block) noexcept {
    if (!heapIsMimalloc()) [[unlikely]]
        return std::free(block);
    mi_free(block);
}

/// Gives what the heap keeps for later back to the system, as far as it can.
inline void heapTrim() noexcept {
    if (heapIsMimalloc()) mi_collect(true);
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
