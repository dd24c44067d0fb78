/// Aligned blocks, memory fills and reclaimable objects.
///
/// libVq also replaces all global forms of `operator new` and `operator delete`, so that every heap
/// block of the process comes from the platform's memory service. The plain forms forward to it in
/// a single step: no new-handler, no retry, whatever the service throws passes through. The other
/// forms end in the plain ones through the dynamic symbol, so a program that replaces just
/// `operator new(size_t)` and `operator delete(void*)` serves them all.
///
///     void* samples = CPUAlignedNew(4096);
///     Vq::Memset16(samples, 0x0200, 2048);
///     CPUAlignedDelete(samples);
///
/// Thread rule: safe.
#pragma once

#include "Vq/Platform.h"
#include "Vq/detail/Export.h"

/// A block of at least `bytes` bytes (0 is valid) at a multiple of 16. It lies in a plain block of
/// `bytes` + 32 bytes, whose address stands in the 8 bytes before it. Throws what `operator new`
/// throws, and `std::bad_alloc` when the sum overflows. Freed with `CPUAlignedDelete` alone.
[[nodiscard]] VQ_EXPORT void* CPUAlignedNew(unsigned long bytes);

/// Frees a block of `CPUAlignedNew`. Null is **not** allowed: the address of the plain block is
/// read from in front of `block` without a test.
VQ_EXPORT void CPUAlignedDelete(void* block);

namespace Vq {

/// @{
/// Stores `value` in `count` elements of the width that the name gives: bytes, or so many bits. The
/// count is at most 2^31 - 1; 0 writes nothing. `destination` need not be aligned beyond its
/// element.
VQ_EXPORT void Memset(void* destination, unsigned char value, unsigned int count);
VQ_EXPORT void Memset16(void* destination, unsigned short value, unsigned int count);
VQ_EXPORT void Memset32(void* destination, unsigned int value, unsigned int count);
VQ_EXPORT void Memset64(void* destination, unsigned long value, unsigned int count);
/// @}

} // namespace Vq

/// Base of objects that can give memory back under pressure: known to the platform's memory service
/// from the end of this base's construction to the start of its destruction. The three operations
/// are not there yet while the derived constructor waits to run, nor any more once its destructor
/// has: make and destroy such objects while no other thread can be short of memory. Its operations
/// are then called on any thread, the one that is short of memory.
class VQ_EXPORT Reclaimable : public iReclaimable {
public:
    Reclaimable();           ///< registers; throws what the platform throws
    ~Reclaimable() override; ///< unregisters

    // Registered by address: a copy would be unknown to the memory service.
    Reclaimable(const Reclaimable&) = delete;
    Reclaimable& operator=(const Reclaimable&) = delete;
};
