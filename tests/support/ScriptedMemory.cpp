#include "support/ScriptedMemory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <sanitizer/asan_interface.h>

namespace vqtest {

namespace {

/// Stands in front of every block. Its size keeps the alignment that malloc gives.
struct Note {
    unsigned long bytes;
    unsigned long mark;
};

constexpr unsigned long kLive = 0x6C697665626C6F63;
constexpr unsigned long kFilledBytes = 4096;

static_assert(sizeof(Note) % alignof(std::max_align_t) == 0);

// Out of bounds for the program: the address sanitizer then sees writes in front of a block.
void guard(Note* note) {
    ASAN_POISON_MEMORY_REGION(note, sizeof(Note));
}

Note* noteOf(void* block) {
    Note* note = static_cast<Note*>(block) - 1;
    ASAN_UNPOISON_MEMORY_REGION(note, sizeof(Note));
    if (note->mark == kLive) return note;
    std::fprintf(stderr, "deallocate(%p): no live block\n", block);
    std::abort();
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
    if (bytes > std::numeric_limits<unsigned long>::max() - sizeof(Note)) throw std::bad_alloc();
    auto* note = static_cast<Note*>(std::malloc(sizeof(Note) + bytes));
    if (!note) throw std::bad_alloc();
    *note = {bytes, kLive};
    std::memset(note + 1, kFreshByte, std::min(bytes, kFilledBytes));
    liveBlocks_.fetch_add(1, kRelaxed);
    liveBytes_.fetch_add(static_cast<long>(bytes), kRelaxed);
    guard(note);
    return note + 1;
}

void ScriptedMemory::deallocate(void* block) {
    calls_.enter(Call::kDeallocate, block);
    if (!block) return;
    Note* note = noteOf(block);
    liveBlocks_.fetch_sub(1, std::memory_order_relaxed);
    liveBytes_.fetch_sub(static_cast<long>(note->bytes), std::memory_order_relaxed);
    std::memset(block, kFreedByte, std::min(note->bytes, kFilledBytes));
    // Volatile, since nobody is meant to read it any more: it gives away a block freed twice.
    static_cast<volatile Note*>(note)->mark = 0;
    std::free(note);
}

void ScriptedMemory::registerReclaimable(iReclaimable* object) {
    calls_.enter(Call::kRegisterReclaimable, object);
    const std::scoped_lock hold(lock_);
    reclaimables_.push_back(object);
}

void ScriptedMemory::unregisterReclaimable(iReclaimable* object) {
    calls_.enter(Call::kUnregisterReclaimable, object);
    const std::scoped_lock hold(lock_);
    std::erase(reclaimables_, object);
}

} // namespace vqtest
