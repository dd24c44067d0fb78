/// Want of memory that is real: the process may have no more addresses.
///
///     {
///         const NoMoreAddressSpace limit;
///         EXPECT_THROW(memory()->allocate(std::size_t{64} << 20), std::bad_alloc);
///     }
#pragma once

#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

namespace vqtest {

/// Keeps the address space of the process from growing by more than 32 MiB.
class NoMoreAddressSpace {
public:
    NoMoreAddressSpace() {
        getrlimit(RLIMIT_AS, &before_);
        unsigned long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        rlimit limit = before_;
        limit.rlim_cur = pages * static_cast<unsigned long>(sysconf(_SC_PAGESIZE)) + kSlack;
        setrlimit(RLIMIT_AS, &limit);
    }
    ~NoMoreAddressSpace() { setrlimit(RLIMIT_AS, &before_); }
    NoMoreAddressSpace(const NoMoreAddressSpace&) = delete;
    NoMoreAddressSpace& operator=(const NoMoreAddressSpace&) = delete;

private:
    static constexpr unsigned long kSlack = 32UL << 20;

    rlimit before_ = {};
};

} // namespace vqtest
