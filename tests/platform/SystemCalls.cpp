#include "platform/SystemCalls.h"

#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vqtest {

namespace {

constinit thread_local SystemCalls* active = nullptr;

} // namespace

SystemCalls::SystemCalls() {
    active = this;
}

SystemCalls::~SystemCalls() {
    active = nullptr;
}

void SystemCalls::fail(SystemCall call, int error, int times, int first) {
    Script& script = of(call);
    script.before = first;
    script.failures = times;
    script.error = error;
}

bool SystemCalls::refuses(SystemCall call) {
    constexpr char kLetters[] = "orwsm?t";
    order_ += kLetters[static_cast<std::size_t>(call)];
    Script& script = of(call);
    ++script.count;
    if (script.failures == 0 || script.before-- > 0) return false;
    script.before = 0;
    --script.failures;
    errno = script.error;
    return true;
}

namespace {

bool refused(SystemCall call) {
    return active && active->refuses(call);
}

std::size_t pieceOf(std::size_t wanted) {
    return active ? active->piece(wanted) : wanted;
}

} // namespace

} // namespace vqtest

using vqtest::SystemCall;

#define VQTEST_INSTEAD_OF_LIBC [[gnu::visibility("default")]]

extern "C" {

VQTEST_INSTEAD_OF_LIBC int openat(int folder, const char* path, int flags, ...) {
    if (vqtest::refused(SystemCall::kOpen)) return -1;
    std::va_list rest;
    va_start(rest, flags);
    const bool creates = (flags & O_CREAT) != 0;
    const unsigned mode = creates ? va_arg(rest, unsigned) : 0;
    va_end(rest);
    if (creates && vqtest::active) vqtest::active->noteCreation(mode);
    return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

VQTEST_INSTEAD_OF_LIBC ssize_t read(int descriptor, void* buffer, size_t count) {
    if (vqtest::refused(SystemCall::kRead)) return -1;
    return syscall(SYS_read, descriptor, buffer, vqtest::pieceOf(count));
}

VQTEST_INSTEAD_OF_LIBC ssize_t write(int descriptor, const void* bytes, size_t count) {
    if (vqtest::refused(SystemCall::kWrite)) return -1;
    return syscall(SYS_write, descriptor, bytes, vqtest::pieceOf(count));
}

VQTEST_INSTEAD_OF_LIBC int fsync(int descriptor) {
    if (vqtest::refused(SystemCall::kSync)) return -1;
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

VQTEST_INSTEAD_OF_LIBC int renameat(int oldFolder, const char* oldName, int newFolder,
                                    const char* newName) noexcept {
    if (vqtest::refused(SystemCall::kRename)) return -1;
    return static_cast<int>(syscall(SYS_renameat, oldFolder, oldName, newFolder, newName));
}

VQTEST_INSTEAD_OF_LIBC int ftruncate(int descriptor, off_t length) noexcept {
    if (vqtest::refused(SystemCall::kTruncate)) return -1;
    return static_cast<int>(syscall(SYS_ftruncate, descriptor, length));
}

VQTEST_INSTEAD_OF_LIBC ssize_t getrandom(void* buffer, size_t count, unsigned flags) {
    if (vqtest::refused(SystemCall::kRandom)) return -1;
    return syscall(SYS_getrandom, buffer, vqtest::pieceOf(count), flags);
}
}
