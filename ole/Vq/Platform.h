/// The platform: everything the library asks of the machine.
///
/// `OS()` returns the one `iPlatform` of the process, whose accessors hand out the services below.
/// libOS implements them for Linux; a program that defines its own `OS()` replaces them all, which
/// is how the library's tests count calls, set the clock and make allocations fail.
///
///     LightweightString<wchar_t> name = OS()->fileSystem()->applicationName();
///
/// Rules for every service: it is owned by the platform and lives as long as the process; any
/// operation may be called on any thread at any time (safe); a pointer argument is borrowed for the
/// call, except that a registered reclaimable is kept until it is unregistered. The order of the
/// virtual operations is fixed. A platform may add services and operations behind those listed.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/Ptr.h"
#include "Vq/RefCount.h"
#include "Vq/StdAllocator.h"
#include "Vq/detail/PlatformCore.h"

#include <vector>

/// A 128-bit identifier as two 64-bit words, in memory order.
struct UuidWords {
    unsigned long first;  ///< bytes 0 to 7
    unsigned long second; ///< bytes 8 to 15
};

/// An object that holds memory it can do without, such as a cache. The memory service calls these
/// operations when memory runs short, on the thread whose allocation was about to fail; they may
/// allocate, free, and unregister the object itself.
class VQ_EXPORT iReclaimable {
public:
    virtual ~iReclaimable() = default;

    /// Bytes that `reclaim` could free now; an estimate.
    virtual unsigned long reclaimableBytes() = 0;

    /// Frees about `bytesWanted` bytes where possible and returns how many it freed.
    virtual unsigned long reclaim(unsigned long bytesWanted) = 0;

    /// A name for diagnostics, static text.
    virtual const char* reclaimableName() = 0;
};

/// An open file. Confined to one thread at a time. The last handle closes it.
class VQ_EXPORT iFile : public virtual iObject {
public:
    ~iFile() override = default;

    /// Fills `buffer` with exactly `byteCount` bytes from the current position and moves past them;
    /// non-zero on success, 0 when that many could not be read.
    virtual int read(void* buffer, unsigned int byteCount) = 0;

    /// Writes `length` bytes at the current position; non-zero when all of them were taken.
    virtual int write(const char* bytes, unsigned int length) = 0;

    /// The file's length in bytes; 0 means that there is nothing to read.
    virtual unsigned long size() = 0;

    /// Makes everything written so far the file's content; non-zero when it is. A file that writes
    /// straight through has nothing left to do.
    virtual int commit() { return 1; }
};

/// A recursive lock: its owner may acquire it again and must release it as often. Safe.
class VQ_EXPORT iCriticalSection : public virtual iObject {
public:
    ~iCriticalSection() override = default;

    /// Blocks until the calling thread holds the lock.
    virtual void acquire() = 0;

    /// True when the calling thread now holds the lock; never blocks.
    virtual bool tryAcquire() = 0;

    /// Undoes one `acquire` or successful `tryAcquire` of the calling thread.
    virtual void release() = 0;
};

/// Text conversion, clock, identifiers, call stacks. Safe. What null and invalid texts give is the
/// platform's to say; OS/LinuxPlatform.h tells for Linux.
class VQ_EXPORT iSystemUtils {
public:
    virtual ~iSystemUtils() = default;

    /// Each byte of a zero-terminated ASCII text as one wide character.
    virtual LightweightString<wchar_t> wideFromAscii(const char* text) = 0;

    /// A wide, zero-terminated text as narrow text.
    virtual LightweightString<char> narrowFromWide(const wchar_t* text) = 0;

    /// The UTF-8 encoding of a wide text.
    virtual LightweightString<char> toUTF8(const LightweightString<wchar_t>& text) = 0;

    /// The wide form of `bytes` bytes of UTF-8.
    virtual LightweightString<wchar_t> fromUTF8(const char* text, int bytes) = 0;

    /// Milliseconds, with fractions, from a clock that never goes backwards. The epoch is the
    /// platform's; only differences mean something.
    virtual double now() = 0;

    /// A new unique identifier.
    virtual UuidWords generateUUID() = 0;

    /// Fills `lines` with one line of text per frame of the calling thread's stack.
    virtual void getCallStack(
        std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>* lines) = 0;
};

/// Files and the application's place among them. Safe.
class VQ_EXPORT iFileSystem {
public:
    virtual ~iFileSystem() = default;

    /// Opens a file; an empty handle when that fails. The library uses two flag combinations:
    /// (1, 0, 1, 0) reads an existing file, (2, 3, 0, 0) writes one, created or replaced.
    virtual Vq::Ptr<iFile> openFile(const LightweightString<wchar_t>& path, int access,
                                    int disposition, int sharing, int options) = 0;

    /// The name of the running application's product.
    virtual LightweightString<wchar_t> applicationName() = 0;

    /// What separates the parts of a path.
    virtual wchar_t pathSeparator() = 0;
};

/// Locks and thread identity. Safe.
class VQ_EXPORT iSyncFactory {
public:
    virtual ~iSyncFactory() = default;

    /// A new, free lock. `tuning` is the platform's to interpret; 0 is the default.
    virtual Vq::Ptr<iCriticalSection> createCriticalSection(unsigned int tuning) = 0;

    /// The same value at every call of one thread, another one for every other living thread, never
    /// 0.
    virtual unsigned int currentThreadId() = 0;
};

/// The processor. Safe.
class VQ_EXPORT iCPUInfo {
public:
    virtual ~iCPUInfo() = default;

    /// Processors that the machine has.
    virtual int processorCount() = 0;
};

/// Well-known folders. Safe.
class VQ_EXPORT iFolders {
public:
    virtual ~iFolders() = default;

    /// The path of the folder of the given kind. Kind 4 is where the application keeps its data.
    virtual LightweightString<wchar_t> getFolder(int kind) = 0;
};

VQ_EXPORTED_INSTANTIATION(class Vq::Ptr<iFile>);
VQ_EXPORTED_INSTANTIATION(class Vq::Ptr<iCriticalSection>);
