/// The platform object as the files of this library reach it: without the look-up that an exported
/// function costs at every call, and without a call at all, since OS() lies below everything.
#pragma once

#include "OS/LinuxAtomics.h"
#include "OS/LinuxCpuInfo.h"
#include "OS/LinuxFileSystem.h"
#include "OS/LinuxFolders.h"
#include "OS/LinuxMemory.h"
#include "OS/LinuxSync.h"
#include "OS/LinuxSystemUtils.h"
#include "OS/NeverDestroyed.h"
#include "Vq/Platform.h"

namespace Vq {

class LinuxPlatform final : public iPlatform {
public:
    constexpr LinuxPlatform() = default;

    iMemory* memory() override { return &memory_; }
    iSystemUtils* utils() override { return &utils_; }
    iFileSystem* fileSystem() override { return &fileSystem_; }
    iSyncFactory* sync() override { return &sync_; }
    iAtomics* atomics() override { return &atomics_; }
    iCPUInfo* cpu() override { return &cpu_; }
    iFolders* folders() override { return &folders_; }

private:
    LinuxMemory memory_;
    LinuxSystemUtils utils_;
    LinuxFileSystem fileSystem_;
    LinuxSync sync_;
    LinuxAtomics atomics_;
    LinuxCpuInfo cpu_;
    LinuxFolders folders_;
};

extern const NeverDestroyed<LinuxPlatform> platform;

/// What `linuxPlatform()` returns: an address, without a call. Thread rule: safe.
inline iPlatform* linuxPlatformObject() {
    return &platform.get();
}

} // namespace Vq
