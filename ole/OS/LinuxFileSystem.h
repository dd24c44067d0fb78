/// Files and the application's place among them.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe.
class LinuxFileSystem final : public iFileSystem {
public:
    constexpr LinuxFileSystem() = default;

    /// (1, 0, 1, 0) and (2, 3, 0, 0) as LinuxPlatform.h says; every other combination, the empty
    /// path and a path with a zero character in it give an empty handle.
    Vq::Ptr<iFile> openFile(const LightweightString<wchar_t>& path, int access, int disposition,
                            int sharing, int options) override;

    /// The name set, else that of the executable.
    LightweightString<wchar_t> applicationName() override;

    wchar_t pathSeparator() override { return L'/'; }
};

} // namespace Vq
