/// The FourCC under which a recording format is played out.
#pragma once

#include "Vq/detail/Export.h"

namespace Vq {

/// The playout code for a video compression code: recording-format variants collapse onto the code
/// of their family, a few small numeric identifiers onto three FourCCs, and any other code comes
/// back unchanged. FourCCs are packed with their first character in the lowest byte.
///
///     Vq::lookupPlayoutFCC(0x20637664); // "dvc ": 0x64737664, "dvsd", as for "dvcp" and "CDVC"
///     Vq::lookupPlayoutFCC(1235);       // 0x78645641, "AVdx"
///     Vq::lookupPlayoutFCC(1236);       // 1236
///
/// Costs a binary search among some ninety codes.
///
/// Thread rule: safe.
VQ_EXPORT unsigned int lookupPlayoutFCC(unsigned int code) noexcept;

} // namespace Vq
