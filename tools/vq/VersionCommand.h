/// `vq version`: what the library says of itself.
#pragma once

#include "Report.h"

namespace vqtool {

/// Prints the version of the library that the tool runs on, and its label.
Status printVersion();

} // namespace vqtool
