#include "OS/LinuxInPlaceFile.h"

#include <unistd.h>

namespace Vq {

LinuxInPlaceFile::LinuxInPlaceFile(LinuxDescriptor descriptor, Kind kind) noexcept
    : LinuxOutputFile(kind == Kind::kRegular ? Buffering::kSmallWrites : Buffering::kNone),
      descriptor_(std::move(descriptor)), kind_(kind) {}

// Only now, since the old content should not go for a file that nobody gets to write.
bool LinuxInPlaceFile::begin() noexcept {
    return kind_ != Kind::kRegular || ::ftruncate(descriptor_.number(), 0) == 0;
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
