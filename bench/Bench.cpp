#include "Bench.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

namespace vqbench {

namespace {

/// Waits from before the first benchmark to behind the last: while a process has but one thread,
/// parts of the standard library leave their atomic operations out.
class SecondThread {
public:
    SecondThread() : thread_([this] { wait(); }) {}

    ~SecondThread() {
        {
            const std::scoped_lock hold(lock_);
            over_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }

private:
    void wait() {
        std::unique_lock hold(lock_);
        changed_.wait(hold, [this] { return over_; });
    }

    std::mutex lock_;
    std::condition_variable changed_;
    bool over_ = false;
    std::thread thread_;
};

} // namespace

void add(const std::string& workload, const std::string& peer, long size,
         std::function<void(benchmark::State&)> body) {
    const std::string name = workload + '/' + peer + '/' + std::to_string(size);
    auto* const added = benchmark::RegisterBenchmark(name.c_str(), std::move(body));
    if (const char* const iterations = std::getenv("VQ_BENCH_ITERATIONS")) {
        added->Iterations(std::atol(iterations));
    }
}

void require(bool right, const char* what) {
    if (right) return;
    std::fprintf(stderr, "%s is wrong\n", what);
    std::abort();
}

} // namespace vqbench

int main(int argc, char** argv) {
    const vqbench::SecondThread second;
    benchmark::Initialize(&argc, argv);
#ifdef VQ_ABSENT_PEERS
    benchmark::AddCustomContext("absent_peers", VQ_ABSENT_PEERS);
#endif
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
