#include "OS/LinuxPlatform.h"

#include "OS/LinuxPlatformObject.h"

namespace Vq {

constexpr NeverDestroyed<LinuxPlatform> platform;

} // namespace Vq

iPlatform* linuxPlatform() {
    return Vq::linuxPlatformObject();
}
