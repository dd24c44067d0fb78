/// The root of the platform and the two services that counting and allocation stand on.
///
/// Split from Vq/Platform.h so that the handle and the string, which the other services speak of,
/// can be built on it. Include Vq/Platform.h; it holds the rules for all services.
#pragma once

#include "Vq/detail/Export.h"

class iReclaimable;
class iSystemUtils;
class iFileSystem;
class iSyncFactory;
class iCPUInfo;
class iFolders;

/// Heap memory of the whole process. Safe: any thread, at any time, before and after static
/// objects.
class VQ_EXPORT iMemory {
public:
    virtual ~iMemory() = default;

    /// A block of at least `bytes` bytes (0 is valid), aligned for any fundamental type. Never
    /// null: exhaustion is reported by an exception, `std::bad_alloc` on the Linux platform.
    virtual void* allocate(unsigned long bytes) = 0;

    /// Frees a block of `allocate`; null is accepted. Must not throw.
    virtual void deallocate(void* block) = 0;

    /// Adds `object` to those that may be asked to give memory back. Borrowed until unregistered.
    virtual void registerReclaimable(iReclaimable* object) = 0;

    /// Takes `object` out again; an object that is not registered is ignored.
    virtual void unregisterReclaimable(iReclaimable* object) = 0;
};

/// Atomic operations. Safe; each is a full barrier, because the library issues no fence of its own.
class VQ_EXPORT iAtomics {
public:
    virtual ~iAtomics() = default;

    /// Adds 1 to `*counter` and returns the value after.
    virtual int atomicIncrement(int* counter) = 0;

    /// Subtracts 1 from `*counter` and returns the value after. Must not throw.
    virtual int atomicDecrement(int* counter) = 0;

    /// Stores `newValue` if and only if `*target` equals `expected`; returns what was there before
    /// either way, so the swap took place exactly when the result equals `expected`.
    virtual long compareAndSwap(long* target, long newValue, long expected) = 0;
};

/// The one object through which the library reaches the machine. It owns its services: they are
/// neither deleted nor counted by anyone else. Safe; the rules for all services are in
/// Vq/Platform.h.
class VQ_EXPORT iPlatform {
public:
    virtual ~iPlatform() = default;

    virtual iMemory* memory() = 0;         ///< the heap
    virtual iSystemUtils* utils() = 0;     ///< text conversion, clock, identifiers, call stacks
    virtual iFileSystem* fileSystem() = 0; ///< files and the application's name
    virtual iSyncFactory* sync() = 0;      ///< locks and thread identity
    virtual iAtomics* atomics() = 0;       ///< what reference counts change through
    virtual iCPUInfo* cpu() = 0;           ///< the processor
    virtual iFolders* folders() = 0;       ///< well-known folders
};

/// The platform of the process, the same object at every call. The library asks afresh at each use
/// and keeps nothing, `operator new` included, so this must work before the first and after the
/// last static object. libOS defines it; a program that defines its own replaces the platform for
/// every call that the library makes.
VQ_EXPORT iPlatform* OS();
