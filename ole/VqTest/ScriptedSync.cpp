#include "VqTest/ScriptedSync.h"

#include <mutex>
#include <new>

namespace vqtest {

class ScriptedLock final : public iCriticalSection, public MallocObject {
public:
    explicit ScriptedLock(ScriptedSync& factory) : factory_(factory) { ++factory_.liveLocks_; }

    ~ScriptedLock() override {
        factory_.calls_.enter(Call::kDestroyCriticalSection, this);
        --factory_.liveLocks_;
    }

    void acquire() override {
        factory_.calls_.enter(Call::kAcquire, this);
        mutex_.lock();
    }

    bool tryAcquire() override {
        return !factory_.calls_.enter(Call::kTryAcquire, this) && mutex_.try_lock();
    }

    void release() override {
        factory_.calls_.enter(Call::kRelease, this);
        mutex_.unlock();
    }

private:
    ScriptedSync& factory_;
    std::recursive_mutex mutex_;
};

Vq::Ptr<iCriticalSection> ScriptedSync::createCriticalSection(unsigned int tuning) {
    if (calls_.enter(Call::kCreateCriticalSection, nullptr, tuning)) throw std::bad_alloc();
    return new ScriptedLock(*this);
}

unsigned int ScriptedSync::currentThreadId() {
    static std::atomic<unsigned> threadsSeen{0};
    static thread_local unsigned ownId = 0;
    calls_.enter(Call::kCurrentThreadId);
    if (ownId == 0) ownId = ++threadsSeen;
    const unsigned told = threadId_;
    return told != 0 ? told : ownId;
}

} // namespace vqtest
