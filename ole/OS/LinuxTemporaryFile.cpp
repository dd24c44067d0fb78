#include "OS/LinuxTemporaryFile.h"

#include "OS/LinuxUuid.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace Vq {

namespace {

constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kPrivate = 0600; ///< until the bits of the model are there: it may hold a secret
constexpr mode_t kNewFile = 0666; ///< the system takes away what the process masks

} // namespace

LinuxTemporaryFile LinuxTemporaryFile::create(LinuxDescriptor folder, const struct stat* model) {
    LinuxTemporaryFile made(std::move(folder));
    const mode_t mode = model ? kPrivate : kNewFile;
    do {
        made.chooseName();
        made.file_ =
            openDescriptor(made.folder_.number(), made.name_, O_WRONLY | O_CREAT | O_EXCL, mode);
    } while (!made.file_ && errno == EEXIST);
    if (!made.file_) {
        made.name_[0] = '\0';
    } else if (model && !made.takeModeAndOwner(*model)) {
        const int reason = errno;
        made.remove();
        errno = reason;
    }
    return made;
}

LinuxTemporaryFile::LinuxTemporaryFile(LinuxTemporaryFile&& other) noexcept
    : folder_(std::move(other.folder_)), file_(std::move(other.file_)) {
    std::memcpy(name_, other.name_, sizeof name_);
    other.name_[0] = '\0';
}

void LinuxTemporaryFile::chooseName() {
    const UuidWords random = randomUuid();
    std::snprintf(name_, sizeof name_, ".vq-%016lx%016lx.tmp", random.first, random.second);
}

bool LinuxTemporaryFile::takeModeAndOwner(const struct stat& model) noexcept {
    struct stat own;
    if (::fstat(file_.number(), &own) != 0) return false;
    // One at a time: the group can often be given where the owner cannot. Neither is promised.
    if (own.st_gid != model.st_gid) {
        [[maybe_unused]] const int result =
            ::fchown(file_.number(), static_cast<uid_t>(-1), model.st_gid);
    }
    if (own.st_uid != model.st_uid) {
        [[maybe_unused]] const int result =
            ::fchown(file_.number(), model.st_uid, static_cast<gid_t>(-1));
    }
    const bool same = ((own.st_mode ^ model.st_mode) & kPermissionBits) == 0;
    return same || ::fchmod(file_.number(), model.st_mode & kPermissionBits) == 0;
}

bool LinuxTemporaryFile::moveTo(const char* name) noexcept {
    if (!syncToDisk(file_.number())) return false;
    if (::renameat(folder_.number(), name_, folder_.number(), name) != 0) return false;
    name_[0] = '\0';
    return syncFolder();
}

bool LinuxTemporaryFile::syncFolder() noexcept {
    const LinuxDescriptor readable = openDescriptor(folder_.number(), ".", O_RDONLY | O_DIRECTORY);
    if (readable) return syncToDisk(readable.number());
    // A folder that may be written and not read can only be synced along with its file system.
    return ::syncfs(file_.number()) == 0;
}

void LinuxTemporaryFile::remove() noexcept {
    if (name_[0] != '\0') ::unlinkat(folder_.number(), name_, 0);
    name_[0] = '\0';
    file_ = LinuxDescriptor();
}

} // namespace Vq
