#include "OS/LinuxUuid.h"

#include <atomic>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <sys/random.h>
#include <system_error>
#include <utility>

namespace Vq {

namespace {

void fillRandom(unsigned char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t got = ::getrandom(bytes, count, 0);
        if (got > 0) {
            bytes += got;
            count -= static_cast<std::size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
    }
}

// --- Generations: the process and each child of a fork have one of their own, which tells what was
// kept before the fork.

using Mark = std::atomic<unsigned long>;

constinit std::atomic<Mark*> processMark = nullptr; ///< never unmapped
constinit std::atomic<unsigned long> latestGeneration = 0;

// A page that a child finds full of zeros, however it was forked; null where there is none.
Mark* newMark() noexcept {
    constexpr std::size_t kLength = sizeof(Mark); // of which the kernel makes a page
    void* const page =
        ::mmap(nullptr, kLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) return nullptr;
    Mark* published = nullptr;
    if (::madvise(page, kLength, MADV_WIPEONFORK) == 0) {
        auto* const mark = ::new (page) Mark(0);
        if (processMark.compare_exchange_strong(published, mark)) return mark;
    }
    ::munmap(page, kLength);
    return published; // by another thread meanwhile
}

// 0 where a fork could not be told.
unsigned long generation() noexcept {
    Mark* mark = processMark.load(std::memory_order_acquire);
    if (!mark) mark = newMark();
    if (!mark) return 0;
    unsigned long current = mark->load(std::memory_order_relaxed);
    if (current != 0) return current;
    // The first to ask since the fork. The counter is not wiped: a number never comes twice in a
    // process and its ancestors.
    const unsigned long fresh = latestGeneration.fetch_add(1) + 1;
    return mark->compare_exchange_strong(current, fresh) ? fresh : current;
}

// --- What a thread has in hand

class Supply {
public:
    /// Hands out bytes that nobody has had or will have.
    void take(unsigned char (&bytes)[sizeof(UuidWords)]) {
        const unsigned long now = generation();
        // In use: this is a signal handler, which came in between.
        if (now == 0 || inUse_) return fillRandom(bytes, sizeof bytes);
        const InUse use(inUse_);
        if (generation_ != now) left_ = 0;
        if (left_ == 0) {
            fillRandom(bytes_, sizeof bytes_);
            left_ = sizeof bytes_;
            generation_ = now;
        }
        left_ -= sizeof bytes;
        std::memcpy(bytes, bytes_ + left_, sizeof bytes);
        std::memset(bytes_ + left_, 0, sizeof bytes); // no trace of it stays here
    }

private:
    struct InUse {
        volatile bool& inUse;
        explicit InUse(volatile bool& flag) : inUse(flag) {
            inUse = true;
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        ~InUse() {
            std::atomic_signal_fence(std::memory_order_seq_cst);
            inUse = false;
        }
        InUse(const InUse&) = delete;
        InUse& operator=(const InUse&) = delete;
    };

    unsigned char bytes_[32 * sizeof(UuidWords)] = {};
    std::size_t left_ = 0; ///< not handed out yet: so many from the first
    unsigned long generation_ = 0;
    volatile bool inUse_ = false;
};

// Initial-exec: one load away.
[[gnu::tls_model("initial-exec")]] constinit thread_local Supply* knownSupply = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local bool threadEnds = false;

/// Where a thread's supply lies: pages of their own, since a library that is loaded late has little
/// room for what each thread keeps at a fixed place, and not of the heap, which a signal handler
/// that makes the first identifier may have interrupted.
class SupplyPages {
public:
    SupplyPages() noexcept {
        void* const pages = ::mmap(nullptr, sizeof(Supply), PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages != MAP_FAILED) knownSupply = ::new (pages) Supply;
    }

    ~SupplyPages() {
        threadEnds = true; // who makes identifiers still asks the kernel for each
        Supply* const supply = std::exchange(knownSupply, nullptr);
        if (supply) ::munmap(supply, sizeof(Supply));
    }

    SupplyPages(const SupplyPages&) = delete;
    SupplyPages& operator=(const SupplyPages&) = delete;
};

/// Null when there is no memory, and at the very end of a thread.
[[gnu::noinline]] Supply* firstSupply() noexcept {
    if (threadEnds) return nullptr;
    [[maybe_unused]] thread_local const SupplyPages pages;
    return knownSupply;
}

} // namespace

UuidWords randomUuid() {
    unsigned char bytes[sizeof(UuidWords)];
    Supply* const known = knownSupply;
    if (Supply* const supply = known ? known : firstSupply()) {
        supply->take(bytes);
    } else {
        fillRandom(bytes, sizeof bytes);
    }
    UuidWords words;
    std::memcpy(&words, bytes, sizeof words);
    // In whole words, as the bytes came: byte 6 has the bits from 48 on, byte 8 the lowest.
    static_assert(std::endian::native == std::endian::little);
    words.first = (words.first & ~(0xF0UL << 48)) | 0x40UL << 48;
    words.second = (words.second & ~0xC0UL) | 0x80UL;
    return words;
}

} // namespace Vq
