#include "VqTest/ScriptedMemory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <sanitizer/asan_interface.h>

namespace vqtest {

namespace {

/// Stands in front of every block; at no alignment in particular, so it is copied in and out. Its
/// size keeps the alignment that malloc gives.
struct Note {
    unsigned long bytes;
    unsigned long mark; ///< kLive, plus the block's misalignment
};

constexpr unsigned long kLive = 0x6C697665626C6F00;
constexpr unsigned long kMisalignmentBits = 0xF;
constexpr unsigned long kFilledBytes = 4096;

static_assert(sizeof(Note) % alignof(std::max_align_t) == 0);

char* addressOfNote(void* block) {
    return static_cast<char*>(block) - sizeof(Note);
}

void writeNote(void* block, const Note& note) {
    std::memcpy(addressOfNote(block), &note, sizeof(Note));
    // Out of bounds for the program: the address sanitizer then sees writes in front of a block.
    ASAN_POISON_MEMORY_REGION(addressOfNote(block), sizeof(Note));
}

Note takeNote(void* block) {
    ASAN_UNPOISON_MEMORY_REGION(addressOfNote(block), sizeof(Note));
    Note note;
    std::memcpy(&note, addressOfNote(block), sizeof(Note));
    if ((note.mark & ~kMisalignmentBits) != kLive) {
        std::fprintf(stderr, "deallocate(%p): no live block\n", block);
        std::abort();
    }
    // Volatile, since nobody is meant to read it any more: it gives away a block freed twice.
    static_cast<volatile char*>(addressOfNote(block))[sizeof(Note) - 1] = 0;
    return note;
}

} // namespace

unsigned long ScriptedMemory::requestedBytes(unsigned back) const {
    return requests_[(requestCount_ - 1 - back) % kRequestsKept];
}

void* ScriptedMemory::allocate(unsigned long bytes) {
    constexpr auto kRelaxed = std::memory_order_relaxed;
    const unsigned index = requestCount_.fetch_add(1, kRelaxed) % kRequestsKept;
    requests_[index].store(bytes, kRelaxed);
    if (calls_.enter(Call::kAllocate, nullptr, bytes)) throw std::bad_alloc();
    const unsigned misalignment = misalignment_.load(kRelaxed);
    const unsigned long extra = sizeof(Note) + misalignment;
    if (bytes > std::numeric_limits<unsigned long>::max() - extra) throw std::bad_alloc();
    auto* start = static_cast<char*>(std::malloc(extra + bytes));
    if (!start) throw std::bad_alloc();
    char* block = start + extra;
    std::memset(block, kFreshByte, std::min(bytes, kFilledBytes));
    writeNote(block, {bytes, kLive + misalignment});
    liveBlocks_.fetch_add(1, kRelaxed);
    liveBytes_.fetch_add(static_cast<long>(bytes), kRelaxed);
    return block;
}

void ScriptedMemory::deallocate(void* block) {
    calls_.enter(Call::kDeallocate, block);
    if (!block) return;
    const Note note = takeNote(block);
    liveBlocks_.fetch_sub(1, std::memory_order_relaxed);
    liveBytes_.fetch_sub(static_cast<long>(note.bytes), std::memory_order_relaxed);
    std::memset(block, kFreedByte, std::min(note.bytes, kFilledBytes));
    std::free(addressOfNote(block) - (note.mark & kMisalignmentBits));
}

void ScriptedMemory::registerReclaimable(iReclaimable* object) {
    if (calls_.enter(Call::kRegisterReclaimable, object)) throw std::bad_alloc();
    const std::scoped_lock hold(lock_);
    reclaimables_.push_back(object);
}

void ScriptedMemory::unregisterReclaimable(iReclaimable* object) {
    calls_.enter(Call::kUnregisterReclaimable, object);
    const std::scoped_lock hold(lock_);
    std::erase(reclaimables_, object);
}

} // namespace vqtest
