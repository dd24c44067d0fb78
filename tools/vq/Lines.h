/// Reading files through the platform, and the lines in them.
#pragma once

#include "Progress.h"

#include "Vq/Platform.h"
#include "Vq/Ptr.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vqtool {

/// The file, to be read from its start, or nothing after a complaint.
Vq::Ptr<iFile> openToRead(const std::string& path);

/// Is there nothing left to read? Pipes and files that the system makes up tell a size of 0 and
/// hold more: taken for empty, they would be answered wrongly or, worse, written back as such.
bool isAtEnd(iFile& file);

/// Takes a piece of what is read; false ends the reading.
using TakePiece = std::function<bool(std::string_view)>;

/// Passes everything in the file to `take`, piece by piece; false after a complaint.
bool readInPieces(const std::string& path, Progress& progress, const TakePiece& take);

/// The same for standard input, in pieces as they come.
bool readStandardInputInPieces(Progress& progress, const TakePiece& take);

/// Standard input in complaints.
inline constexpr const char* kStandardInput = "standard input";

/// Everything in the file, or nothing after a complaint.
std::optional<std::string> readFile(const std::string& path);

/// `text` without the spaces and tabs at its ends.
std::string_view trimmed(std::string_view text);

/// A line of `text` as the library's loader would pass it on, taken off its front: cut at the line
/// feed, without control characters and spaces at its ends. Unlike the loader, which drops what is
/// not printable in the locale, this leaves a value that ends in a non-ASCII letter whole: a
/// program that writes the file back must not lose a byte of it.
std::string_view takeLine(std::string_view& text);

/// Is there text in brackets, so that the line is a section's header?
bool isHeader(std::string_view line);

/// The name in a header.
std::string_view headerName(std::string_view header);

/// Does the line begin with ';' or '#'? To the library it is a line like any other.
bool isComment(std::string_view line);

/// Is the line a setting: no comment, and with a '='?
bool isSetting(std::string_view line);

/// The name and the value of a setting, trimmed.
std::string_view settingName(std::string_view setting);
std::string_view settingValue(std::string_view setting);

} // namespace vqtool
