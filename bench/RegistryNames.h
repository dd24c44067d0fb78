/// What the registry and its peers are filled with, and what is asked of them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vqbench {

struct Registered {
    std::size_t number = 0;
};

inline std::string registeredName(std::size_t i) {
    return "pool.frames." + std::to_string(i);
}

inline std::vector<Registered> registeredObjects(std::size_t entries) {
    std::vector<Registered> objects(entries);
    for (std::size_t i = 0; i < entries; ++i) objects[i].number = i;
    return objects;
}

/// Names in an order that the processor cannot guess, the same in every run.
inline std::vector<std::string> namesToFind(std::size_t entries) {
    constexpr std::size_t kLookups = 4096; // a power of two: the next one costs no division
    std::vector<std::string> names;
    std::size_t next = 1;
    for (std::size_t i = 0; i < kLookups; ++i) {
        next = next * 6364136223846793005u + 1442695040888963407u;
        names.push_back(registeredName((next >> 33) % entries));
    }
    return names;
}

} // namespace vqbench
