/// The platform object as the files of this library reach it: without the look-up that an exported
/// function costs at every call.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// What `linuxPlatform()` returns. Thread rule: safe.
iPlatform* linuxPlatformObject();

} // namespace Vq
