#include "OS/LinuxCallStack.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <memory>

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

LightweightString<char> describe(void* address) {
    LightweightString<char> line;
    Dl_info info;
    // A call that never returns may be the last instruction of its function; what the return
    // address points at belongs to the next one then.
    if (::dladdr(static_cast<char*>(address) - 1, &info) == 0 || !info.dli_fname) {
        appendHex(line, reinterpret_cast<std::uintptr_t>(address));
        return line;
    }
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

} // namespace

CallStackLines describeCallStack(const void* nearest) {
    const Addresses addresses = returnAddresses();
    // What comes before is this library, and in a checked build the checker around backtrace().
    auto first = std::find(addresses.begin(), addresses.end(), nearest);
    if (first == addresses.end()) first = addresses.begin();
    CallStackLines lines;
    lines.reserve(static_cast<std::size_t>(addresses.end() - first));
    for (; first != addresses.end(); ++first) lines.push_back(describe(*first));
    return lines;
}

} // namespace Vq
