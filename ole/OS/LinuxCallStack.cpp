#include "OS/LinuxCallStack.h"

#include "OS/CallStackCache.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <memory>
#include <optional>
#include <pthread.h>
#include <string_view>
#include <sys/single_threaded.h>

namespace Vq {

namespace {

using Addresses = std::vector<void*, StdAllocator<void*>>;

struct Free {
    void operator()(void* block) const noexcept { std::free(block); }
};

/// The return addresses of the whole stack, this function's own first.
Addresses returnAddresses() {
    Addresses addresses(64);
    for (;;) {
        const int found = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
        if (static_cast<std::size_t>(found) < addresses.size()) {
            addresses.resize(static_cast<std::size_t>(found));
            return addresses;
        }
        addresses.resize(2 * addresses.size()); // cut short, or just full
    }
}

void appendHex(LightweightString<char>& line, std::uintptr_t value) {
    char digits[2 + 16 + 1];
    std::snprintf(digits, sizeof digits, "0x%lx", value);
    line.append(digits);
}

void appendOffset(LightweightString<char>& line, const void* address, const void* start) {
    line.append(" + ");
    appendHex(line,
              reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(start));
}

void appendSymbol(LightweightString<char>& line, const char* symbol) {
    int status = 0;
    const std::unique_ptr<char, Free> demangled(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status));
    line.append(demangled ? demangled.get() : symbol);
}

constinit CallStackCache known;

constinit std::atomic<bool> loaderAnswers{false}; // before the library is loaded nobody asks
constinit bool wasOneThread = false;              // written before a fork, read after it

/// The loader's lock is not made anew in the child of a fork: if another thread had it, who asks
/// would wait for ever. Forks are watched from the time that the library is loaded, since the first
/// to ask may be such a child.
[[gnu::constructor]] void watchForks() {
    const int failure =
        ::pthread_atfork([] { wasOneThread = __libc_single_threaded != 0; }, nullptr,
                         [] {
                             if (!wasOneThread) loaderAnswers = false;
                         });
    loaderAnswers = failure == 0;
}

/// How often a library was unloaded so far: until the next time, an address in a library that the
/// calling thread is in the middle of is in the same one. Nothing where that cannot be asked.
std::optional<CallStackCache::Generation> countUnloads() {
    if (!loaderAnswers) return std::nullopt;
    CallStackCache::Generation count = 0;
    // One library is enough, each is told along with the same numbers.
    ::dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* found) {
            *static_cast<CallStackCache::Generation*>(found) = info->dlpi_subs;
            return 1;
        },
        &count);
    return count;
}

/// False when the address is in no library.
bool findPlace(void* address, Dl_info& info) {
    // A call that never returns may be the last instruction of its function; what the return
    // address points at belongs to the next one then.
    return ::dladdr(static_cast<char*>(address) - 1, &info) != 0 && info.dli_fname;
}

LightweightString<char> describe(void* address, const Dl_info& info) {
    LightweightString<char> line;
    if (info.dli_sname) {
        appendSymbol(line, info.dli_sname);
        appendOffset(line, address, info.dli_saddr);
        line.append(" (");
    }
    line.append(info.dli_fname);
    appendOffset(line, address, info.dli_fbase);
    if (info.dli_sname) line.append(")");
    return line;
}

LightweightString<char> describe(void* address, std::optional<CallStackCache::Generation> unloads) {
    CallStackCache::Line before;
    if (unloads && known.find(address, *unloads, before)) {
        return LightweightString<char>(std::string_view(before));
    }
    LightweightString<char> line;
    Dl_info info;
    if (!findPlace(address, info)) {
        // Not kept: no unloading tells when it becomes one of a library.
        appendHex(line, reinterpret_cast<std::uintptr_t>(address));
        return line;
    }
    line = describe(address, info);
    if (unloads) known.keep(address, *unloads, line);
    return line;
}

} // namespace

CallStackLines describeCallStack(const void* nearest) {
    const Addresses addresses = returnAddresses();
    // What comes before is this library, and in a checked build the checker around backtrace().
    auto first = std::find(addresses.begin(), addresses.end(), nearest);
    if (first == addresses.end()) first = addresses.begin();
    const std::optional<CallStackCache::Generation> unloads = countUnloads();
    CallStackLines lines;
    lines.reserve(static_cast<std::size_t>(addresses.end() - first));
    for (; first != addresses.end(); ++first) lines.push_back(describe(*first, unloads));
    return lines;
}

} // namespace Vq
