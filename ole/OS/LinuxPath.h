/// Paths as the system takes them: bytes, parts divided by '/'.
///
/// Thread rule: safe.
#pragma once

#include <string>

namespace Vq {

/// The folder of what `path` names, "." when it has no folder part.
std::string folderOf(const std::string& path);

/// The last part of `path`, empty when it ends in '/'.
std::string nameIn(const std::string& path);

/// Can `path` be the path of a file? Not so without a last part, or when that is "." or "..".
bool namesFile(const std::string& path);

/// The text of the link `path`, empty when it is none.
std::string readLink(const std::string& path);

/// `path` with its last part followed through all links, as opening it would; what the last link
/// names need not exist. Empty when the links do not end.
std::string followLinks(std::string path);

} // namespace Vq
