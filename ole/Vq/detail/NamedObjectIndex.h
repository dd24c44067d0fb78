/// The hash index of a named-objects namespace.
#pragma once

#include "Vq/detail/Export.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string_view>
#include <typeinfo>

class NamedObjectInfo;

namespace Vq {

class NamedObjectsNamespace;

namespace detail {

/// What an entry is found by, with both checksums, which are computed here and nowhere else.
struct NamedObjectKey {
    NamedObjectKey(const std::type_info& type, const char* name);

    std::string_view type; ///< without a leading '*'
    std::string_view name;
    unsigned int typeCrc;
    unsigned int nameCrc;
};

/// Finds entries by key; guarded by the lock of its namespace. Of equal keys the oldest is found,
/// as by a walk through the entries.
///
/// A table of places that are taken in the order of creation, half of them at the most: each entry
/// has the first free one from where its checksums point. Some bits of these stand beside the
/// address, so that a lookup hardly ever touches an entry but the one that it finds: with many
/// entries, what is touched is what takes the time.
class NamedObjectIndex {
public:
    NamedObjectIndex() = default;

    /// The oldest entry of that key, or null.
    NamedObjectInfo* find(const NamedObjectKey& key) const noexcept;

    /// Has the processor fetch what `find` looks at first. Needs no lock.
    void prepareFind(const NamedObjectKey& key) const noexcept;

    /// Adds an entry behind all others. While there is no memory for a larger table, those that it
    /// has no room for make a list.
    void add(NamedObjectInfo* entry) noexcept;

private:
    using Checksums = unsigned long; // that of the type above that of the name

    // The address of an entry in the lower 48 bits, bits of its checksums in the others; 0: free.
    using Place = unsigned long;

    static constexpr std::size_t kFirstSize = 8; // a power of two, as all sizes
    static constexpr std::size_t kTypes = 4;

    static Checksums checksumsOf(const NamedObjectInfo& entry) noexcept;
    static bool matches(const NamedObjectInfo& entry, Checksums checksums,
                        const NamedObjectKey& key) noexcept;
    static void put(Place* places, std::size_t size, NamedObjectInfo* entry) noexcept;
    const Place* places() const noexcept { return grown_ ? grown_.get() : first_; }
    Place* places() noexcept { return grown_ ? grown_.get() : first_; }
    bool isFull() const noexcept { return count_ >= size_ / 2; }
    bool grow() noexcept; // false: no memory. What was left out comes in, and may fill it again.
    void append(NamedObjectInfo* entry) noexcept;
    void noteType(NamedObjectInfo* entry) noexcept;

    Place first_[kFirstSize] = {};
    std::unique_ptr<Place[]> grown_;                   // in place of first_
    std::atomic<unsigned long> mask_ = kFirstSize - 1; // as size_, for who does not hold the lock
    std::atomic<const Place*> table_ = first_;         // likewise
    std::size_t size_ = kFirstSize;
    std::size_t count_ = 0; // of entries in the table
    NamedObjectInfo* firstLeftOut_ = nullptr;
    NamedObjectInfo* lastLeftOut_ = nullptr;
    const NamedObjectInfo* types_[kTypes] = {}; // the last different ones
    std::size_t nextType_ = 0;
};

} // namespace detail
} // namespace Vq
