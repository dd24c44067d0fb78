/// Identifiers and their sixteen bytes.
#pragma once

#include "Vq/UUID.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vqtest {

using Bytes = std::array<unsigned char, 16>;

inline constexpr Bytes kCounting = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                    0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};

inline Bytes bytesOf(const Vq::UUID& id) {
    Bytes bytes;
    std::memcpy(bytes.data(), &id, bytes.size());
    return bytes;
}

inline Vq::UUID idOf(const Bytes& bytes) {
    SimpleUUID simple;
    std::ranges::copy(bytes, simple.bytes);
    return Vq::UUID(simple);
}

} // namespace vqtest
