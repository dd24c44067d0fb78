/// How much memory a piece of work has at its highest point, as the kernel counts it.
#pragma once

#include "Bench.h"

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace vqbench {

/// Runs `work` in a child process, which has none of what it leaves behind in its caller's.
template <class Work> void inChild(Work work) {
    const pid_t child = ::fork();
    require(child >= 0, "fork");
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = 1;
    ::waitpid(child, &status, 0);
    require(status == 0, "the child");
}

/// Bytes of the line of /proc/self/status that begins with `key`.
inline double memoryOf(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.starts_with(key)) return 1024 * std::stod(line.substr(key.size() + 1));
    }
    return 0;
}

/// The bytes in memory while `work` runs, at most, beyond what was there before.
template <class Work> double peakOf(Work work) {
    int ends[2];
    require(::pipe(ends) == 0, "pipe");
    inChild([&] {
        std::ofstream("/proc/self/clear_refs") << 5; // the highest is what there is now
        const double before = memoryOf("VmRSS");
        work();
        const double peak = memoryOf("VmHWM") - before;
        require(::write(ends[1], &peak, sizeof peak) == sizeof peak, "the pipe");
    });
    double peak = 0;
    require(::read(ends[0], &peak, sizeof peak) == sizeof peak, "the pipe");
    ::close(ends[0]);
    ::close(ends[1]);
    return peak;
}

} // namespace vqbench
