#include "Vq/Allocation.h"

#include "Vq/detail/AlignedBlock.h"

// The library of the fills is linked, not included: it may be the processor maker's own.
extern "C" {
int ippsSet_8u(unsigned char value, unsigned char* destination, int count);
int ippsSet_16s(short value, short* destination, int count);
int ippsSet_32s(int value, int* destination, int count);
int ippsSet_64s(long long value, long long* destination, int count);
}

void* CPUAlignedNew(unsigned long bytes) {
    return Vq::detail::alignedNew(bytes, 16);
}

void CPUAlignedDelete(void* block) {
    Vq::detail::alignedDelete(block);
}

namespace Vq {

void Memset(void* destination, unsigned char value, unsigned int count) {
    ippsSet_8u(value, static_cast<unsigned char*>(destination), static_cast<int>(count));
}

void Memset16(void* destination, unsigned short value, unsigned int count) {
    ippsSet_16s(static_cast<short>(value), static_cast<short*>(destination),
                static_cast<int>(count));
}

void Memset32(void* destination, unsigned int value, unsigned int count) {
    ippsSet_32s(static_cast<int>(value), static_cast<int*>(destination), static_cast<int>(count));
}

void Memset64(void* destination, unsigned long value, unsigned int count) {
    ippsSet_64s(static_cast<long long>(value), static_cast<long long*>(destination),
                static_cast<int>(count));
}

} // namespace Vq

Reclaimable::Reclaimable() {
    OS()->memory()->registerReclaimable(this);
}

Reclaimable::~Reclaimable() {
    OS()->memory()->unregisterReclaimable(this);
}
