#include "Vq/detail/NamedObjectIndex.h"

#include "Vq/System.h"
#include "Vq/VqNamedObjects.h"

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

std::size_t chainOf(unsigned int typeCrc, unsigned int nameCrc, std::size_t size) {
    // The checksum of a short name is its letters, which differ little: multiplied, every bit
    // reaches the upper ones.
    const std::size_t both = std::size_t{typeCrc} << 32 | nameCrc;
    return ((both ^ both >> 29) * 0x9E3779B97F4A7C15u >> 32) & (size - 1);
}

} // namespace

NamedObjectKey::NamedObjectKey(const std::type_info& ofType, const char* ofName)
    : type(withoutMark(ofType.name())), name(ofName ? ofName : ""), typeCrc(checksum(type)),
      nameCrc(checksum(name)) {}

bool NamedObjectIndex::matches(const NamedObjectInfo& entry, const NamedObjectKey& key) noexcept {
    return entry.typeCrc_ == key.typeCrc && entry.nameCrc_ == key.nameCrc &&
           entry.typeName_ == key.type && entry.name_ == key.name;
}

NamedObjectInfo* NamedObjectIndex::find(const NamedObjectKey& key) const noexcept {
    NamedObjectInfo* entry = chains()[chainOf(key.typeCrc, key.nameCrc, size_)].first;
    while (entry && !matches(*entry, key)) entry = entry->nextInChain_;
    return entry;
}

void NamedObjectIndex::link(Chain* chains, std::size_t size, NamedObjectInfo* entry) noexcept {
    Chain& chain = chains[chainOf(entry->typeCrc_, entry->nameCrc_, size)];
    entry->nextInChain_ = nullptr;
    (chain.last ? chain.last->nextInChain_ : chain.first) = entry;
    chain.last = entry;
}

void NamedObjectIndex::add(NamedObjectInfo* entry) noexcept {
    if (count_ >= size_) grow(); // more when an earlier growth was refused
    link(chains(), size_, entry);
    ++count_;
}

void NamedObjectIndex::grow() noexcept {
    const std::size_t size = size_ * 2;
    std::unique_ptr<Chain[]> larger(new (std::nothrow) Chain[size]);
    if (!larger) return;
    // Chain by chain keeps the order: equal keys are in one chain.
    for (std::size_t i = 0; i < size_; ++i) {
        NamedObjectInfo* entry = chains()[i].first;
        while (entry) link(larger.get(), size, std::exchange(entry, entry->nextInChain_));
    }
    grown_ = std::move(larger);
    size_ = size;
}

} // namespace Vq::detail
