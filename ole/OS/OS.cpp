// OS() stands alone in this file: a program that defines its own replaces it for every library, and
// nothing beside it could be compiled as if it were fixed.

#include "OS/LinuxPlatformObject.h"

iPlatform* OS() {
    return Vq::linuxPlatformObject();
}
