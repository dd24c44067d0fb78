/// Small system queries: processor count, clock, checksum.
///
///     const double start = Vq::now();
///     work();
///     Vq::LogTimed("took %.1f ms\n", Vq::now() - start);
///
/// Thread rule: safe.
#pragma once

#include "Vq/detail/Export.h"

namespace Vq {

namespace CPUInfo {

/// The machine's processors. The platform is asked at the first call and its answer kept; an answer
/// of 0 is not kept, so the next call asks again. Threads that call first together may each ask.
VQ_EXPORT int getNumProcessors();

} // namespace CPUInfo

/// The platform's clock in milliseconds, with fractions. It never goes backwards; its epoch is the
/// platform's, so only differences mean something.
VQ_EXPORT double now();

/// `now()` in seconds.
VQ_EXPORT double SecondsNow();

/// The library's own 32-bit checksum: the remainder of the bits, least significant of each byte
/// first, divided by x^32 + x^5 + x^3 + x^2 + 1, with no initial value, no appended zero bits and
/// no final inversion. It is **not** the CRC-32 of archives and networks. A block of up to four
/// bytes is its own checksum, bits reversed within each byte, and leading zero bytes change
/// nothing. Safe.
namespace CRC {

/// Feeds one byte into a running checksum; only its eight bits count, whatever its sign.
VQ_EXPORT unsigned int IterateCRC32(char byte, unsigned int crc);

/// The checksum of `length` bytes, 0 for none (`data` may then be null).
VQ_EXPORT unsigned int CalculateCRC32ForBlock(const void* data, unsigned long length);

} // namespace CRC

} // namespace Vq
