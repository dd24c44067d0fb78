/// `vq uuid ...`: identifiers made and taken apart.
#pragma once

#include "Report.h"

#include <string>

namespace vqtool {

/// Prints new identifiers, one a line: as many as `count` says, a decimal number from 1 up.
Status printNewIdentifiers(const std::string& count);

/// Prints the identifier that the text stands for: its text form, its bytes in memory order, its
/// variant and, where the variant has such, its version.
Status showIdentifier(const std::string& text);

} // namespace vqtool
