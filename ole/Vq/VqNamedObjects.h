/// `Vq::NamedObjectsNamespace`, a registry of objects that are known by their type and a name, so
/// that code which knows nothing of each other can share one object, or one lock, under a name.
///
///     auto* registry = Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
///     auto* cache = registry->findOrCreate<Cache>("thumbnails");
///
///     registry->lock<Cache>("thumbnails", true);       // the name's own lock, object or not
///     ...
///     registry->unlock<Cache>("thumbnails");
///
/// The registry keeps plain pointers: it never owns, copies or destroys an object. An entry, once
/// made, stays for the life of the process, its lock included; `remove` only clears its pointer. A
/// namespace therefore grows with the number of different names and is no place for names that are
/// made up as the program runs. Names are compared byte by byte; the same name under two types is
/// two entries.
///
/// Thread rule: safe. The namespace's lock guards the list of entries, each entry's lock its
/// pointer; they are never held together, except around a factory that runs for a new name, which
/// therefore must not wait for another thread that uses the same namespace. Calls on a name wait
/// while another thread holds it through `lock`.
#pragma once

#include "Vq/CriticalSection.h"
#include "Vq/LightweightString.h"
#include "Vq/TypeManip.h"
#include "Vq/detail/Export.h"
#include "Vq/detail/NamedObjectIndex.h"

#include <list>
#include <memory>
#include <typeinfo>
#include <vector>

/// One entry of a namespace. Read-only for everyone but the namespace; never freed. Its names never
/// change and may be read on any thread, its pointer under its lock.
class VQ_EXPORT NamedObjectInfo {
public:
    NamedObjectInfo(const NamedObjectInfo&) = delete;
    NamedObjectInfo& operator=(const NamedObjectInfo&) = delete;

    unsigned int typeCrc_;             ///< checksum of the type's name
    unsigned int nameCrc_;             ///< checksum of the name
    void* object_ = nullptr;           ///< null for a mere lock, and after `remove`
    CriticalSection lock_;             ///< what `lock` holds; also guards `object_`
    LightweightString<char> typeName_; ///< the type's mangled name
    LightweightString<char> name_;     ///< the name it was made with

private:
    friend class Vq::NamedObjectsNamespace;
    friend class Vq::detail::NamedObjectIndex;
    explicit NamedObjectInfo(const Vq::detail::NamedObjectKey& key);

    const NamedObjectInfo* likeTyped_ = nullptr; // of the same type name, perhaps this one
    const void* platformLock_ = nullptr;         // of lock_ as it was made
    NamedObjectInfo* next_ = nullptr;            // left out of the index, or retired
    char nameStart_[24] = {};                    // what name_ begins with, then zeros
};

namespace Vq {

/// A registry of its own. Destroying it leaves the objects and the entries as they are.
///
/// A null name throws `Vq::Exception::RuntimeError`, as does every failure named below, and nothing
/// has changed then. Names are found through a hash table, under the namespace's lock.
///
/// \copydetails VqNamedObjects.h
class VQ_EXPORT NamedObjectsNamespace {
public:
    /// An empty namespace. The name is for diagnostics; null counts as empty.
    explicit NamedObjectsNamespace(const char* name);
    ~NamedObjectsNamespace();
    NamedObjectsNamespace(const NamedObjectsNamespace&) = delete;
    NamedObjectsNamespace& operator=(const NamedObjectsNamespace&) = delete;

    /// The namespace of the process, "GLOBAL": made at the first call, never destroyed.
    static NamedObjectsNamespace* getGlobalNamespaceInstance();

    // --- By type

    /// The object, null when there is none.
    template <class T> T* find(const char* name) { return static_cast<T*>(find_(typeid(T), name)); }

    /// Registers `object`, which must not be null. Throws when the name has an object already.
    template <class T> void create(const char* name, T* object) {
        create_(typeid(T), name, object);
    }

    /// The object, or a new, value-initialised one that nobody will delete. The constructor of `T`
    /// **must not throw**; see `findOrCreate_` for what comes of it.
    template <class T> T* findOrCreate(const char* name) {
        return static_cast<T*>(findOrCreate_(typeid(T), name, TypeManip::TemplatedNew<T>::new_));
    }

    /// Registers `object`, which must not be null, and forgets the one that was there.
    template <class T> void createOrReplace(const char* name, T* object) {
        createOrReplace_(typeid(T), name, object);
    }

    /// Forgets the object; nothing happens when there is none.
    template <class T> void remove(const char* name) { remove_(typeid(T), name); }

    /// Locks the name, whether it has an object or not, once more if the calling thread holds it.
    /// True when it does now. With `wait` it blocks until then, without it never does. Each success
    /// wants an `unlock`.
    template <class T> bool lock(const char* name, bool wait) {
        return lock_(typeid(T), name, wait);
    }

    /// Undoes one `lock`. Throws when the name was never used. That the calling thread holds the
    /// lock is **not** checked: unlocking a name that was only created is undefined.
    template <class T> void unlock(const char* name) { unlock_(typeid(T), name); }

    /// Calls `f(const char* typeName, const char* name, bool hasObject)` for every entry there is
    /// at the call, in the order of creation. No lock is held meanwhile, so `f` may use the
    /// namespace. For diagnostics: type names are mangled, and the list is copied first.
    template <class F> void forEach(F f) {
        for (const NamedObjectInfo* info : entries()) {
            f(info->typeName_.c_str(), info->name_.c_str(), objectOf(*info) != nullptr);
        }
    }

    // --- The same by type information. A type's name counts without one leading '*'.

    /// The entry, null when there is none (a null name counts as empty here). It lives as long as
    /// the process. Here and below a type's mangled name counts without one leading '*'.
    NamedObjectInfo* findInfo_(const std::type_info& type, const char* name);

    /// As `find`.
    void* find_(const std::type_info& type, const char* name);
    /// As `create`.
    void create_(const std::type_info& type, const char* name, void* object);

    /// The object, or what `factory` makes: at most one thread at a time runs it for a name. When
    /// it returns null, null is returned and the next call runs it again.
    ///
    /// **A factory that throws leaves a lock behind**: its exception comes out with the lock that
    /// it ran under, the namespace's for a new name, the entry's for one without object, still held
    /// once by the calling thread. Factories must not throw.
    void* findOrCreate_(const std::type_info& type, const char* name, void* (*factory)());

    /// As `createOrReplace`.
    void createOrReplace_(const std::type_info& type, const char* name, void* object);
    /// As `remove`.
    void remove_(const std::type_info& type, const char* name);
    /// As `lock`.
    bool lock_(const std::type_info& type, const char* name, bool wait);
    /// As `unlock`.
    void unlock_(const std::type_info& type, const char* name);

    /// Appends an entry without looking for one of the same key, which would hide it.
    NamedObjectInfo* addListEntry_(const std::type_info& type, const char* name, void* object);

private:
    using Key = detail::NamedObjectKey;

    // An entry that is not in the list yet, with its place there.
    struct Prepared {
        explicit Prepared(const Key& key);
        std::unique_ptr<NamedObjectInfo> info;
        std::list<NamedObjectInfo*> place;
    };

    struct Found {
        NamedObjectInfo* info;
        bool isNew;
    };

    NamedObjectInfo* findInfo(const Key& key);
    NamedObjectInfo* append(Prepared entry);
    NamedObjectInfo* addEntry(const Key& key, void* object);
    Found findOrAdd(const Key& key, void* object);
    std::vector<const NamedObjectInfo*> entries();
    static void* objectOf(const NamedObjectInfo& info) noexcept;

    std::list<NamedObjectInfo*> entries_; // in the order of creation
    CriticalSection guard_;
    LightweightString<char> name_;
    detail::NamedObjectIndex index_; // of entries_
};

} // namespace Vq
