/// Several threads that start together and are all waited for.
#pragma once

#include "support/StartGate.h"

#include <thread>
#include <vector>

namespace vqtest {

/// Runs `work(i)` for i below `count`, each on a thread of its own. They start together.
template <class Work> void onThreads(int count, Work work) {
    StartGate gate(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            gate.wait();
            work(i);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

} // namespace vqtest
