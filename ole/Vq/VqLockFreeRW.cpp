#include "Vq/VqLockFreeRW.h"

#include "Vq/Platform.h"
#include "Vq/detail/Assertion.h"

#include <bit>

namespace Vq::LockFree {

namespace {

constexpr int kReadAttempts = 7;

// Through unsigned: a count gone wrong may be negative or at its largest.
constexpr long packed(unsigned int readers, unsigned int writers) {
    return static_cast<long>((static_cast<unsigned long>(writers) << 32) | readers);
}

void assertThat(bool holds, const char* condition, const char* place) {
    if (!holds) detail::reportFailedAssertion(condition, place);
}

// One attempt to put `inside` in place of `expected`.
[[gnu::always_inline]] inline bool enters(const RWLock& gate, long* word, long expected,
                                          long inside) {
    if (OS()->atomics()->compareAndSwap(word, inside, expected) != expected) return false;
    // To the processor the swap of the word follows the closes, each of which changed one half. To
    // the language only accesses of the same half are ordered, so look at what they released.
    static_cast<void>(gate.readers());
    static_cast<void>(gate.writers());
    return true;
}

// One attempt to enter as one more reader.
[[gnu::always_inline]] inline bool entersToRead(const RWLock& gate, long* word) {
    const auto inside = static_cast<unsigned int>(gate.readers());
    // After the count: the acquire load above keeps the order of the two.
    const long found = __atomic_load_n(word, __ATOMIC_RELAXED);
    // A word that differs from the count was changed between the two reads. Swapping it for the
    // count plus one would lose a reader or enter beside a writer.
    if (found != packed(inside, 0)) return false;
    return enters(gate, word, found, packed(static_cast<unsigned int>(found) + 1, 0));
}

// The attempts after the first, apart from it so that it need not save the registers of a loop.
[[gnu::noinline]] int openReadAgain(const RWLock& gate, long* word) {
    for (int attempt = 1; attempt < kReadAttempts; ++attempt) {
        if (gate.writers() != 0) return -1;
        if (entersToRead(gate, word)) return 0;
    }
    return -1;
}

} // namespace

static_assert(sizeof(RWLock) == sizeof(long) && std::endian::native == std::endian::little);

RWLock::RWLock(int readers, int writers) noexcept
    : word_(packed(static_cast<unsigned int>(readers), static_cast<unsigned int>(writers))) {}

RWLock::RWLock(long word) noexcept : word_(word) {}

int RWLock::openRead() {
    if (writers() != 0) return -1;
    if (entersToRead(*this, &word_)) [[likely]]
        return 0;
    return openReadAgain(*this, &word_);
}

int RWLock::closeRead() {
    assertThat(readers() != 0, "var.readers_", "ole/Vq/VqLockFreeRW line 79");
    assertThat(writers() == 0, "var.writers_ == 0", "ole/Vq/VqLockFreeRW line 80");
    return OS()->atomics()->atomicDecrement(&half_.readers_);
}

int RWLock::openWrite() {
    if (__atomic_load_n(&word_, __ATOMIC_RELAXED) != 0) return -1;
    return enters(*this, &word_, 0, packed(0, 1)) ? 0 : -1;
}

int RWLock::closeWrite() {
    assertThat(writers() == 1, "var.writers_ == 1", "ole/Vq/VqLockFreeRW line 111");
    assertThat(readers() == 0, "var.readers_ == 0", "ole/Vq/VqLockFreeRW line 112");
    return OS()->atomics()->atomicDecrement(&half_.writers_);
}

void RWLock::forceClose() {
    // A plain store, spelled so that race detectors know it for the same word.
    __atomic_store_n(&word_, 0L, __ATOMIC_RELAXED);
}

} // namespace Vq::LockFree
