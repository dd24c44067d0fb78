// The same by what the system offers: the addresses, the name of each, its demangled form.

#include "Bench.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

namespace {

constexpr std::size_t kFrames = 20;

struct Error {
    std::string message;
    std::vector<std::string> callStack;
};

std::string describe(void* address) {
    Dl_info info;
    if (dladdr(static_cast<char*>(address) - 1, &info) == 0 || !info.dli_fname) return "?";
    std::string line;
    if (info.dli_sname) {
        int status = 0;
        char* const name = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
        line = name ? name : info.dli_sname;
        std::free(name);
        line += " in ";
    }
    return line + info.dli_fname;
}

[[gnu::noinline]] std::vector<std::string> callStack() {
    std::array<void*, 256> addresses;
    const int count = backtrace(addresses.data(), static_cast<int>(addresses.size()));
    std::vector<std::string> lines;
    lines.reserve(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        lines.push_back(describe(addresses[i]));
    }
    return lines;
}

[[gnu::noinline]] void throwAtDepth(std::size_t depth) {
    if (depth == 0) throw Error{"message", callStack()};
    throwAtDepth(depth - 1);
    asm volatile(""); // work after the call keeps it a call
}

std::size_t framesAtDepth(std::size_t depth) {
    try {
        throwAtDepth(depth);
    } catch (const Error& error) {
        return error.callStack.size();
    }
    return 0;
}

void throwStack(benchmark::State& state) {
    std::size_t depth = 0;
    while (framesAtDepth(depth) < kFrames) ++depth;
    vqbench::require(framesAtDepth(depth) == kFrames, "the number of frames");
    for (auto step : state) benchmark::DoNotOptimize(framesAtDepth(depth));
}

[[maybe_unused]] const bool added = [] {
    vqbench::add("throw.stack", "dladdr", kFrames, throwStack);
    return true;
}();

} // namespace
