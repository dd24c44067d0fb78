/// `LightweightVector`, a list that its copies share.
///
///     LightweightVector<Vq::AttribValuePair> list;      // empty, with a vector of its own
///     LightweightVector<Vq::AttribValuePair> same = list;
///     list.push_back(pair);                             // seen through `same` too
///
/// Thread rule: compatible, where all copies together are one list.
#pragma once

#include "Vq/Ptr.h"
#include "Vq/RefCount.h"

#include <cstddef>
#include <utility>
#include <vector>

/// A shared list. Unlike a string it is **not** copy-on-write: copies go on sharing their elements,
/// which are destroyed with the last of them. On different threads, copies may be made, assigned,
/// read and destroyed at once, while nobody appends.
///
/// \copydetails LightweightVector.h
template <class T> class VQ_EXPORT LightweightVector : public iObject {
public:
    using value_type = T;                                           ///< an element
    using const_iterator = typename std::vector<T>::const_iterator; ///< where an element is

    /// An empty list that shares with nobody: two allocations.
    LightweightVector() : elements_(new std::vector<T>) {}

    /// A list of these elements, which are moved from, that shares with nobody: two allocations.
    explicit LightweightVector(std::vector<T>&& elements)
        : elements_(new std::vector<T>(std::move(elements))) {}

    /// The same list, so neither is a copy of the elements: one increment.
    LightweightVector(const LightweightVector&) = default;
    /// Becomes the other list, elements and all; those that shared the old one keep it.
    LightweightVector& operator=(const LightweightVector&) = default;
    ~LightweightVector() override = default;

    std::size_t size() const noexcept { return elements_->size(); } ///< elements
    bool empty() const noexcept { return elements_->empty(); }      ///< has it none?

    /// The element at `index`, which must be below `size()`.
    const T& operator[](std::size_t index) const noexcept { return (*elements_)[index]; }

    /// @{
    /// Element positions, which a `push_back` through any of the sharing lists invalidates.
    const_iterator begin() const noexcept { return elements_->begin(); }
    const_iterator end() const noexcept { return elements_->end(); }
    /// @}

    /// Appends a copy. Where memory runs out, the list is as it was.
    void push_back(const T& element) { elements_->push_back(element); }

private:
    Vq::Ptr<std::vector<T>, Vq::DtorTraits, Vq::ExternalRefCountTraits> elements_;
};
