// What the benchmarks of the library ask of the platform: runs each of bench/ours on an OS() that
// counts, and prints `name<TAB>allocations<TAB>atomic operations`, both per operation. An argument
// selects names as Google Benchmark's filter does.
//
// Each benchmark runs twice, the second time with twice the operations: what the difference shows
// is the operations' own, since setting up costs the same in both.

#include "Bench.h"

#include "OS/LinuxPlatform.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Counts {
    long allocs = 0;
    long atomics = 0;
};

// Any thread of a benchmark may count.
constinit std::atomic<long> allocs = 0;
constinit std::atomic<long> atomics = 0;

void count(std::atomic<long>& counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
}

class CountingMemory final : public iMemory {
public:
    void* allocate(unsigned long bytes) override {
        count(allocs);
        return linuxPlatform()->memory()->allocate(bytes);
    }
    void deallocate(void* block) override { linuxPlatform()->memory()->deallocate(block); }
    void registerReclaimable(iReclaimable* object) override {
        linuxPlatform()->memory()->registerReclaimable(object);
    }
    void unregisterReclaimable(iReclaimable* object) override {
        linuxPlatform()->memory()->unregisterReclaimable(object);
    }
};

class CountingAtomics final : public iAtomics {
public:
    int atomicIncrement(int* counter) override {
        count(atomics);
        return linuxPlatform()->atomics()->atomicIncrement(counter);
    }
    int atomicDecrement(int* counter) override {
        count(atomics);
        return linuxPlatform()->atomics()->atomicDecrement(counter);
    }
    long compareAndSwap(long* target, long newValue, long expected) override {
        count(atomics);
        return linuxPlatform()->atomics()->compareAndSwap(target, newValue, expected);
    }
};

class CountingPlatform final : public iPlatform {
public:
    iMemory* memory() override { return &memory_; }
    iSystemUtils* utils() override { return linuxPlatform()->utils(); }
    iFileSystem* fileSystem() override { return linuxPlatform()->fileSystem(); }
    iSyncFactory* sync() override { return linuxPlatform()->sync(); }
    iAtomics* atomics() override { return &atomics_; }
    iCPUInfo* cpu() override { return linuxPlatform()->cpu(); }
    iFolders* folders() override { return linuxPlatform()->folders(); }

private:
    CountingMemory memory_;
    CountingAtomics atomics_;
};

// Never destroyed: the library allocates before main and after it.
union Everlasting {
    constexpr Everlasting() : platform() {}
    ~Everlasting() {}
    CountingPlatform platform;
};
constinit Everlasting everlasting;

struct Counted {
    std::string name;
    std::function<void(benchmark::State&)> body;
    // A few of what takes long; enough of the rest to show what happens once in a while.
    long operations;
    Counts once;
    Counts twice;
};

std::vector<Counted>& added() {
    static std::vector<Counted> all;
    return all;
}

void prepare(Counted& one, long operations, Counts& result) {
    const auto counting = [&](benchmark::State& state) {
        const Counts before{allocs, atomics};
        one.body(state);
        result = {allocs - before.allocs, atomics - before.atomics};
    };
    benchmark::RegisterBenchmark(one.name.c_str(), counting)->Iterations(operations);
}

class Silence final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& /*runs*/) override {}
};

void print(const Counted& one) {
    const auto perOperation = [&](long once, long twice) {
        return static_cast<double>(twice - once) / static_cast<double>(one.operations);
    };
    std::printf("%s\t%g\t%g\n", one.name.c_str(), perOperation(one.once.allocs, one.twice.allocs),
                perOperation(one.once.atomics, one.twice.atomics));
}

} // namespace

iPlatform* OS() {
    return &everlasting.platform;
}

void vqbench::add(const std::string& workload, const std::string& peer, long size,
                  std::function<void(benchmark::State&)> body) {
    const std::string name = workload + '/' + peer + '/' + std::to_string(size);
    added().push_back({name, std::move(body), size >= 1 << 20 ? 1 : 128, {}, {}});
}

void vqbench::require(bool right, const char* what) {
    if (right) return;
    std::fprintf(stderr, "%s is wrong\n", what);
    std::abort();
}

int main(int argc, char** argv) {
    const std::regex selected(argc > 1 ? argv[1] : ".", std::regex::extended);
    std::erase_if(added(),
                  [&](const Counted& one) { return !std::regex_search(one.name, selected); });
    for (Counted& one : added()) {
        prepare(one, one.operations, one.once);
        prepare(one, 2 * one.operations, one.twice);
    }
    Silence silence;
    if (!added().empty()) benchmark::RunSpecifiedBenchmarks(&silence);
    for (const Counted& one : added()) print(one);
    return 0;
}
