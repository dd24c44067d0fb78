// How a lookup in the registry grows with the number of its entries, beside a map under a mutex.
// Names are `workload/peer/entries`.

#include "Vq/VqNamedObjects.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

struct Object {
    int number = 0;
};

std::string nameOf(std::size_t i) {
    return "pool.frames." + std::to_string(i);
}

// Names in an order that the processor cannot guess, the same in every run.
std::vector<std::string> namesInLookupOrder(std::size_t entries) {
    constexpr std::size_t kLookups = 4096;
    std::vector<std::string> names;
    std::size_t next = 1;
    for (std::size_t i = 0; i < kLookups; ++i) {
        next = next * 6364136223846793005u + 1442695040888963407u;
        names.push_back(nameOf((next >> 33) % entries));
    }
    return names;
}

class Registry {
public:
    explicit Registry(std::vector<Object>& objects) : space_("bench") {
        for (std::size_t i = 0; i < objects.size(); ++i) {
            space_.create(nameOf(i).c_str(), &objects[i]);
        }
    }

    Object* find(const std::string& name) { return space_.find<Object>(name.c_str()); }

private:
    Vq::NamedObjectsNamespace space_;
};

// What a program would write itself: keyed by type and name, one mutex around it all.
class MapUnderMutex {
public:
    explicit MapUnderMutex(std::vector<Object>& objects) {
        for (std::size_t i = 0; i < objects.size(); ++i) {
            objects_.emplace(Key(typeid(Object), nameOf(i)), &objects[i]);
        }
    }

    Object* find(const std::string& name) {
        const Key key(typeid(Object), name.c_str());
        const std::scoped_lock hold(lock_);
        const auto found = objects_.find(key);
        return found == objects_.end() ? nullptr : found->second;
    }

private:
    using Key = std::pair<std::type_index, std::string>;
    struct Hash {
        std::size_t operator()(const Key& key) const {
            return key.first.hash_code() ^ std::hash<std::string>()(key.second);
        }
    };

    std::mutex lock_;
    std::unordered_map<Key, Object*, Hash> objects_;
};

std::vector<Object> objectsOf(std::size_t entries) {
    std::vector<Object> objects(entries);
    for (std::size_t i = 0; i < entries; ++i) objects[i].number = static_cast<int>(i);
    return objects;
}

// Checked before it is timed: what is found is what was registered.
template <class Peer> void require(Peer& peer, std::vector<Object>& objects) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (peer.find(nameOf(i)) != &objects[i]) std::abort();
    }
    if (peer.find("absent") != nullptr) std::abort();
}

template <class Peer> void find(benchmark::State& state) {
    const auto entries = static_cast<std::size_t>(state.range(0));
    std::vector<Object> objects = objectsOf(entries);
    const auto peer = std::make_unique<Peer>(objects);
    require(*peer, objects);
    const std::vector<std::string> names = namesInLookupOrder(entries);
    std::size_t next = 0;
    for (auto step : state) {
        benchmark::DoNotOptimize(peer->find(names[next]));
        next = (next + 1) % names.size();
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Peer> void findAbsent(benchmark::State& state) {
    std::vector<Object> objects = objectsOf(static_cast<std::size_t>(state.range(0)));
    const auto peer = std::make_unique<Peer>(objects);
    require(*peer, objects);
    const std::string name = "pool.frames.none";
    for (auto step : state) benchmark::DoNotOptimize(peer->find(name));
    state.SetItemsProcessed(state.iterations());
}

void sizes(benchmark::internal::Benchmark* lookup) {
    lookup->Arg(10)->Arg(1000)->Arg(100000);
}

BENCHMARK(find<Registry>)->Name("registry_find/Vq")->Apply(sizes);
BENCHMARK(find<MapUnderMutex>)->Name("registry_find/map_under_mutex")->Apply(sizes);
BENCHMARK(findAbsent<Registry>)->Name("registry_find_absent/Vq")->Apply(sizes);
BENCHMARK(findAbsent<MapUnderMutex>)->Name("registry_find_absent/map_under_mutex")->Apply(sizes);

} // namespace
