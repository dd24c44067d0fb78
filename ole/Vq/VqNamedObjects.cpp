#include "Vq/VqNamedObjects.h"

#include "Vq/VqCheck.h"

#include <atomic>
#include <mutex>
#include <utility>

using Vq::detail::NamedObjectKey;

NamedObjectInfo::NamedObjectInfo(const NamedObjectKey& key)
    : typeCrc_(key.typeCrc), nameCrc_(key.nameCrc), typeName_(key.type), name_(key.name) {}

namespace Vq {

namespace {

[[noreturn]] void fail(const char* message, int line) {
    throw Exception::RuntimeError(message, "ole/Vq/VqNamedObjects", line);
}

void requireName(const char* name, int line) {
    if (!name) fail("Invalid object name!", line);
}

void requireObject(const void* object, int line) {
    if (!object) fail("'object' cannot be NULL!", line);
}

// Under the entry's lock. Released, since the listing reads the pointer without that lock.
void setObject(NamedObjectInfo& info, void* object) {
    __atomic_store_n(&info.object_, object, __ATOMIC_RELEASE);
}

// A factory that throws leaves the lock that it ran under entered, by design.
void* make(void* (*factory)(), std::unique_lock<CriticalSection>& held) {
    try {
        return factory();
    } catch (...) {
        static_cast<void>(held.release());
        throw;
    }
}

constinit std::atomic<NamedObjectsNamespace*> gGlobalNamespace{nullptr};

// Entries of destroyed namespaces: kept, since other threads may hold their locks, and kept here so
// that leak detectors know.
constinit std::atomic<NamedObjectInfo*> gRetired{nullptr};

} // namespace

NamedObjectsNamespace::NamedObjectsNamespace(const char* name) : name_(name) {}

NamedObjectsNamespace::~NamedObjectsNamespace() {
    for (NamedObjectInfo* info : entries_) {
        info->next_ = gRetired.load(std::memory_order_relaxed);
        while (!gRetired.compare_exchange_weak(info->next_, info)) {
        }
    }
}

NamedObjectsNamespace* NamedObjectsNamespace::getGlobalNamespaceInstance() {
    static CriticalSection gGlobalNamespaceLock;
    // Acquire: who sees the pointer also sees what it points to.
    NamedObjectsNamespace* instance = gGlobalNamespace.load(std::memory_order_acquire);
    if (instance) return instance;
    const std::scoped_lock hold(gGlobalNamespaceLock);
    instance = gGlobalNamespace.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new NamedObjectsNamespace("GLOBAL");
        gGlobalNamespace.store(instance, std::memory_order_release);
    }
    return instance;
}

NamedObjectsNamespace::Prepared::Prepared(const Key& key) : info(new NamedObjectInfo(key)) {
    place.push_back(info.get());
}

void* NamedObjectsNamespace::objectOf(const NamedObjectInfo& info) noexcept {
    return __atomic_load_n(&info.object_, __ATOMIC_ACQUIRE);
}

std::vector<const NamedObjectInfo*> NamedObjectsNamespace::entries() {
    const std::scoped_lock hold(guard_);
    return {entries_.begin(), entries_.end()};
}

NamedObjectInfo* NamedObjectsNamespace::findInfo(const Key& key) {
    index_.prepareFind(key);
    const std::scoped_lock hold(guard_);
    return index_.find(key);
}

NamedObjectInfo* NamedObjectsNamespace::append(Prepared entry) {
    const std::scoped_lock hold(guard_);
    NamedObjectInfo* const info = entry.info.release();
    entries_.splice(entries_.end(), entry.place);
    index_.add(info);
    return info;
}

NamedObjectInfo* NamedObjectsNamespace::addEntry(const Key& key, void* object) {
    Prepared entry(key);
    entry.info->object_ = object;
    return append(std::move(entry));
}

NamedObjectsNamespace::Found NamedObjectsNamespace::findOrAdd(const Key& key, void* object) {
    const std::scoped_lock hold(guard_);
    NamedObjectInfo* const info = findInfo(key);
    if (info) return {info, false};
    return {addEntry(key, object), true};
}

NamedObjectInfo* NamedObjectsNamespace::findInfo_(const std::type_info& type, const char* name) {
    return findInfo(Key(type, name));
}

NamedObjectInfo* NamedObjectsNamespace::addListEntry_(const std::type_info& type, const char* name,
                                                      void* object) {
    return addEntry(Key(type, name), object);
}

void* NamedObjectsNamespace::find_(const std::type_info& type, const char* name) {
    requireName(name, 118);
    NamedObjectInfo* const info = findInfo_(type, name);
    if (!info) return nullptr;
    const std::scoped_lock hold(info->lock_);
    return objectOf(*info);
}

void NamedObjectsNamespace::create_(const std::type_info& type, const char* name, void* object) {
    requireName(name, 146);
    requireObject(object, 151);
    const Found found = findOrAdd(Key(type, name), object);
    if (found.isNew) return;
    const std::scoped_lock hold(found.info->lock_);
    if (objectOf(*found.info)) {
        fail("Attempted to create named objects with duplicate names!", 175);
    }
    setObject(*found.info, object);
}

void* NamedObjectsNamespace::findOrCreate_(const std::type_info& type, const char* name,
                                           void* (*factory)()) {
    requireName(name, 198);
    const Key key(type, name);
    std::unique_lock<CriticalSection> hold(guard_);
    NamedObjectInfo* const info = findInfo(key);
    if (!info) {
        // Before the object, which would be lost if there were no memory for its entry.
        Prepared entry(key);
        void* const object = make(factory, hold);
        entry.info->object_ = object;
        append(std::move(entry));
        return object;
    }
    hold.unlock();
    std::unique_lock<CriticalSection> holdEntry(info->lock_);
    if (!objectOf(*info)) setObject(*info, make(factory, holdEntry));
    return objectOf(*info);
}

void NamedObjectsNamespace::createOrReplace_(const std::type_info& type, const char* name,
                                             void* object) {
    requireName(name, 237);
    requireObject(object, 242);
    const Found found = findOrAdd(Key(type, name), object);
    if (found.isNew) return;
    const std::scoped_lock hold(found.info->lock_);
    setObject(*found.info, object);
}

void NamedObjectsNamespace::remove_(const std::type_info& type, const char* name) {
    requireName(name, 272);
    NamedObjectInfo* const info = findInfo_(type, name);
    if (!info) return;
    const std::scoped_lock hold(info->lock_);
    setObject(*info, nullptr);
}

bool NamedObjectsNamespace::lock_(const std::type_info& type, const char* name, bool wait) {
    requireName(name, 295);
    NamedObjectInfo* const info = findOrAdd(Key(type, name), nullptr).info;
    if (!wait) return info->lock_.attemptEntry() == 0;
    info->lock_.enter();
    return true;
}

void NamedObjectsNamespace::unlock_(const std::type_info& type, const char* name) {
    requireName(name, 330);
    NamedObjectInfo* const info = findInfo_(type, name);
    if (!info) {
        fail("Attempted to unlock a named object that had not previously been locked!", 340);
    }
    info->lock_.leave();
}

} // namespace Vq
