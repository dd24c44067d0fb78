/// Random identifiers.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// A random identifier of version 4 (RFC 4122): of its sixteen bytes in memory, byte 6 begins with
/// the bits 0100 and byte 8 with 10. Throws `std::system_error` where the kernel gives no random
/// bytes.
///
/// The kernel is asked for 32 at a time, which each thread keeps for itself; what a child of a fork
/// finds there it throws away, so threads and children never share one. Only a copy of a running
/// process by other means, such as a snapshot of its machine, may repeat up to 32 for each thread.
///
/// Thread rule: safe.
UuidWords randomUuid();

} // namespace Vq
