/// What is written about the tool's command line for other programs to show. Each function gives
/// the text of a file.
#pragma once

#include "Definitions.h"

#include <string>

namespace vqtool {

/// The page of section 1 for `man`.
std::string manPage(const Command& tool, const std::string& version, const std::string& date);

/// The completion for bash, to be sourced.
std::string bashCompletion(const Command& tool);

/// The completion for zsh, a function to be found in its `fpath`.
std::string zshCompletion(const Command& tool);

} // namespace vqtool
