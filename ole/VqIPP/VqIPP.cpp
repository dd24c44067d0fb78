#include "VqIPP/VqIPP.h"

#include <algorithm>

namespace {

// A counted fill of a trivial type: compilers turn it into wide stores, and into memset for bytes.
template <class T> IppStatus fill(T value, T* destination, int length) {
    if (!destination) return kIppStsNullPtrErr;
    if (length <= 0) return kIppStsSizeErr;
    std::fill_n(destination, length, value);
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
