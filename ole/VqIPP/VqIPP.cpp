#include "VqIPP/VqIPP.h"

#include "VqIPP/Fills.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace {

void chooseAndFill(unsigned char* to, std::size_t length, std::uint64_t bytes);

// Relaxed: the method stands for itself, and two first callers store the same one.
constinit std::atomic<fills::Method> longFill{chooseAndFill};

// The first call chooses: asking the processor costs some hundred cycles.
void chooseAndFill(unsigned char* to, std::size_t length, std::uint64_t bytes) {
    const fills::Method method = fills::bestMethod();
    longFill.store(method, std::memory_order_relaxed);
    method(to, length, bytes);
}

template <class T> IppStatus fill(T value, T* destination, int length) {
    if (!destination) return kIppStsNullPtrErr;
    auto* const to = reinterpret_cast<unsigned char*>(destination);
    const std::size_t size = static_cast<std::size_t>(length) * sizeof(T);
    // One comparison tells a short length from a long one and from none.
    if (static_cast<unsigned int>(length) - 1 < fills::kShort / sizeof(T)) {
        fills::fillShort(to, size, value);
        return kIppStsNoErr;
    }
    if (length <= 0) return kIppStsSizeErr;
    longFill.load(std::memory_order_relaxed)(to, size, fills::pattern(value));
    return kIppStsNoErr;
}

} // namespace

IppStatus ippsSet_8u(unsigned char value, unsigned char* destination, int length) {
    return fill(value, destination, length);
}

IppStatus ippsSet_16s(short value, short* destination, int length) {
    return fill(value, destination, length);
}

IppStatus ippsSet_32s(int value, int* destination, int length) {
    return fill(value, destination, length);
}

IppStatus ippsSet_64s(long value, long* destination, int length) {
    return fill(value, destination, length);
}
