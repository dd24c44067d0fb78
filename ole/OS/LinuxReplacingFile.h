/// Files replaced as a whole.
#pragma once

#include "OS/LinuxOutputFile.h"
#include "OS/LinuxTemporaryFile.h"

#include <string>

namespace Vq {

/// Everything is written to a temporary file in the folder of the target, which takes the target's
/// place in one step when all of it is on the disk. Until then, and for ever when something fails
/// or the process dies, the target is what it was. A process that is killed leaves its temporary
/// behind; a write that fails removes it at once.
class LinuxReplacingFile final : public LinuxOutputFile {
public:
    /// `name` is the target's name in the folder of `temporary`.
    LinuxReplacingFile(LinuxTemporaryFile temporary, std::string name) noexcept;
    ~LinuxReplacingFile() override { release(); }

private:
    int target() const noexcept override { return temporary_.descriptor(); }
    bool publish() noexcept override { return temporary_.moveTo(name_.c_str()); }
    void discard() noexcept override { temporary_.remove(); }

    LinuxTemporaryFile temporary_;
    const std::string name_;
};

/// Opens `path` to be created or replaced. Links are followed, one that leads to nothing too: what
/// it names is created. What exists and is no regular file, and a regular file whose folder takes
/// no new one, is written in place. Empty for a folder, for a file that the process may not write,
/// and where none of this is possible: nothing has changed then.
///
/// The new file is another one than the old: further hard links keep the old text, and access
/// control lists and extended attributes are not carried over.
Vq::Ptr<iFile> openToReplace(const char* path);

} // namespace Vq
