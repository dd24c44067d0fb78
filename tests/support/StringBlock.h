/// What tests know about the blocks of strings.
#pragma once

#include "Vq/LightweightString.h"

#include <bit>

namespace vqtest {

/// The start of a string's block, as the platform handed it out; null when empty.
template <class T> const void* blockOf(const LightweightString<T>& text) {
    if (text.empty()) return nullptr;
    return reinterpret_cast<const char*>(text.c_str()) -
           sizeof(typename LightweightString<T>::Impl);
}

/// The address of the block's count.
template <class T> const int* countOf(const LightweightString<T>& text) {
    using Impl = typename LightweightString<T>::Impl;
    return text.empty() ? nullptr : &static_cast<const Impl*>(blockOf(text))->count_;
}

/// The bytes of a block with that many slots.
template <class T> constexpr unsigned long blockBytes(unsigned int capacity) {
    return 24 + capacity * sizeof(T);
}

/// The capacity that a new block for that many characters gets.
constexpr unsigned int roundedCapacity(unsigned int length) {
    return std::bit_ceil(length + 1);
}

} // namespace vqtest
