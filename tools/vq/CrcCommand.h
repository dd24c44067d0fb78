/// `vq crc`: the library's checksum of files.
#pragma once

#include "Report.h"

#include <string>
#include <vector>

namespace vqtool {

/// Prints a line per file: the checksum in eight hexadecimal digits, two spaces, the name. A file
/// that cannot be read is complained of, and the others are printed all the same.
Status printChecksums(const std::vector<std::string>& files);

} // namespace vqtool
