// Allocators: that of the standard library, libc's below it, and mimalloc called directly.

#include "Bench.h"
#include "Design.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include <dlfcn.h>

namespace {

template <class Allocate, class Free> void add(const char* peer, Allocate allocate, Free release) {
    for (const long size : {16, 64, 256, 1024}) {
        vqbench::add("new.delete", peer, size, [=](benchmark::State& state) {
            const auto bytes = static_cast<std::size_t>(size);
            void* const first = allocate(bytes);
            vqbench::require(first != nullptr, "a block");
            std::memset(first, 1, bytes);
            release(first);
            for (auto step : state) {
                void* block = allocate(bytes);
                benchmark::DoNotOptimize(block);
                release(block);
            }
        });
    }
}

#ifdef VQ_PEER_MIMALLOC
// Its names stay local, so that malloc remains libc's for everything else here.
void addMimalloc() {
    void* const library = dlopen(VQ_PEER_MIMALLOC, RTLD_LOCAL | RTLD_NOW);
    vqbench::require(library != nullptr, "the place of mimalloc");
    using Allocate = void* (*)(std::size_t);
    using Free = void (*)(void*);
    const auto allocate = reinterpret_cast<Allocate>(dlsym(library, "mi_malloc"));
    const auto release = reinterpret_cast<Free>(dlsym(library, "mi_free"));
    vqbench::require(allocate && release, "the form of mimalloc");
    const auto isIts =
        reinterpret_cast<bool (*)(const void*)>(dlsym(library, "mi_is_in_heap_region"));
    void* const plain = std::malloc(64);
    vqbench::require(isIts && !isIts(plain), "who serves malloc");
    std::free(plain);
    add("mimalloc", allocate, release);
}
#endif

const bool added = [] {
    add(
        "std", [](std::size_t n) { return ::operator new(n); },
        [](void* block) { ::operator delete(block); });
    add(
        "glibc", [](std::size_t n) { return std::malloc(n); },
        [](void* block) { std::free(block); });
    add(
        "bound.design", [](std::size_t n) { return bench::design()->memory()->allocate(n); },
        [](void* block) { bench::design()->memory()->deallocate(block); });
#ifdef VQ_PEER_MIMALLOC
    addMimalloc();
#endif
    return true;
}();

} // namespace
