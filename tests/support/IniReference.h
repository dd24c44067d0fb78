/// What an INI model holds, by its plainest definition: vectors searched from the front, characters
/// compared one by one. The tests hold `VqIniFile` against it.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

class VqIniFile;

namespace vqtest {

/// The lines of a buffer, by the rules for lines taken literally, in the "C" locale.
std::vector<std::string> referenceLines(std::string_view buffer, char separator);

/// Below 0, 0 or above: the order of section names, up to their first zero byte.
int referenceOrder(std::string_view a, std::string_view b, bool caseSensitive);

/// The name of the section of keys before any header.
inline constexpr std::string_view kAnonymous = "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@";

/// The lines of each section, as they print, in the order of the sections.
using Sections = std::vector<std::pair<std::string, std::vector<std::string>>>;

class IniReference {
public:
    explicit IniReference(bool caseSensitive) : caseSensitive_(caseSensitive) {}

    void load(std::string_view content, char separator);

    /// The section's lines; it is made where its name belongs when it is missing.
    std::vector<std::string>& section(std::string_view name);
    bool contains(std::string_view name) const;
    void remove(std::string_view name);

    const Sections& sections() const { return sections_; }

    /// The bytes of each write of a save that steps past the anonymous section.
    std::vector<std::string> writes() const;

private:
    void takeLine(std::string line, std::string& current);

    bool caseSensitive_;
    Sections sections_;
};

/// The content of a model, in the same terms.
Sections sectionsOf(const VqIniFile& ini);

} // namespace vqtest
