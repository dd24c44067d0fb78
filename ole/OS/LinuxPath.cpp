#include "OS/LinuxPath.h"

#include <climits>
#include <unistd.h>

namespace Vq {

namespace {

constexpr int kMostLinks = 40; // where the kernel gives up, too

/// Where the last part of `path` begins.
std::size_t startOfName(const std::string& path) {
    const std::size_t separator = path.rfind('/');
    return separator == std::string::npos ? 0 : separator + 1;
}

} // namespace

std::string folderOf(const std::string& path) {
    const std::size_t start = startOfName(path);
    return start == 0 ? "." : path.substr(0, start);
}

std::string nameIn(const std::string& path) {
    return path.substr(startOfName(path));
}

bool namesFile(const std::string& path) {
    const std::string name = nameIn(path);
    return !name.empty() && name != "." && name != "..";
}

std::string readLink(const std::string& path) {
    char text[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), text, sizeof text);
    return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : std::string();
}

std::string followLinks(std::string path) {
    for (int links = 0; links <= kMostLinks; ++links) {
        const std::string link = readLink(path);
        if (link.empty()) return path;
        // A relative link starts at the folder it stands in, as the kernel sees that folder.
        path.resize(link.front() == '/' ? 0 : startOfName(path));
        path += link;
    }
    return {};
}

} // namespace Vq
