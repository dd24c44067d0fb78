#include "OS/LinuxFileSystem.h"

#include "OS/LinuxPath.h"
#include "OS/LinuxReadFile.h"
#include "OS/LinuxReplacingFile.h"
#include "OS/LinuxSettings.h"
#include "OS/LinuxText.h"

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <unistd.h>

namespace Vq {

namespace {

using Flags = std::array<int, 4>;

constexpr Flags kRead = {1, 0, 1, 0};
constexpr Flags kReplace = {2, 3, 0, 0};

/// The name of the file that the process runs.
std::string executableName() {
    std::string path = readLink("/proc/self/exe");
    if (path.empty()) return program_invocation_short_name;
    // The kernel marks a file that was removed or replaced under the running program; the program
    // has not been renamed by that.
    constexpr std::string_view kMark = " (deleted)";
    if (path.ends_with(kMark) && ::access(path.c_str(), F_OK) != 0) {
        path.resize(path.size() - kMark.size());
    }
    return nameIn(path);
}

} // namespace

Vq::Ptr<iFile> LinuxFileSystem::openFile(const LightweightString<wchar_t>& path, int access,
                                         int disposition, int sharing, int options) {
    const LightweightString<char> name = encodeUtf8(path);
    if (name.empty() || std::string_view(name).find('\0') != std::string_view::npos) return nullptr;
    const Flags flags = {access, disposition, sharing, options};
    if (flags == kRead) return openToRead(name.c_str());
    if (flags == kReplace) return openToReplace(name.c_str());
    return nullptr;
}

LightweightString<wchar_t> LinuxFileSystem::applicationName() {
    const char* const set = applicationNameSetting();
    return decodeUtf8(set ? set : executableName());
}

} // namespace Vq
