#include "OS/LinuxUuid.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sys/random.h>
#include <system_error>

namespace Vq {

namespace {

void fillRandom(unsigned char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t got = ::getrandom(bytes, count, 0);
        if (got > 0) {
            bytes += got;
            count -= static_cast<std::size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
    }
}

} // namespace

UuidWords randomUuid() {
    unsigned char bytes[sizeof(UuidWords)];
    fillRandom(bytes, sizeof bytes);
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    UuidWords words;
    std::memcpy(&words, bytes, sizeof words);
    return words;
}

} // namespace Vq
