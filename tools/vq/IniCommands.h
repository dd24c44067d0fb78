/// `vq ini ...`: settings files listed, queried and changed.
#pragma once

#include "Report.h"

#include <optional>
#include <string>

namespace vqtool {

/// Which file, and how its sections are named.
struct IniTarget {
    std::string file;
    bool ignoreCase = false;

    /// The section; none means the keys outside any section.
    std::optional<std::string> section;
};

/// The names of the sections, one a line.
Status listSections(const IniTarget& target);

/// The settings of the target's section as "key=value", one a line.
Status listSettings(const IniTarget& target);

/// The value of the first setting of that key, or of all of them.
Status getSetting(const IniTarget& target, const std::string& key, bool all);

/// Changes the first setting of that key, or adds one, and writes the file.
Status setSetting(const IniTarget& target, const std::string& key, const std::string& value);

/// Removes all settings of that key and writes the file.
Status removeSetting(const IniTarget& target, const std::string& key);

/// Removes the target's section and writes the file.
Status removeSection(const IniTarget& target);

/// Writes the file in the library's form.
Status formatFile(const IniTarget& target);

} // namespace vqtool
