#include "IniCheck.h"

#include "Lines.h"

#include "Vq/Platform.h"
#include "Vq/String.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vqtool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// A section as all its headers make it up.
struct SectionLines {
    std::string_view name; // as the first header has it
    std::size_t firstHeader = 0;
    bool hasSettings = false;
    std::unordered_map<std::string_view, std::size_t> firstLineOfKey;
};

class Checker {
public:
    Checker(const std::string& file, bool ignoreCase) : file_(file), ignoreCase_(ignoreCase) {}

    void check(std::string_view bytes) {
        while (!bytes.empty()) {
            ++line_;
            const std::string_view line = takeLine(bytes);
            checkEncoding(line);
            if (line_ == 1 && line.starts_with(kByteOrderMark)) {
                // The library takes the mark for the beginning of a line that is no header.
                find(line_, "byte-order mark");
                continue;
            }
            checkStructure(line);
        }
        for (const auto& [key, section] : sections_) {
            if (section.hasSettings) continue;
            find(section.firstHeader, joined({"section [", section.name, "] without keys"}));
        }
    }

    /// Prints the findings; are there any?
    bool report() {
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const auto& a, const auto& b) { return a.line < b.line; });
        for (const Finding& finding : findings_) {
            printLine({file_, ":", std::to_string(finding.line), ": ", finding.text});
        }
        return !findings_.empty();
    }

private:
    struct Finding {
        std::size_t line;
        std::string text;
    };

    void find(std::size_t line, std::string text) { findings_.push_back({line, std::move(text)}); }

    /// Valid UTF-8 is what the platform's conversion to wide text and back leaves as it is.
    void checkEncoding(std::string_view line) {
        if (std::all_of(line.begin(), line.end(), [](char c) { return (c & 0x80) == 0; })) return;
        const LightweightString<char> text(line);
        if (toUTF8(fromUTF8(text)) != text) find(line_, "invalid UTF-8");
    }

    void checkStructure(std::string_view line) {
        if (line.empty() || isComment(line)) return;
        if (isHeader(line)) {
            startSection(headerName(line));
        } else if (line.starts_with('[')) {
            find(line_, "unclosed '['");
        } else if (!isSetting(line)) {
            find(line_, "line without '='");
        } else {
            addKey(settingName(line));
        }
    }

    void startSection(std::string_view name) {
        std::string folded(name);
        if (ignoreCase_) {
            std::transform(folded.begin(), folded.end(), folded.begin(), [](char c) {
                return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            });
        }
        current_ = &sections_[folded];
        if (current_->firstHeader == 0) {
            current_->name = name;
            current_->firstHeader = line_;
        } else {
            find(line_, joined({"section [", name, "] repeated, first in line ",
                                std::to_string(current_->firstHeader)}));
        }
    }

    void addKey(std::string_view name) {
        const std::string key = joined({"key '", name, "'"});
        if (current_->firstHeader == 0) find(line_, joined({key, " before the first header"}));
        current_->hasSettings = true;
        const auto [first, isNew] = current_->firstLineOfKey.try_emplace(name, line_);
        if (!isNew) {
            find(line_, joined({key, " repeated, first in line ", std::to_string(first->second)}));
        }
    }

    const std::string& file_;
    const bool ignoreCase_;
    std::size_t line_ = 0;
    SectionLines outside_;
    SectionLines* current_ = &outside_;
    std::map<std::string, SectionLines> sections_;
    std::vector<Finding> findings_;
};

} // namespace

Status checkIniFile(const std::string& file, bool ignoreCase) {
    const std::optional<std::string> bytes = readFile(file);
    if (!bytes) return kFailed;
    Checker checker(file, ignoreCase);
    checker.check(*bytes);
    return checker.report() ? kFailed : kDone;
}

} // namespace vqtool
