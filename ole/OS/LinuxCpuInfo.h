/// What is asked of the processor.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe.
class LinuxCpuInfo final : public iCPUInfo {
public:
    constexpr LinuxCpuInfo() = default;

    /// Processors that are switched on, at least 1.
    int processorCount() override;
};

} // namespace Vq
