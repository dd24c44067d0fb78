/// The Linux platform, which `OS()` of libOS returns, and what an application may set about itself.
///
///     int main() {
///         setApplicationName("Marlin Cut");
///         setFolder(4, "/var/lib/marlin");
///         Vq::Ptr<iFile> file = OS()->fileSystem()->openFile(L"/etc/marlin.ini", 1, 0, 1, 0);
///     }
///
/// How this platform keeps the promises of Vq/Platform.h:
///
/// **Life.** Everything here works before the first and after the last static object of the
/// process.
///
/// **Memory** comes from a heap of its own where the build has mimalloc (`VQ_MIMALLOC`), else from
/// malloc, so a block goes back to this service and nowhere else. When it runs out, the registered
/// reclaimables are asked in the order of their registration, each for all the bytes wanted
/// whatever it estimates, until the allocation succeeds; then `std::bad_alloc` is thrown. One
/// thread asks at a time and holds no lock meanwhile. Another thread that runs out of memory waits
/// for its turn and tries again after each object asked; it gives up when none is done within a
/// second. An allocation that fails within an operation of a reclaimable is not followed by more
/// asking, and what such an operation throws is swallowed. `unregisterReclaimable` returns when no
/// other thread is running an operation of the object: call it without holding a lock that these
/// operations take.
///
/// **Text.** Each part of invalid UTF-8 becomes one U+FFFD (the maximal subparts of the Unicode
/// Standard), and so do wide values that are no characters. `wideFromAscii` takes bytes from 0x80
/// on for the characters of the same value, `narrowFromWide` gives UTF-8. Null texts count as
/// empty.
///
/// **Clock, identifiers, stacks.** `now` counts from the start of the machine. Identifiers are
/// random, version 4, and throw `std::system_error` in the unlikely case that the kernel has no
/// random bytes. `getCallStack` replaces the contents of the vector by a line per frame, the
/// caller's first: "name + 0xoffset (library + 0xoffset)", without the name where the library
/// exports none.
///
/// **Files.** (1, 0, 1, 0) reads what exists and is no folder; a read that fails leaves the
/// position undefined. (2, 3, 0, 0) replaces a file as a whole: see below. Everything else, the
/// empty path and a path with a zero character gives an empty handle. A path with invalid wide
/// values names the file with U+FFFD in their place.
///
/// A file opened with (2, 3, 0, 0) is written to a temporary ".vq-*.tmp" in the folder of the
/// target (links are followed, also to a file that does not exist yet), with the permission bits of
/// the old file and, where the process may, its owner and group:
///
///     state       write                       commit                      last handle gone
///     taking      1; 0 and on to failed       1 and on to committed; 0    as commit, result lost
///                                             and on to failed
///     committed   0 and on to failed          1                           nothing to do
///     failed      0                           0                           nothing to do
///
/// `commit` syncs the temporary, renames it over the target and syncs the folder. Whatever fails
/// before the rename, or a process that dies, leaves the old file as it was; a failure also removes
/// the temporary. Only when the folder cannot be synced is the new file in place although `commit`
/// returns 0. Small writes are collected: a full disk may show in a later write or in `commit`, so
/// check that. Further hard links keep the old text; access control lists, extended attributes
/// and set-id bits are lost. In a folder with the sticky bit another user's file cannot be
/// replaced: `commit` returns 0 then. A file that the process may not write is not opened, although
/// its folder would let it be replaced.
///
/// What is no regular file, such as a device or a pipe, and what lies in a folder that takes no new
/// file is written in place, with the same states; what was written before a failure then stays
/// written. Should the disk have no room even for an empty file, the handle is empty and the old
/// file untouched.
///
/// **Locks** ignore `tuning`. Thread ids are the kernel's.
///
/// Thread rule: safe.
#pragma once

#include "Vq/Platform.h"

/// The platform of this library, the same object at every call. A program with an `OS()` of its own
/// may build on it.
[[nodiscard]] VQ_EXPORT iPlatform* linuxPlatform();

/// Sets what `applicationName` returns: `name` is UTF-8, copied. Null and the empty text bring back
/// the default, the name of the executable's file without its folder. Throws `std::bad_alloc`, and
/// then nothing has changed. Each different name set stays in memory until the process ends.
VQ_EXPORT void setApplicationName(const char* name);

/// Sets what `getFolder(kind)` returns: `path` is UTF-8, copied, taken as it is but for a '/' added
/// where it does not end in one. The folder is neither created nor looked for. Null and the empty
/// text bring back the default, which is
///
/// - for kind 4 the user's data folder: $XDG_DATA_HOME, else $HOME/.local/share, else the same in
///   the home that the password database gives; a variable that does not hold an absolute path, and
///   any in a program that runs with another user's rights, is passed over;
/// - for every other kind whatever kind 4 is.
///
/// Throws `std::bad_alloc`, and then nothing has changed. Each different path set stays in memory
/// until the process ends.
VQ_EXPORT void setFolder(int kind, const char* path);
