/// Files opened to be read.
#pragma once

#include "OS/LinuxDescriptor.h"

#include "Vq/Platform.h"

namespace Vq {

/// Anything that can be read but folders: regular files, and pipes and devices too, whose size is
/// 0.
class LinuxReadFile final : public iFile {
public:
    explicit LinuxReadFile(LinuxDescriptor descriptor) noexcept
        : descriptor_(std::move(descriptor)) {}

    /// All or nothing; after a failure the position is undefined.
    int read(void* buffer, unsigned int byteCount) override;

    /// Refused: 0.
    int write(const char* bytes, unsigned int length) override;

    /// The length at this moment; the file may be growing.
    unsigned long size() override;

private:
    LinuxDescriptor descriptor_;
};

/// Opens `path` to be read; empty when that is not possible or when it is a folder.
Vq::Ptr<iFile> openToRead(const char* path);

} // namespace Vq
