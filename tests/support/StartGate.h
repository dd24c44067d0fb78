/// Lets the threads of a test start together.
#pragma once

#include <condition_variable>
#include <mutex>

namespace vqtest {

class StartGate {
public:
    explicit StartGate(int threads) : awaited_(threads) {}

    /// Blocks until as many threads wait here as were announced.
    void wait() {
        std::unique_lock hold(lock_);
        if (--awaited_ == 0) {
            open_.notify_all();
        } else {
            open_.wait(hold, [this] { return awaited_ <= 0; });
        }
    }

private:
    std::mutex lock_;
    std::condition_variable open_;
    int awaited_;
};

} // namespace vqtest
