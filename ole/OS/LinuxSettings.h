/// What the application has set about itself.
///
/// A text once set is kept for as long as the process lives, since it is read without a lock;
/// setting the same text again takes no more memory.
///
/// Thread rule: safe.
#pragma once

namespace Vq {

/// What `setApplicationName` was last given, null when that is the default.
const char* applicationNameSetting() noexcept;

/// What `setFolder` was last given for `kind`, null when that is the default.
const char* folderSetting(int kind) noexcept;

} // namespace Vq
