#include "OS/LinuxMemory.h"

#include "OS/LinuxHeap.h"
#include "OS/LinuxReclaimables.h"

#include <new>

namespace Vq {

void* LinuxMemory::allocate(unsigned long bytes) {
    if (void* block = heapAllocate(bytes)) [[likely]]
        return block;
    if (void* block = allocateByReclaiming(bytes)) return block;
    throw std::bad_alloc();
}

void LinuxMemory::deallocate(void* block) {
    heapFree(block);
}

void LinuxMemory::registerReclaimable(iReclaimable* object) {
    addReclaimable(object);
}

void LinuxMemory::unregisterReclaimable(iReclaimable* object) {
    removeReclaimable(object);
}

} // namespace Vq
