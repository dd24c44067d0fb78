#include "Lines.h"

#include "Report.h"

#include "Vq/String.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <vector>

#include <unistd.h>

namespace vqtool {

namespace {

constexpr unsigned long kPieceSize = 1UL << 20;

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

std::string_view withoutEnds(std::string_view text, bool (*isCut)(char)) {
    while (!text.empty() && isCut(text.front())) text.remove_prefix(1);
    while (!text.empty() && isCut(text.back())) text.remove_suffix(1);
    return text;
}

} // namespace

Vq::Ptr<iFile> openToRead(const std::string& path) {
    const LightweightString<char> name{std::string_view(path)};
    const LightweightString<wchar_t> wideName = fromUTF8(name);
    // Anything else would name another file than the one meant.
    if (toUTF8(wideName) != name) {
        complain(path, "is not a name in UTF-8");
        return nullptr;
    }
    Vq::Ptr<iFile> file = OS()->fileSystem()->openFile(wideName, 1, 0, 1, 0);
    if (!file) complain(path, "could not be opened");
    return file;
}

bool isAtEnd(iFile& file) {
    char next;
    return file.read(&next, 1) == 0;
}

bool readInPieces(const std::string& path, Progress& progress, const TakePiece& take) {
    progress.startFile();
    const Vq::Ptr<iFile> file = openToRead(path);
    if (!file) return false;
    const auto fail = [&](const char* reason) {
        progress.clear();
        complain(path, reason);
        return false;
    };
    std::vector<char> piece(kPieceSize);
    unsigned long left = file->size();
    progress.expectBytes(left);
    while (left > 0) {
        const unsigned long count = std::min(left, kPieceSize);
        if (file->read(piece.data(), static_cast<unsigned int>(count)) == 0) {
            return fail("could not be read");
        }
        if (!take({piece.data(), count})) return true;
        progress.advance(count);
        left -= count;
    }
    return isAtEnd(*file) || fail("holds more than its size says");
}

bool readStandardInputInPieces(Progress& progress, const TakePiece& take) {
    std::vector<char> piece(kPieceSize);
    progress.startFile();
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, piece.data(), piece.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            progress.clear();
            complain(kStandardInput, "could not be read");
            return false;
        }
        const auto count = static_cast<std::size_t>(got);
        if (count == 0 || !take({piece.data(), count})) return true;
        progress.advance(count);
    }
}

std::optional<std::string> readFile(const std::string& path) {
    const Vq::Ptr<iFile> file = openToRead(path);
    if (!file) return std::nullopt;
    const unsigned long size = file->size();
    if (size > std::numeric_limits<unsigned int>::max()) {
        complain(path, "is larger than 4 GiB");
        return std::nullopt;
    }
    std::string bytes(size, '\0');
    if (size != 0 && file->read(bytes.data(), static_cast<unsigned int>(size)) == 0) {
        complain(path, "could not be read");
        return std::nullopt;
    }
    if (!isAtEnd(*file)) {
        complain(path, "holds more than its size says");
        return std::nullopt;
    }
    return bytes;
}

std::string_view trimmed(std::string_view text) {
    return withoutEnds(text, [](char c) { return c == ' ' || c == '\t'; });
}

std::string_view takeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : text.size());
    return withoutEnds(line, [](char c) { return c == ' ' || isControl(c); });
}

bool isHeader(std::string_view line) {
    return line.size() >= 2 && line.front() == '[' && line.back() == ']';
}

std::string_view headerName(std::string_view header) {
    return header.substr(1, header.size() - 2);
}

bool isComment(std::string_view line) {
    return line.starts_with(';') || line.starts_with('#');
}

bool isSetting(std::string_view line) {
    return !isComment(line) && line.find('=') != line.npos;
}

std::string_view settingName(std::string_view setting) {
    return trimmed(setting.substr(0, setting.find('=')));
}

std::string_view settingValue(std::string_view setting) {
    return trimmed(setting.substr(setting.find('=') + 1));
}

} // namespace vqtool
