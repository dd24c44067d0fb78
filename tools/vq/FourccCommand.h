/// `vq fourcc`: the codes under which recording formats are played out.
#pragma once

#include "Report.h"

#include <string>
#include <vector>

namespace vqtool {

/// Prints a line per code: the code as given, a tab and its playout code, which is text when its
/// four bytes are printable ASCII characters, else a decimal number. A code is a number, decimal or
/// behind "0x" hexadecimal, or text of four such characters; with `asText` it is always text.
/// Nothing is printed when any of them is no code.
Status printPlayoutCodes(const std::vector<std::string>& codes, bool asText);

} // namespace vqtool
