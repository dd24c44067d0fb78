#include "OS/LinuxMemory.h"

#include "OS/LinuxReclaimables.h"

#include <new>

namespace Vq {

void* LinuxMemory::allocate(unsigned long bytes) {
    if (void* block = std::malloc(bytes)) [[likely]]
        return block;
    if (void* block = allocateByReclaiming(bytes)) return block;
    throw std::bad_alloc();
}

void LinuxMemory::registerReclaimable(iReclaimable* object) {
    addReclaimable(object);
}

void LinuxMemory::unregisterReclaimable(iReclaimable* object) {
    removeReclaimable(object);
}

} // namespace Vq
