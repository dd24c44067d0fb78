#include "OS/LinuxSync.h"

#include <pthread.h>
#include <unistd.h>

namespace Vq {

namespace {

class LinuxCriticalSection final : public iCriticalSection {
public:
    LinuxCriticalSection() = default;
    ~LinuxCriticalSection() override { pthread_mutex_destroy(&mutex_); }

    void acquire() override { pthread_mutex_lock(&mutex_); }
    bool tryAcquire() override { return pthread_mutex_trylock(&mutex_) == 0; }
    void release() override { pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_ = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

// Initial-exec: the id is one load away, and the first access in a thread allocates nothing.
[[gnu::tls_model("initial-exec")]] constinit thread_local unsigned int knownThreadId = 0;

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
