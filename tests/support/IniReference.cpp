#include "support/IniReference.h"

#include "Vq/VqIniFile.h"

#include <algorithm>
#include <cstddef>

namespace vqtest {

namespace {

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

int foldedByte(char c, bool caseSensitive) {
    if (!caseSensitive && c >= 'A' && c <= 'Z') return c - 'A' + 'a';
    return static_cast<unsigned char>(c);
}

void trimSpaces(std::string& text) {
    while (!text.empty() && text.back() == ' ') text.pop_back();
    while (!text.empty() && text.front() == ' ') text.erase(0, 1);
}

bool isBlank(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c == ' '; });
}

} // namespace

std::vector<std::string> referenceLines(std::string_view buffer, char separator) {
    std::vector<std::string> lines;
    std::size_t at = 0;
    while (at < buffer.size()) {
        std::string line;
        while (at < buffer.size() && buffer[at] != separator) line += buffer[at++];
        const bool ended = at < buffer.size();
        if (ended && isPrintable(separator)) {
            line += separator;
        } else {
            while (!line.empty() && !isPrintable(line.back())) line.pop_back();
        }
        lines.push_back(line);
        if (ended) ++at;
        while (at < buffer.size() && !isPrintable(buffer[at]) && buffer[at] != separator) ++at;
    }
    return lines;
}

int referenceOrder(std::string_view a, std::string_view b, bool caseSensitive) {
    for (std::size_t i = 0;; ++i) {
        const int left = i < a.size() ? foldedByte(a[i], caseSensitive) : 0;
        const int right = i < b.size() ? foldedByte(b[i], caseSensitive) : 0;
        if (left != right || left == 0) return left - right;
    }
}

void IniReference::load(std::string_view content, char separator) {
    std::string current(kAnonymous);
    for (const std::string& line : referenceLines(content, separator)) takeLine(line, current);
}

void IniReference::takeLine(std::string line, std::string& current) {
    if (isBlank(line)) return;
    trimSpaces(line);
    if (line.front() == '[' && line.back() == ']') {
        current = line.substr(1, line.size() - 2);
    } else {
        section(current).push_back(line);
    }
}

std::vector<std::string>& IniReference::section(std::string_view name) {
    std::size_t i = 0;
    for (; i < sections_.size(); ++i) {
        const int order = referenceOrder(sections_[i].first, name, caseSensitive_);
        if (order == 0) return sections_[i].second;
        if (order > 0) break;
    }
    const auto place = sections_.begin() + static_cast<std::ptrdiff_t>(i);
    return sections_.emplace(place, name, std::vector<std::string>())->second;
}

bool IniReference::contains(std::string_view name) const {
    return std::any_of(sections_.begin(), sections_.end(), [&](const auto& section) {
        return referenceOrder(section.first, name, caseSensitive_) == 0;
    });
}

void IniReference::remove(std::string_view name) {
    std::erase_if(sections_, [&](const auto& section) {
        return referenceOrder(section.first, name, caseSensitive_) == 0;
    });
}

std::vector<std::string> IniReference::writes() const {
    std::vector<std::string> writes;
    std::string previous;
    const auto isAnonymous = [&](const auto& section) {
        return referenceOrder(section.first, kAnonymous, caseSensitive_) == 0;
    };
    const auto writePairs = [&](const auto& section) {
        for (const std::string& line : section.second) writes.push_back(line + "\r\n");
    };
    for (const auto& section : sections_) {
        if (!isAnonymous(section)) continue;
        writePairs(section);
        previous = kAnonymous;
    }
    for (const auto& section : sections_) {
        if (isAnonymous(section)) continue;
        if (!isBlank(previous)) writes.push_back("\r\n");
        writes.push_back("[" + section.first + "]\r\n");
        writePairs(section);
        previous = section.first;
    }
    return writes;
}

Sections sectionsOf(const VqIniFile& ini) {
    Sections sections;
    for (auto walk = ini.getSectionIterator(); walk.valid(); ++walk) {
        auto& [name, lines] = sections.emplace_back();
        name = std::string_view(walk.name());
        for (const Vq::AttribValuePair& pair : *walk) {
            lines.emplace_back(std::string_view(pair.asString('=')));
        }
    }
    return sections;
}

} // namespace vqtest
