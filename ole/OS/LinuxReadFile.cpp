#include "OS/LinuxReadFile.h"

#include <sys/stat.h>

namespace Vq {

int LinuxReadFile::read(void* buffer, unsigned int byteCount) {
    return readAll(descriptor_.number(), buffer, byteCount) ? 1 : 0;
}

int LinuxReadFile::write(const char* /*bytes*/, unsigned int /*length*/) {
    return 0;
}

unsigned long LinuxReadFile::size() {
    struct stat status;
    if (::fstat(descriptor_.number(), &status) != 0) return 0;
    return static_cast<unsigned long>(status.st_size);
}

Vq::Ptr<iFile> openToRead(const char* path) {
    LinuxDescriptor descriptor = openDescriptor(AT_FDCWD, path, O_RDONLY);
    if (!descriptor) return nullptr;
    struct stat status;
    if (::fstat(descriptor.number(), &status) != 0 || S_ISDIR(status.st_mode)) return nullptr;
    return new LinuxReadFile(std::move(descriptor));
}

} // namespace Vq
