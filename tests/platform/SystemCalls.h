/// Stands between the libraries and some system calls: counts them, makes them fail, be interrupted
/// or stop half-way, which no real disk does on demand.
///
///     vqtest::SystemCalls calls;
///     calls.fail(SystemCall::kWrite, ENOSPC);
///     EXPECT_EQ(file->write("x", 1), 0);
///
/// The program defines these functions itself, so that the libraries reach them in place of those
/// of libc. They go straight to the kernel while no object of this class is there.
///
/// Thread rule: confined. Only the thread that made the object meets it.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <string>

namespace vqtest {

/// Of each, the variant that libOS uses.
enum class SystemCall { kOpen, kRead, kWrite, kSync, kRename, kRandom, kTruncate };

class SystemCalls {
public:
    static constexpr int kAlways = std::numeric_limits<int>::max();

    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    /// After `first` calls from now that go through, `times` calls fail with `error`.
    void fail(SystemCall call, int error, int times = kAlways, int first = 0);

    /// Reads, writes and random bytes come in pieces of at most `bytes`.
    void limitPieces(std::size_t bytes) { piece_ = bytes; }

    int count(SystemCall call) const { return of(call).count; }

    /// The permission bits that the last file created was asked for.
    unsigned creationMode() const { return creationMode_; }
    void noteCreation(unsigned mode) { creationMode_ = mode; }

    /// All calls in the order they came: 'o', 'r', 'w', 's' (sync), 'm' (rename), '?' (random),
    /// 't' (truncate).
    const std::string& order() const { return order_; }

    /// For the functions themselves: notes a call; true when it is to fail, with `errno` set.
    bool refuses(SystemCall call);
    std::size_t piece(std::size_t wanted) const { return wanted < piece_ ? wanted : piece_; }

private:
    struct Script {
        int count = 0;
        int before = 0; ///< calls that still go through
        int failures = 0;
        int error = 0;
    };

    Script& of(SystemCall call) { return scripts_[static_cast<std::size_t>(call)]; }
    const Script& of(SystemCall call) const { return scripts_[static_cast<std::size_t>(call)]; }

    std::array<Script, 7> scripts_;
    std::size_t piece_ = std::numeric_limits<std::size_t>::max();
    unsigned creationMode_ = 0;
    std::string order_;
};

} // namespace vqtest
