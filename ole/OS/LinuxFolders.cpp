#include "OS/LinuxFolders.h"

#include "OS/LinuxSettings.h"
#include "OS/LinuxText.h"

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace Vq {

namespace {

constexpr int kApplicationData = 4;

/// The value of a variable that holds an absolute path. What is relative counts as not set, as the
/// XDG rules demand, and so does everything in a program that runs with another user's rights.
std::string absolutePathFrom(const char* variable) {
    const char* const value = ::secure_getenv(variable);
    return value && *value == '/' ? value : "";
}

/// The user's home as the password database has it, "/" when it knows nothing.
std::string homeOfUser() {
    std::vector<char> buffer(1024);
    passwd entry;
    passwd* found = nullptr;
    while (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(2 * buffer.size());
    }
    return found && found->pw_dir && *found->pw_dir == '/' ? found->pw_dir : "/";
}

std::string endingInSeparator(std::string path) {
    if (path.back() != '/') path += '/';
    return path;
}

std::string dataFolderOfUser() {
    std::string folder = absolutePathFrom("XDG_DATA_HOME");
    if (!folder.empty()) return folder;
    std::string home = absolutePathFrom("HOME");
    if (home.empty()) home = homeOfUser();
    return endingInSeparator(std::move(home)) + ".local/share";
}

} // namespace

LightweightString<wchar_t> LinuxFolders::getFolder(int kind) {
    const char* set = folderSetting(kind);
    if (!set) set = folderSetting(kApplicationData);
    return decodeUtf8(endingInSeparator(set ? set : dataFolderOfUser()));
}

} // namespace Vq
