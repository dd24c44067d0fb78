/// What is done with a handle that shares an object, in the same words for the library and for each
/// peer. `Peer` has a `Handle` and `static Handle make()`, which makes an object.
#pragma once

#include "Bench.h"

#include <string>
#include <utility>

namespace vqbench {

template <class Peer> void copyHandle(benchmark::State& state) {
    const auto source = Peer::make();
    require(typename Peer::Handle(source).get() == source.get(), "a copy");
    for (auto step : state) {
        typename Peer::Handle copy(source);
        benchmark::DoNotOptimize(copy);
    }
}

/// One object or the other in turns: each step takes one and lets the other go.
template <class Peer> void assignHandle(benchmark::State& state) {
    const typename Peer::Handle sources[] = {Peer::make(), Peer::make()};
    typename Peer::Handle target = sources[0];
    std::size_t next = 0;
    for (auto step : state) {
        next ^= 1;
        target = sources[next];
        benchmark::DoNotOptimize(target);
    }
    require(target.get() == sources[next].get(), "the handle assigned to");
}

/// There and back, so that each step finds the object where it was.
template <class Peer> void moveHandle(benchmark::State& state) {
    typename Peer::Handle source = Peer::make();
    const auto* const object = source.get();
    for (auto step : state) {
        typename Peer::Handle moved(std::move(source));
        benchmark::DoNotOptimize(moved);
        source = std::move(moved);
        benchmark::DoNotOptimize(source);
    }
    require(source.get() == object, "a moved handle");
}

template <class Peer> void addHandleWorkloads(const std::string& peer) {
    add("handle.copy", peer, 1, copyHandle<Peer>);
    add("handle.assign", peer, 1, assignHandle<Peer>);
    add("handle.move", peer, 1, moveHandle<Peer>);
}

} // namespace vqbench
