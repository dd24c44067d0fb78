#include "OS/LinuxDescriptor.h"

#include <cerrno>
#include <unistd.h>

namespace Vq {

LinuxDescriptor::~LinuxDescriptor() {
    // Not repeated when interrupted: the descriptor is gone then, and its number may be another's.
    if (number_ != kNone) ::close(number_);
}

LinuxDescriptor openDescriptor(int folder, const char* path, int flags, mode_t mode) noexcept {
    int number = -1;
    do {
        number = ::openat(folder, path, flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (number < 0 && errno == EINTR);
    return LinuxDescriptor(number);
}

bool readAll(int descriptor, void* buffer, std::size_t count) noexcept {
    auto* to = static_cast<char*>(buffer);
    while (count > 0) {
        const ssize_t got = ::read(descriptor, to, count);
        if (got == 0 || (got < 0 && errno != EINTR)) return false;
        if (got < 0) continue;
        to += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

bool writeAll(int descriptor, const char* bytes, std::size_t count) noexcept {
    while (count > 0) {
        const ssize_t taken = ::write(descriptor, bytes, count);
        if (taken == 0 || (taken < 0 && errno != EINTR)) return false;
        if (taken < 0) continue;
        bytes += taken;
        count -= static_cast<std::size_t>(taken);
    }
    return true;
}

bool syncToDisk(int descriptor) noexcept {
    int result = 0;
    do {
        result = ::fsync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP || errno == ENOSYS;
}

} // namespace Vq
