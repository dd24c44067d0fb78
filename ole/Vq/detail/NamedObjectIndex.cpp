#include "Vq/detail/NamedObjectIndex.h"

#include "Vq/System.h"
#include "Vq/VqNamedObjects.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace Vq::detail {

namespace {

std::string_view withoutMark(const char* typeName) {
    return typeName[0] == '*' ? typeName + 1 : typeName;
}

unsigned int checksum(std::string_view text) {
    return CRC::CalculateCRC32ForBlock(text.data(), text.size());
}

constexpr std::uint64_t joined(unsigned int typeCrc, unsigned int nameCrc) {
    return std::uint64_t{typeCrc} << 32 | nameCrc;
}

// The checksum of a short name is its letters, which differ little: multiplied, every bit reaches
// the upper ones.
std::uint64_t mixed(std::uint64_t checksums) {
    return (checksums ^ checksums >> 29) * 0x9E3779B97F4A7C15u;
}

std::size_t firstPlace(std::uint64_t mix, std::size_t size) {
    return (mix >> 24) & (size - 1);
}

// What of a place is not the address. Processors give programs no address that has such bits,
// unless asked to; an entry at such a one is left out of the table.
constexpr std::uint64_t kBeside = std::uint64_t{0xFFFF} << 48;

bool hasPlainAddress(const NamedObjectInfo* entry) {
    return (reinterpret_cast<std::uintptr_t>(entry) & kBeside) == 0;
}

NamedObjectInfo* entryIn(std::uint64_t place) {
    return reinterpret_cast<NamedObjectInfo*>(place & ~kBeside);
}

} // namespace

NamedObjectKey::NamedObjectKey(const std::type_info& ofType, const char* ofName)
    : type(withoutMark(ofType.name())), name(ofName ? ofName : ""), typeCrc(checksum(type)),
      nameCrc(checksum(name)) {}

NamedObjectIndex::Checksums NamedObjectIndex::checksumsOf(const NamedObjectInfo& entry) noexcept {
    return joined(entry.typeCrc_, entry.nameCrc_);
}

bool NamedObjectIndex::matches(const NamedObjectInfo& entry, Checksums checksums,
                               const NamedObjectKey& key) noexcept {
    if (checksumsOf(entry) != checksums || entry.likeTyped_->typeName_ != key.type) return false;
    // A short name is compared in the entry: the text of its own lies in another place, which the
    // processor would have to wait for.
    const std::size_t length = key.name.size();
    if (length >= sizeof entry.nameStart_) return entry.name_ == key.name;
    return entry.nameStart_[length] == '\0' &&
           std::memcmp(entry.nameStart_, key.name.data(), length) == 0;
}

void NamedObjectIndex::prepareFind(const NamedObjectKey& key) const noexcept {
    const std::uint64_t place = mixed(joined(key.typeCrc, key.nameCrc)) >> 24;
    // An address only: the table may have been replaced by now, or the two be of different ones.
    const auto table = reinterpret_cast<std::uintptr_t>(table_.load(std::memory_order_relaxed));
    const std::uintptr_t offset = (place & mask_.load(std::memory_order_relaxed)) * sizeof(Place);
    __builtin_prefetch(reinterpret_cast<const void*>(table + offset));
}

NamedObjectInfo* NamedObjectIndex::find(const NamedObjectKey& key) const noexcept {
    const Checksums checksums = joined(key.typeCrc, key.nameCrc);
    const std::uint64_t mix = mixed(checksums);
    const Place* const all = places();
    for (std::size_t i = firstPlace(mix, size_); all[i] != 0; i = (i + 1) & (size_ - 1)) {
        if (((all[i] ^ mix) & kBeside) != 0) continue;
        NamedObjectInfo* const entry = entryIn(all[i]);
        // What the caller wants next; it comes while the texts are compared.
        __builtin_prefetch(entry->lock_.rep_.get());
        __builtin_prefetch(entry->platformLock_);
        if (matches(*entry, checksums, key)) return entry;
    }
    NamedObjectInfo* entry = firstLeftOut_;
    while (entry && !matches(*entry, checksums, key)) entry = entry->next_;
    return entry;
}

void NamedObjectIndex::put(Place* places, std::size_t size, NamedObjectInfo* entry) noexcept {
    const std::uint64_t mix = mixed(checksumsOf(*entry));
    std::size_t i = firstPlace(mix, size);
    while (places[i] != 0) i = (i + 1) & (size - 1);
    places[i] = (mix & kBeside) | reinterpret_cast<std::uintptr_t>(entry);
}

void NamedObjectIndex::add(NamedObjectInfo* entry) noexcept {
    noteType(entry);
    std::string_view(entry->name_).copy(entry->nameStart_, sizeof entry->nameStart_);
    entry->platformLock_ = entry->lock_.rep_->lock_.get();
    while (isFull() && grow()) {
    }
    append(entry);
}

// Into the table; once one was left out, behind that, since the table is searched first.
void NamedObjectIndex::append(NamedObjectInfo* entry) noexcept {
    if (!isFull() && !firstLeftOut_ && hasPlainAddress(entry)) {
        put(places(), size_, entry);
        ++count_;
        return;
    }
    (firstLeftOut_ ? lastLeftOut_->next_ : firstLeftOut_) = entry;
    lastLeftOut_ = entry;
}

bool NamedObjectIndex::grow() noexcept {
    const std::size_t size = size_ * 2;
    std::unique_ptr<Place[]> larger(new (std::nothrow) Place[size]());
    if (!larger) return false;
    // From behind a free place, so that no row of taken ones is begun in its middle: that keeps the
    // order of those that point to the same place.
    const Place* const all = places();
    std::size_t start = 0;
    while (all[start] != 0) ++start;
    for (std::size_t i = start + 1; i < start + size_; ++i) {
        const Place place = all[i & (size_ - 1)];
        if (place != 0) put(larger.get(), size, entryIn(place));
    }
    grown_ = std::move(larger);
    size_ = size;
    table_.store(grown_.get(), std::memory_order_relaxed);
    mask_.store(size - 1, std::memory_order_relaxed);
    for (NamedObjectInfo* entry = std::exchange(firstLeftOut_, nullptr); entry;) {
        append(std::exchange(entry, std::exchange(entry->next_, nullptr)));
    }
    return true;
}

// Entries of one type have its name compared in one place, which stays in the processor's cache.
void NamedObjectIndex::noteType(NamedObjectInfo* entry) noexcept {
    entry->likeTyped_ = entry;
    for (const NamedObjectInfo* other : types_) {
        if (other && other->typeCrc_ == entry->typeCrc_ && other->typeName_ == entry->typeName_) {
            entry->likeTyped_ = other;
            return;
        }
    }
    types_[nextType_++ % kTypes] = entry;
}

} // namespace Vq::detail
