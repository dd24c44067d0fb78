/// `vq meta`: image metadata in its text form, as named fields.
#pragma once

#include "Report.h"

#include <string>

namespace vqtool {

/// Prints what every line of the file (of standard input for "-") says: "line 1: Core", then a line
/// per field with two spaces, its name and, in one column, its value. The marks around a batch have
/// no fields, and empty lines are passed over. A line that is nothing of that is complained of with
/// its number, and the others are printed all the same.
Status printMetadata(const std::string& file);

} // namespace vqtool
