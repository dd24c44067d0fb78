/// Well-known folders.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe.
class LinuxFolders final : public iFolders {
public:
    constexpr LinuxFolders() = default;

    /// As LinuxPlatform.h says; ends in '/'. The folder need not exist.
    LightweightString<wchar_t> getFolder(int kind) override;
};

} // namespace Vq
