/// A file under a temporary name in the folder where it is to take its place.
#pragma once

#include "OS/LinuxDescriptor.h"

#include <sys/stat.h>

namespace Vq {

/// Removed with this object unless it was moved to its place before. Names look like
/// ".vq-0123456789abcdef0123456789abcdef.tmp"; one that exists, as a killed process may leave it,
/// is never touched. Confined.
class LinuxTemporaryFile {
public:
    /// Creates the file in `folder`. With `model` it takes the permission bits of that file, and
    /// its owner and group where the process may give them; without, those of any new file. Test
    /// the result: it is empty on failure, with the reason in `errno`.
    static LinuxTemporaryFile create(LinuxDescriptor folder, const struct stat* model);

    LinuxTemporaryFile(LinuxTemporaryFile&& other) noexcept;
    LinuxTemporaryFile& operator=(LinuxTemporaryFile&&) = delete;
    ~LinuxTemporaryFile() { remove(); }

    explicit operator bool() const noexcept { return static_cast<bool>(file_); }

    /// The open file, until it is removed.
    int descriptor() const noexcept { return file_.number(); }

    /// Gives the file the name `name` in its folder, over whatever bears it, and waits until both
    /// the file and its name are on the disk. False on failure, where nothing has changed unless it
    /// was the folder that could not be synced.
    bool moveTo(const char* name) noexcept;

    /// Removes the file unless it was moved.
    void remove() noexcept;

private:
    static constexpr int kNameSize = 41; // ".vq-", 32 digits, ".tmp", terminator

    explicit LinuxTemporaryFile(LinuxDescriptor folder) noexcept : folder_(std::move(folder)) {}

    void chooseName();
    bool takeModeAndOwner(const struct stat& model) noexcept;
    bool syncFolder() noexcept;

    LinuxDescriptor folder_;
    LinuxDescriptor file_;
    char name_[kNameSize] = ""; ///< empty when there is no file of this name (any more)
};

} // namespace Vq
