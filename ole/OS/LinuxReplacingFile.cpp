#include "OS/LinuxReplacingFile.h"

#include "OS/LinuxInPlaceFile.h"
#include "OS/LinuxPath.h"

#include <cerrno>
#include <unistd.h>

namespace Vq {

namespace {

/// Did creating a file fail because the folder is closed to this process? Not so when the disk is
/// full or the process has run out of something: writing in place would then destroy the old file.
bool isRefusal(int reason) {
    // ENOENT is what /proc says; a folder that is really gone holds no old file either.
    return reason == EACCES || reason == EPERM || reason == EROFS || reason == ENOENT ||
           reason == EOPNOTSUPP;
}

bool isSameFile(const std::string& path, const struct stat& status) {
    struct stat other;
    return ::stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev &&
           other.st_ino == status.st_ino;
}

/// A file that replaces what `path`, no link, names. Empty on failure, with the `errno` in
/// `reason`.
Vq::Ptr<iFile> openReplacement(const std::string& path, const struct stat* old, int& reason) {
    const std::string folderPath = folderOf(path);
    LinuxDescriptor folder = openDescriptor(AT_FDCWD, folderPath.c_str(), O_PATH | O_DIRECTORY);
    if (!folder) {
        reason = errno;
        return nullptr;
    }
    LinuxTemporaryFile temporary = LinuxTemporaryFile::create(std::move(folder), old);
    if (!temporary) {
        reason = errno;
        return nullptr;
    }
    return LinuxOutputFile::handOut(new LinuxReplacingFile(std::move(temporary), nameIn(path)));
}

Vq::Ptr<iFile> openNew(const char* path) {
    const std::string target = followLinks(path);
    int reason = 0;
    return namesFile(target) ? openReplacement(target, nullptr, reason) : nullptr;
}

/// `isLink` says whether `path` itself is a link.
Vq::Ptr<iFile> openRegular(const char* path, const struct stat& old, bool isLink) {
    // Replacing asks for no right on the file itself; a write-protected one stays protected.
    if (::faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) != 0) return nullptr;
    const std::string target = isLink ? followLinks(path) : path;
    // The links of /proc lead to open files whatever their text says.
    if (isLink && !isSameFile(target, old)) {
        return openInPlace(path, LinuxInPlaceFile::Kind::kRegular);
    }
    int reason = 0;
    if (Vq::Ptr<iFile> file = openReplacement(target, &old, reason)) return file;
    if (!isRefusal(reason)) return nullptr;
    return openInPlace(path, LinuxInPlaceFile::Kind::kRegular);
}

} // namespace

LinuxReplacingFile::LinuxReplacingFile(LinuxTemporaryFile temporary, std::string name) noexcept
    : LinuxOutputFile(Buffering::kSmallWrites), temporary_(std::move(temporary)),
      name_(std::move(name)) {}

Vq::Ptr<iFile> openToReplace(const char* path) {
    struct stat old;
    if (::lstat(path, &old) != 0) return errno == ENOENT ? openNew(path) : nullptr;
    const bool isLink = S_ISLNK(old.st_mode);
    if (isLink && ::stat(path, &old) != 0) return errno == ENOENT ? openNew(path) : nullptr;
    if (S_ISDIR(old.st_mode)) return nullptr;
    if (S_ISREG(old.st_mode)) return openRegular(path, old, isLink);
    return openInPlace(path, LinuxInPlaceFile::Kind::kOther);
}

} // namespace Vq
