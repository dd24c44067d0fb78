#include "OS/LinuxReclaimables.h"

#include "OS/LinuxHeap.h"
#include "Vq/Platform.h"

#include <algorithm>
#include <ctime>
#include <cxxabi.h>
#include <new>
#include <pthread.h>
#include <utility>

namespace Vq {

namespace {

/// How long a thread without memory waits for the next sign of another one's asking. Long enough
/// for one cache to be emptied, short enough that a program caught in a circle of locks comes free.
constexpr long kPatienceSeconds = 1;

struct Entry {
    iReclaimable* object;
    unsigned long serial; ///< grows from entry to entry
};

/// Made by the compiler and never destroyed. The array comes from the heap, not from the global
/// operator new, which falls back on this.
struct State {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;  ///< guards everything else
    pthread_cond_t progress = PTHREAD_COND_INITIALIZER; ///< a call or an asking is over

    Entry* entries = nullptr;
    std::size_t count = 0;
    std::size_t room = 0;
    unsigned long lastSerial = 0;

    bool asking = false;
    pthread_t asker = {};            ///< the thread that asks, while `asking`
    iReclaimable* running = nullptr; ///< the object asked at this moment
    unsigned long finishedCalls = 0;
};

constinit State state;

class Lock {
public:
    Lock() noexcept { acquire(); }
    ~Lock() { release(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void acquire() noexcept { pthread_mutex_lock(&state.mutex); }
    void release() noexcept { pthread_mutex_unlock(&state.mutex); }
};

/// Gives the lock back for a while.
class Unlock {
public:
    explicit Unlock(Lock& lock) noexcept : lock_(lock) { lock_.release(); }
    ~Unlock() { lock_.acquire(); }
    Unlock(const Unlock&) = delete;
    Unlock& operator=(const Unlock&) = delete;

private:
    Lock& lock_;
};

// --- The set

Entry* find(const iReclaimable* object) noexcept {
    // Newest first, for what was made last is often destroyed first.
    for (std::size_t i = state.count; i-- > 0;) {
        if (state.entries[i].object == object) return &state.entries[i];
    }
    return nullptr;
}

/// The first entry that is neither before `serial` nor beyond `newest`; null when there is none.
const Entry* firstFrom(unsigned long serial, unsigned long newest) noexcept {
    const Entry* const end = state.entries + state.count;
    const Entry* const found =
        std::lower_bound(static_cast<const Entry*>(state.entries), end, serial,
                         [](const Entry& entry, unsigned long s) { return entry.serial < s; });
    return found != end && found->serial <= newest ? found : nullptr;
}

/// Moves the entries to a larger array. The lock is given back meanwhile, since finding the memory
/// may take asking: the caller has to look at everything again.
void growOnce(Lock& lock) {
    const std::size_t room = std::max<std::size_t>(16, 2 * state.room);
    Entry* fresh = nullptr;
    {
        const Unlock unlocked(lock);
        void* block = heapAllocate(room * sizeof(Entry));
        if (!block) block = allocateByReclaiming(room * sizeof(Entry));
        if (!block) throw std::bad_alloc();
        fresh = static_cast<Entry*>(block);
    }
    if (state.room < room) {
        std::copy_n(state.entries, state.count, fresh);
        std::swap(fresh, state.entries);
        state.room = room;
    }
    heapFree(fresh);
}

// --- Forks. The child has only the thread that forked: an asking of another one never ends there.

void beforeFork() {
    pthread_mutex_lock(&state.mutex);
}

void afterForkInParent() {
    pthread_mutex_unlock(&state.mutex);
}

void afterForkInChild() {
    state.progress =
        PTHREAD_COND_INITIALIZER; // it may remember waiters that are not there any more
    if (state.asking && !pthread_equal(state.asker, pthread_self())) {
        state.asking = false;
        state.running = nullptr;
    }
    pthread_mutex_unlock(&state.mutex);
}

void watchForks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { pthread_atfork(beforeFork, afterForkInParent, afterForkInChild); });
}

// --- The asking

/// Makes the calling thread the one that asks.
class AskingTurn {
public:
    AskingTurn() noexcept {
        state.asking = true;
        state.asker = pthread_self();
    }
    ~AskingTurn() {
        state.asking = false;
        pthread_cond_broadcast(&state.progress);
    }
    AskingTurn(const AskingTurn&) = delete;
    AskingTurn& operator=(const AskingTurn&) = delete;
};

/// Gives the lock back while `object` is asked, and marks the object as running.
class RunningCall {
public:
    RunningCall(Lock& lock, iReclaimable* object) noexcept : lock_(lock) {
        state.running = object;
        lock_.release();
    }
    ~RunningCall() {
        lock_.acquire();
        state.running = nullptr;
        ++state.finishedCalls;
        pthread_cond_broadcast(&state.progress);
    }
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;

private:
    Lock& lock_;
};

bool thisThreadAsks() noexcept {
    return state.asking && pthread_equal(state.asker, pthread_self());
}

/// Asks one object. What it estimates to hold decides nothing: an estimate may be wrong.
void ask(iReclaimable& object, unsigned long bytes) {
    try {
        object.reclaim(bytes);
    } catch (abi::__forced_unwind&) {
        throw; // the thread is being cancelled, and nothing may stop that
    } catch (...) {
        // It may have freed something before it failed: the next attempt to allocate shows.
    }
}

/// What was freed meanwhile may be kept in pieces that do not fit.
void* allocateAgain(unsigned long bytes) {
    heapTrim();
    return heapAllocate(bytes);
}

/// As `allocateByReclaiming`, when no other thread asks.
void* askAll(Lock& lock, unsigned long bytes) {
    const AskingTurn turn;
    // What is registered from now on is not asked, so that the asking comes to an end.
    const unsigned long newest = state.lastSerial;
    unsigned long next = 0;
    while (const Entry* entry = firstFrom(next, newest)) {
        iReclaimable* const object = entry->object;
        next = entry->serial + 1;
        {
            const RunningCall call(lock, object);
            ask(*object, bytes);
        }
        const Unlock unlocked(lock);
        if (void* block = allocateAgain(bytes)) return block;
    }
    return nullptr;
}

/// Waits until another thread's asking has come further. False when that takes too long.
bool awaitProgress() {
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += kPatienceSeconds;
    return pthread_cond_clockwait(&state.progress, &state.mutex, CLOCK_MONOTONIC, &deadline) == 0;
}

} // namespace

void addReclaimable(iReclaimable* object) {
    if (!object) return;
    watchForks();
    Lock lock;
    while (!find(object)) {
        if (state.count == state.room) {
            growOnce(lock);
        } else {
            state.entries[state.count++] = {object, ++state.lastSerial};
        }
    }
}

void removeReclaimable(iReclaimable* object) {
    if (!object) return; // it would look like the object that runs while none does
    const Lock lock;
    if (Entry* const entry = find(object)) {
        std::copy(entry + 1, state.entries + state.count, entry);
        --state.count;
    }
    if (thisThreadAsks()) return; // called from within a call, and no other is running
    const unsigned long seen = state.finishedCalls;
    while (state.running == object && state.finishedCalls == seen) {
        pthread_cond_wait(&state.progress, &state.mutex);
    }
}

void* allocateByReclaiming(unsigned long bytes) {
    if (void* block = allocateAgain(bytes)) return block;
    Lock lock;
    if (thisThreadAsks()) return nullptr;
    while (state.asking) {
        if (!awaitProgress()) return nullptr;
        const Unlock unlocked(lock);
        if (void* block = allocateAgain(bytes)) return block;
    }
    return askAll(lock, bytes);
}

} // namespace Vq
