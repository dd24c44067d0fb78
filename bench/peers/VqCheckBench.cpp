// The same by what the system offers: the addresses, the name of each, its demangled form.

#include "ThrowWorkload.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

namespace {

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

struct Dladdr {
    static constexpr const char* kName = "dladdr";
    struct Error {
        std::string message;
        std::vector<std::string> callStack;
    };
    static Error make() { return {"message", callStack()}; }
    static std::size_t frames(const Error& error) { return error.callStack.size(); }
};

[[maybe_unused]] const bool added = [] {
    vqbench::addThrow<Dladdr>();
    return true;
}();

} // namespace
