/// File descriptors, and the system calls that may stop half-way.
#pragma once

#include <cstddef>
#include <fcntl.h>
#include <utility>

namespace Vq {

/// Owns an open descriptor, or none. Confined.
class LinuxDescriptor {
public:
    LinuxDescriptor() noexcept = default;
    explicit LinuxDescriptor(int number) noexcept : number_(number) {}
    LinuxDescriptor(LinuxDescriptor&& other) noexcept
        : number_(std::exchange(other.number_, kNone)) {}
    LinuxDescriptor& operator=(LinuxDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~LinuxDescriptor();

    int number() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ != kNone; }

private:
    static constexpr int kNone = -1;

    int number_ = kNone;
};

/// `openat`, not inherited by other programs and never the controlling terminal. Empty on failure,
/// with the reason in `errno`.
LinuxDescriptor openDescriptor(int folder, const char* path, int flags, mode_t mode = 0) noexcept;

/// Reads exactly `count` bytes; false when there are not as many or on an error.
bool readAll(int descriptor, void* buffer, std::size_t count) noexcept;

/// Writes all `count` bytes; false on an error, after which some of them may have been written.
bool writeAll(int descriptor, const char* bytes, std::size_t count) noexcept;

/// Waits until what was written to a file, or what was renamed in a folder, is on the disk. True as
/// well for what cannot be synced, as a pipe: there is nothing to wait for.
bool syncToDisk(int descriptor) noexcept;

} // namespace Vq
