#include "IniCommands.h"

#include "Lines.h"

#include "Vq/String.h"
#include "Vq/VqIniFile.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace vqtool {

namespace {

using Text = LightweightString<char>;
using Section = VqIniFile::Section;
using Vq::AttribValuePair;

Text textOf(std::string_view text) {
    return Text(text);
}

enum class Access { kRead, kChange };

/// Would taking the lines apart and writing them again lose zero bytes? So it is with UTF-16, which
/// has them beside every line end.
bool hasZeroBytesAtLineEnds(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::string_view rest = bytes;
        const std::string_view line = takeLine(bytes);
        const std::string_view taken = rest.substr(0, rest.size() - bytes.size());
        if (std::count(taken.begin(), taken.end(), '\0') !=
            std::count(line.begin(), line.end(), '\0')) {
            return true;
        }
    }
    return false;
}

/// A settings file in memory, with every byte of its lines; takeLine says why `VqIniFile::load`
/// would not do.
std::optional<VqIniFile> load(const IniTarget& target, Access access) {
    const std::optional<std::string> bytes = readFile(target.file);
    if (!bytes) return std::nullopt;
    if (access == Access::kChange && hasZeroBytesAtLineEnds(*bytes)) {
        complain(target.file, "has zero bytes at the ends of lines and is left as it is");
        return std::nullopt;
    }
    VqIniFile::SectionMap sections(VqIniFile_Private::StringLT_Fancy(!target.ignoreCase));
    SectionsBuildingOutputIterator sink(&sections);
    for (std::string_view rest = *bytes; !rest.empty();) sink = textOf(takeLine(rest));

    VqIniFile model(!target.ignoreCase);
    for (auto& [name, pairs] : sections) model.getSection(name) = std::move(pairs);
    return model;
}

Status save(VqIniFile& model, const IniTarget& target) {
    if (model.saveAll(fromUTF8(textOf(target.file)))) return kDone;
    return complain(target.file, "could not be written");
}

Text sectionName(const IniTarget& target) {
    return target.section ? textOf(*target.section) : VqIniFile::kAnonymousSection();
}

/// Where the target's settings stand, in words.
std::string placeOf(const IniTarget& target) {
    return target.section ? joined({"in section [", *target.section, "]"}) : "outside the sections";
}

Status noSuchSection(const IniTarget& target) {
    return complain(target.file, target.section ? joined({"no section [", *target.section, "]"})
                                                : "no lines outside the sections");
}

Status noSuchKey(const IniTarget& target, const std::string& key) {
    return complain(target.file, joined({"no key '", key, "' ", placeOf(target)}));
}

bool isSettingOf(const AttribValuePair& pair, std::string_view key) {
    return isSetting(pair.text()) && settingName(pair.text()) == key;
}

/// The line that says `key` = `value`, with the spacing around '=' of `model`.
std::string settingLine(std::string_view key, std::string_view value, std::string_view model) {
    if (model.empty()) return joined({key, "=", value});
    const std::size_t start = model.find_first_not_of(" \t", model.find('=') + 1);
    return joined({model.substr(0, start), value});
}

/// Would `line`, read again, be the setting of that key with that value?
bool readsBack(std::string_view line, std::string_view key, std::string_view value) {
    std::string_view rest = line;
    const std::string_view read = takeLine(rest);
    return !key.empty() && rest.empty() && !read.starts_with('[') && isSetting(read) &&
           settingName(read) == key && settingValue(read) == value;
}

/// Would a header of the section's name, read again, name the same section?
bool headerReadsBack(const IniTarget& target) {
    const std::string& section = *target.section;
    const std::string header = joined({"[", section, "]"});
    std::string_view rest = header;
    const std::string_view read = takeLine(rest);
    // What the model takes for the reserved name depends on the case as all sections' names do.
    const VqIniFile_Private::StringLT_Fancy less(!target.ignoreCase);
    const Text& reserved = VqIniFile::kAnonymousSection();
    const bool isReserved = !less(textOf(section), reserved) && !less(reserved, textOf(section));
    return rest.empty() && read == header && !isReserved;
}

} // namespace

Status listSections(const IniTarget& target) {
    std::optional<VqIniFile> model = load(target, Access::kRead);
    if (!model) return kFailed;
    for (auto section = model->getSectionIterator(); section.valid(); ++section) {
        if (section.name() != VqIniFile::kAnonymousSection()) printLine({section.name()});
    }
    return kDone;
}

Status listSettings(const IniTarget& target) {
    const std::optional<VqIniFile> model = load(target, Access::kRead);
    if (!model) return kFailed;
    if (!model->sectionExists(sectionName(target))) return noSuchSection(target);
    for (const AttribValuePair& pair : model->getSection(sectionName(target))) {
        if (!isSetting(pair.text())) continue;
        printLine({settingName(pair.text()), "=", settingValue(pair.text())});
    }
    return kDone;
}

Status getSetting(const IniTarget& target, const std::string& key, bool all) {
    const std::optional<VqIniFile> model = load(target, Access::kRead);
    if (!model) return kFailed;
    if (!model->sectionExists(sectionName(target))) return noSuchSection(target);
    bool found = false;
    for (const AttribValuePair& pair : model->getSection(sectionName(target))) {
        if (!isSettingOf(pair, key)) continue;
        printLine({settingValue(pair.text())});
        found = true;
        if (!all) break;
    }
    return found ? kDone : noSuchKey(target, key);
}

Status setSetting(const IniTarget& target, const std::string& key, const std::string& value) {
    if (target.section && !headerReadsBack(target)) {
        return complain(joined({"[", *target.section, "]"}), "cannot be the name of a section",
                        kWrongUsage);
    }
    std::optional<VqIniFile> model = load(target, Access::kChange);
    if (!model) return kFailed;
    Section& section = model->getSection(sectionName(target));
    const auto old = std::find_if(section.begin(), section.end(),
                                  [&key](const auto& pair) { return isSettingOf(pair, key); });
    const std::string line = settingLine(
        key, value, old == section.end() ? std::string_view() : std::string_view(old->text()));
    if (!readsBack(line, key, value)) {
        return complain(key, "key and value would not read back as they are", kWrongUsage);
    }
    const AttribValuePair pair(textOf(line), '=');
    if (old == section.end()) {
        section.push_back(pair);
    } else {
        *old = pair;
    }
    return save(*model, target);
}

Status removeSetting(const IniTarget& target, const std::string& key) {
    std::optional<VqIniFile> model = load(target, Access::kChange);
    if (!model) return kFailed;
    if (!model->sectionExists(sectionName(target))) return noSuchSection(target);
    Section& section = model->getSection(sectionName(target));
    const auto removed =
        std::erase_if(section, [&key](const auto& pair) { return isSettingOf(pair, key); });
    if (removed == 0) return noSuchKey(target, key);
    // Even without a line, the anonymous section would be set off by a blank line.
    if (!target.section && section.empty()) model->removeSection(sectionName(target));
    return save(*model, target);
}

Status removeSection(const IniTarget& target) {
    std::optional<VqIniFile> model = load(target, Access::kChange);
    if (!model) return kFailed;
    if (!model->sectionExists(sectionName(target))) return noSuchSection(target);
    model->removeSection(sectionName(target));
    return save(*model, target);
}

Status formatFile(const IniTarget& target) {
    std::optional<VqIniFile> model = load(target, Access::kChange);
    return model ? save(*model, target) : kFailed;
}

} // namespace vqtool
