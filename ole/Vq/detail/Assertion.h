/// The one way in which the library reports a broken invariant that must not stop the program.
#pragma once

namespace Vq::detail {

/// Prints the line for a failed assertion to standard output and returns. `place` is the source
/// file, without extension, and the line.
void reportFailedAssertion(const char* condition, const char* place);

} // namespace Vq::detail
