/// Random identifiers.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// A random identifier of version 4 (RFC 4122): of its sixteen bytes in memory, byte 6 begins with
/// the bits 0100 and byte 8 with 10. The kernel is asked every time, so threads and the children of
/// a fork never share one. Throws `std::system_error` where the kernel gives no random bytes.
///
/// Thread rule: safe.
UuidWords randomUuid();

} // namespace Vq
