#include "OS/LinuxCpuInfo.h"

#include <unistd.h>

namespace Vq {

int LinuxCpuInfo::processorCount() {
    const long online = ::sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 1;
}

} // namespace Vq
