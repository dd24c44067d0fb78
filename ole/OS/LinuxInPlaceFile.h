/// Files written where they stand.
#pragma once

#include "OS/LinuxDescriptor.h"
#include "OS/LinuxOutputFile.h"

namespace Vq {

/// A device, a pipe, or a regular file whose folder cannot take a new one. What was written stays
/// written when a later write fails. Devices and pipes are written without a buffer, so that what
/// is at their other end sees every write at once.
class LinuxInPlaceFile final : public LinuxOutputFile {
public:
    enum class Kind { kRegular, kOther };

    LinuxInPlaceFile(LinuxDescriptor descriptor, Kind kind) noexcept;
    ~LinuxInPlaceFile() override { release(); }

private:
    bool begin() noexcept override;
    int target() const noexcept override { return descriptor_.number(); }
    bool publish() noexcept override;
    void discard() noexcept override {}

    LinuxDescriptor descriptor_;
    const Kind kind_;
};

/// Opens `path`, which exists, and empties it when it is a regular file; an empty handle when it
/// cannot be opened.
Vq::Ptr<iFile> openInPlace(const char* path, LinuxInPlaceFile::Kind kind);

} // namespace Vq
