// How a lookup in the registry grows with the number of its entries.

#include "Vq/VqNamedObjects.h"

#include "Bench.h"
#include "RegistryNames.h"

#include <cstddef>
#include <string>
#include <vector>

namespace {

using vqbench::Registered;

void find(benchmark::State& state, std::size_t entries) {
    std::vector<Registered> objects = vqbench::registeredObjects(entries);
    Vq::NamedObjectsNamespace space("bench");
    for (Registered& object : objects) {
        space.create(vqbench::registeredName(object.number).c_str(), &object);
    }
    for (Registered& object : objects) {
        const std::string name = vqbench::registeredName(object.number);
        vqbench::require(space.find<Registered>(name.c_str()) == &object);
    }
    vqbench::require(space.find<Registered>("absent") == nullptr);
    const std::vector<std::string> names = vqbench::namesToFind(entries);
    std::size_t next = 0;
    for (auto step : state) {
        benchmark::DoNotOptimize(space.find<Registered>(names[next].c_str()));
        next = (next + 1) % names.size();
    }
    state.SetItemsProcessed(state.iterations());
}

[[maybe_unused]] const bool added = [] {
    for (const long entries : {10, 1000, 100000}) {
        vqbench::add("registry.find", "ours", entries, [=](benchmark::State& state) {
            find(state, static_cast<std::size_t>(entries));
        });
    }
    return true;
}();

} // namespace
