/// `vq ini check`: what in a settings file is likely not meant.
#pragma once

#include "Report.h"

#include <string>

namespace vqtool {

/// Prints a line "FILE:LINE: finding" for each finding, in the order of lines; `kFailed` when there
/// is any or the file could not be read. Linear in the size of the file.
Status checkIniFile(const std::string& file, bool ignoreCase);

} // namespace vqtool
