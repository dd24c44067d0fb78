#include "OS/LinuxInPlaceFile.h"

#include <cerrno>
#include <unistd.h>

namespace Vq {

namespace {

bool makeEmpty(int descriptor) noexcept {
    int result = 0;
    do {
        result = ::ftruncate(descriptor, 0);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

LinuxInPlaceFile::LinuxInPlaceFile(LinuxDescriptor descriptor, Kind kind) noexcept
    : LinuxOutputFile(kind == Kind::kRegular ? Buffering::kSmallWrites : Buffering::kNone),
      descriptor_(std::move(descriptor)), kind_(kind) {}

// Only now, since the old content should not go for a file that nobody gets to write.
bool LinuxInPlaceFile::begin() noexcept {
    return kind_ != Kind::kRegular || makeEmpty(descriptor_.number());
}

bool LinuxInPlaceFile::publish() noexcept {
    return syncToDisk(descriptor_.number());
}

Vq::Ptr<iFile> openInPlace(const char* path, LinuxInPlaceFile::Kind kind) {
    LinuxDescriptor descriptor = openDescriptor(AT_FDCWD, path, O_WRONLY);
    if (!descriptor) return nullptr;
    return LinuxOutputFile::handOut(new LinuxInPlaceFile(std::move(descriptor), kind));
}

} // namespace Vq
