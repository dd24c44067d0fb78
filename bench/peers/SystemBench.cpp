// The CRC-32 of archives, as ISA-L and zlib compute it, and reading the block once.

#include "Bench.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#ifdef VQ_PEER_ISAL
#include <isa-l/crc.h>
#endif
#ifdef VQ_PEER_ZLIB
#include <zlib.h>
#endif

namespace {

using Bytes = std::vector<unsigned char>;

[[maybe_unused]] std::uint32_t definition(const Bytes& bytes) {
    std::uint32_t crc = ~0u;
    for (const unsigned char byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0u);
    }
    return ~crc;
}

template <class Method> void checksum(benchmark::State& state, std::size_t length, Method method) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<unsigned char>(i * 37 >> 2 & 0x7F);
    vqbench::require(method.isRight(bytes));
    for (auto step : state) {
        benchmark::DoNotOptimize(bytes.data());
        benchmark::DoNotOptimize(method(bytes.data(), length));
    }
    state.SetBytesProcessed(static_cast<long>(length) * state.iterations());
}

#ifdef VQ_PEER_ISAL
struct Isal {
    std::uint32_t operator()(const unsigned char* bytes, std::size_t length) const {
        return crc32_gzip_refl(0, bytes, length);
    }
    bool isRight(const Bytes& bytes) const {
        return (*this)(bytes.data(), bytes.size()) == definition(bytes);
    }
};
#endif

#ifdef VQ_PEER_ZLIB
struct Zlib {
    unsigned long operator()(const unsigned char* bytes, std::size_t length) const {
        return crc32_z(0, bytes, length);
    }
    bool isRight(const Bytes& bytes) const {
        return (*this)(bytes.data(), bytes.size()) == definition(bytes);
    }
};
#endif

// A search for a byte that is not there.
struct Read {
    const void* operator()(const unsigned char* bytes, std::size_t length) const {
        return std::memchr(bytes, kAbsent, length);
    }
    bool isRight(const Bytes& bytes) const { return !(*this)(bytes.data(), bytes.size()); }

    static constexpr int kAbsent = 0xFF;
};

template <class Method> void addSizes(const char* peer, Method method) {
    for (const long length : {16L, 4L << 10, 16L << 20}) {
        vqbench::add("checksum", peer, length, [=](benchmark::State& state) {
            checksum(state, static_cast<std::size_t>(length), method);
        });
    }
}

[[maybe_unused]] const bool added = [] {
#ifdef VQ_PEER_ISAL
    addSizes("isal", Isal());
#endif
#ifdef VQ_PEER_ZLIB
    addSizes("zlib", Zlib());
#endif
    addSizes("bound.read", Read());
    return true;
}();

} // namespace
