/// Runs a function in a child process, for what must not happen in the test's own: an operation
/// that never returns, a limit that cannot be taken back.
///
///     vqtest::Shared<std::atomic<bool>> begun;
///     vqtest::ChildProcess child([&] {
///         *begun = true;
///         return neverReturns();
///     });
///     EXPECT_FALSE(child.endsWithin(500ms));
///
/// Thread rule: confined. The child has the calling thread only.
#pragma once

#include <atomic>
#include <chrono>
#include <new>
#include <system_error>
#include <thread>
#include <type_traits>

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace vqtest {

/// An object that the test and its later children see alike.
template <class T> class Shared {
    static_assert(std::is_trivially_destructible_v<T>);

public:
    Shared() {
        void* memory =
            mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
        object_ = ::new (memory) T();
    }

    ~Shared() { munmap(object_, sizeof(T)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    T& operator*() const { return *object_; }
    T* operator->() const { return object_; }

private:
    T* object_;
};

class ChildProcess {
public:
    /// The child ends with the result of `body()` as its exit code; what it holds is not destroyed.
    template <class Body> explicit ChildProcess(Body body) : id_(forkWithNothingToFlush()) {
        if (id_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
        if (id_ == 0) _exit(body());
    }

    /// Ends the child if it still runs.
    ~ChildProcess() {
        if (ended_) return;
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool endsWithin(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!hasEnded() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return ended_;
    }

    /// The exit code of a child that has ended; below 0 when a signal ended it.
    int exitCode() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_); }

private:
    /// Else the child might write once more what waits in the buffers.
    static pid_t forkWithNothingToFlush() {
        std::fflush(nullptr);
        return fork();
    }

    bool hasEnded() {
        if (!ended_) ended_ = waitpid(id_, &status_, WNOHANG) == id_;
        return ended_;
    }

    pid_t id_;
    bool ended_ = false;
    int status_ = 0;
};

/// Does `operation()` fail to return? It runs in a child that is given half a second once it is
/// there, many times what it would need, and is then ended.
template <class Operation> bool neverReturns(Operation operation) {
    Shared<std::atomic<bool>> begun;
    ChildProcess child([&] {
        *begun = true;
        operation();
        return 0;
    });
    int patience = 60000;
    while (!*begun && !child.endsWithin(std::chrono::milliseconds(1)) && patience > 0) --patience;
    return *begun && !child.endsWithin(std::chrono::milliseconds(500));
}

} // namespace vqtest
