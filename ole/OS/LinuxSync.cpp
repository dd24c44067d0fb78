#include "OS/LinuxSync.h"

#include <atomic>
#include <cerrno>

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Vq {

namespace {

// Initial-exec: a variable is one load away, and its first access in a thread allocates nothing.
#define VQ_OF_THREAD [[gnu::tls_model("initial-exec")]] constinit thread_local

/// Who holds a lock: a number of its own for every thread that the process ever has. Not the
/// kernel's id, which the child of a fork has anew and which returns after a thread has ended: the
/// child's thread is the one that forked, and goes on holding what that held.
using Holder = unsigned long;
constexpr Holder kNobody = 0;

VQ_OF_THREAD Holder knownHolder = kNobody;
constinit std::atomic<Holder> lastHolder{kNobody};

[[gnu::noinline]] Holder numberedThread() {
    return knownHolder = lastHolder.fetch_add(1, std::memory_order_relaxed) + 1;
}

Holder thisThread() {
    const Holder known = knownHolder;
    return known != kNobody ? known : numberedThread();
}

/// A word on which threads sleep in the kernel while it has the value that they saw.
using Word = std::atomic<int>;
static_assert(sizeof(Word) == sizeof(int) && Word::is_always_lock_free);

// Out of line, so that who need not call it saves no registers either.
[[gnu::noinline]] void futex(Word& word, int operation, int value) {
    const int kept = errno; // a lock leaves it alone
    ::syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
    errno = kept;
}

class LinuxCriticalSection final : public iCriticalSection {
public:
    LinuxCriticalSection() = default;

    void acquire() override {
        const Holder self = thisThread();
        if (isOf(self)) {
            ++nested_;
        } else if (takesFree()) {
            setHolder(self);
        } else {
            takeWhenFree(self);
        }
    }

    bool tryAcquire() override {
        const Holder self = thisThread();
        if (isOf(self)) {
            ++nested_;
            return true;
        }
        if (!takesFree()) return false;
        setHolder(self);
        return true;
    }

    void release() override {
        if (!isOf(thisThread())) return;
        if (nested_ != 0) {
            --nested_;
            return;
        }
        setHolder(kNobody);
        // Nothing of this object is read once it is free: the next holder may destroy it.
        if (state_.exchange(kFree, std::memory_order_release) == kAwaited) {
            futex(state_, FUTEX_WAKE, 1);
        }
    }

private:
    enum State : int { kFree, kHeld, kAwaited }; // awaited: held, and perhaps a thread sleeps

    // Relaxed: a thread finds its own number only if it stored it itself and has not released.
    bool isOf(Holder thread) const { return holder_.load(std::memory_order_relaxed) == thread; }
    void setHolder(Holder thread) { holder_.store(thread, std::memory_order_relaxed); }

    bool takesFree() {
        int expected = kFree;
        return state_.compare_exchange_strong(expected, kHeld, std::memory_order_acquire,
                                              std::memory_order_relaxed);
    }

    [[gnu::noinline]] void takeWhenFree(Holder self) {
        if (!takesSoonFree()) {
            // Who has slept cannot know whether others still do, and takes the lock as awaited.
            while (state_.exchange(kAwaited, std::memory_order_acquire) != kFree) {
                futex(state_, FUTEX_WAIT, kAwaited);
            }
        }
        setHolder(self);
    }

    // Most holders are gone before a thread would have fallen asleep.
    bool takesSoonFree() {
        for (int i = 0; i < kGlances; ++i) {
            __builtin_ia32_pause();
            if (state_.load(std::memory_order_relaxed) == kFree && takesFree()) return true;
        }
        return false;
    }

    static constexpr int kGlances = 40;

    Word state_{kFree};
    unsigned int nested_ = 0; // the holder's entries beyond the first
    std::atomic<Holder> holder_{kNobody};
};

VQ_OF_THREAD unsigned int knownThreadId = 0;

constinit bool forksAreWatched = false; // written once, within pthread_once

/// The child of a fork begins with a copy of the forking thread's variables, but has an id of its
/// own.
void watchForks() {
    forksAreWatched = pthread_atfork(nullptr, nullptr, [] { knownThreadId = 0; }) == 0;
}

} // namespace

Vq::Ptr<iCriticalSection> LinuxSync::createCriticalSection(unsigned int /*tuning*/) {
    return new LinuxCriticalSection;
}

unsigned int LinuxSync::currentThreadId() {
    if (knownThreadId != 0) [[likely]]
        return knownThreadId;
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, watchForks);
    const auto id = static_cast<unsigned int>(::gettid());
    if (forksAreWatched) knownThreadId = id;
    return id;
}

} // namespace Vq
