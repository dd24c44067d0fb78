// The 20 global allocation operators. Only the two plain ones touch the platform; the rest reach
// them through the dynamic symbol, so that whichever is in force in the process serves every form.
// Nothing here may be inlined into its neighbour, for that would bind the call to this library's
// own: hence the attribute, and no link-time optimisation.

#include "Vq/detail/AlignedBlock.h"
#include "Vq/detail/PlatformCore.h"

#include <algorithm>
#include <cstddef>
#include <new>

#define VQ_OPERATOR [[gnu::noinline]] VQ_EXPORT

namespace {

// Room for the plain block's address has to fit in front of every block.
std::size_t blockAlignment(std::align_val_t alignment) {
    return std::max<std::size_t>(static_cast<std::size_t>(alignment), 16);
}

} // namespace

VQ_OPERATOR void* operator new(std::size_t bytes) {
    return OS()->memory()->allocate(bytes);
}

VQ_OPERATOR void operator delete(void* block) noexcept {
    OS()->memory()->deallocate(block);
}

// --- new

VQ_OPERATOR void* operator new[](std::size_t bytes) {
    return ::operator new(bytes);
}

VQ_OPERATOR void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    try {
        return ::operator new(bytes);
    } catch (...) {
        return nullptr;
    }
}

VQ_OPERATOR void* operator new[](std::size_t bytes, const std::nothrow_t& tag) noexcept {
    return ::operator new(bytes, tag);
}

VQ_OPERATOR void* operator new(std::size_t bytes, std::align_val_t alignment) {
    return Vq::detail::alignedNew(bytes, blockAlignment(alignment));
}

VQ_OPERATOR void* operator new[](std::size_t bytes, std::align_val_t alignment) {
    return ::operator new(bytes, alignment);
}

VQ_OPERATOR void* operator new(std::size_t bytes, std::align_val_t alignment,
                               const std::nothrow_t&) noexcept {
    try {
        return ::operator new(bytes, alignment);
    } catch (...) {
        return nullptr;
    }
}

VQ_OPERATOR void* operator new[](std::size_t bytes, std::align_val_t alignment,
                                 const std::nothrow_t& tag) noexcept {
    return ::operator new(bytes, alignment, tag);
}

// --- delete

VQ_OPERATOR void operator delete[](void* block) noexcept {
    ::operator delete(block);
}

VQ_OPERATOR void operator delete(void* block, const std::nothrow_t&) noexcept {
    ::operator delete(block);
}

VQ_OPERATOR void operator delete[](void* block, const std::nothrow_t& tag) noexcept {
    ::operator delete(block, tag);
}

VQ_OPERATOR void operator delete(void* block, std::size_t) noexcept {
    ::operator delete(block);
}

VQ_OPERATOR void operator delete[](void* block, std::size_t) noexcept {
    ::operator delete[](block);
}

VQ_OPERATOR void operator delete(void* block, std::align_val_t) noexcept {
    if (block) {
        Vq::detail::alignedDelete(block);
    } else {
        ::operator delete(block);
    }
}

VQ_OPERATOR void operator delete[](void* block, std::align_val_t alignment) noexcept {
    ::operator delete(block, alignment);
}

VQ_OPERATOR void operator delete(void* block, std::size_t, std::align_val_t alignment) noexcept {
    ::operator delete(block, alignment);
}

VQ_OPERATOR void operator delete[](void* block, std::size_t, std::align_val_t alignment) noexcept {
    ::operator delete[](block, alignment);
}

VQ_OPERATOR void operator delete(void* block, std::align_val_t alignment,
                                 const std::nothrow_t&) noexcept {
    ::operator delete(block, alignment);
}

VQ_OPERATOR void operator delete[](void* block, std::align_val_t alignment,
                                   const std::nothrow_t&) noexcept {
    ::operator delete[](block, alignment);
}
