/// The hash index of a named-objects namespace.
#pragma once

#include "Vq/detail/Export.h"

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

/// Finds entries by key; guarded by the lock of its namespace. The chains are in the order of
/// creation, so that of equal keys the oldest is found, as by a walk through the entries.
class NamedObjectIndex {
public:
    NamedObjectIndex() = default;

    /// The oldest entry of that key, or null.
    NamedObjectInfo* find(const NamedObjectKey& key) const noexcept;

    /// Adds an entry behind all others. While there is no memory for a larger table, the chains
    /// grow longer instead.
    void add(NamedObjectInfo* entry) noexcept;

private:
    struct Chain {
        NamedObjectInfo* first = nullptr;
        NamedObjectInfo* last = nullptr;
    };

    static constexpr std::size_t kFirstSize = 8; // a power of two, as all sizes

    static bool matches(const NamedObjectInfo& entry, const NamedObjectKey& key) noexcept;
    static void link(Chain* chains, std::size_t size, NamedObjectInfo* entry) noexcept;
    const Chain* chains() const noexcept { return grown_ ? grown_.get() : first_; }
    Chain* chains() noexcept { return grown_ ? grown_.get() : first_; }
    void grow() noexcept;

    Chain first_[kFirstSize];
    std::unique_ptr<Chain[]> grown_; // in place of first_
    std::size_t size_ = kFirstSize;
    std::size_t count_ = 0;
};

} // namespace detail
} // namespace Vq
