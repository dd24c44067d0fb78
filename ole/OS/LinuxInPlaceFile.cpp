#include "OS/LinuxInPlaceFile.h"

namespace Vq {

LinuxInPlaceFile::LinuxInPlaceFile(LinuxDescriptor descriptor, Kind kind) noexcept
    : LinuxOutputFile(kind == Kind::kRegular ? Buffering::kSmallWrites : Buffering::kNone),
      descriptor_(std::move(descriptor)) {}

bool LinuxInPlaceFile::publish() noexcept {
    return syncToDisk(descriptor_.number());
}

Vq::Ptr<iFile> openInPlace(const char* path, LinuxInPlaceFile::Kind kind) {
    const int truncate = kind == LinuxInPlaceFile::Kind::kRegular ? O_TRUNC : 0;
    LinuxDescriptor descriptor = openDescriptor(AT_FDCWD, path, O_WRONLY | truncate);
    if (!descriptor) return nullptr;
    return new LinuxInPlaceFile(std::move(descriptor), kind);
}

} // namespace Vq
