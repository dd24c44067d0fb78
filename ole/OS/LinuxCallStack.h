/// The calling thread's stack as text.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/StdAllocator.h"

#include <vector>

namespace Vq {

using CallStackLines = std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>;

/// One line per frame, from the one that `nearest` returns to outwards to the start of the thread:
///
///     Vq::LogTimed(char const*) + 0x5b (/usr/lib/libVq.so.14 + 0x2a1f)
///     main + 0x31 (./player + 0x11f6)
///     ./player + 0x10a3
///     0x7f3fd0a412e0
///
/// with less of it where less is known: only names that a library or program exports are known.
/// Takes some microseconds per frame the first time that it is met, and later a tenth of that; the
/// child of a fork of several threads takes the time always. Throws what the memory service throws.
///
/// Thread rule: safe.
CallStackLines describeCallStack(const void* nearest);

} // namespace Vq
