#include "VqIPP/VqIPP.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Fills all but the first and last element of a buffer, so that a byte too many is seen.
template <class T>
void expectExactFill(IppStatus (*fill)(T, T*, int), T value, int length, int offset) {
    const T guard = static_cast<T>(0x55);
    std::vector<T> buffer(static_cast<std::size_t>(offset + length + 1), guard);
    EXPECT_EQ(fill(value, buffer.data() + offset, length), kIppStsNoErr);
    for (int i = 0; i < offset + length + 1; ++i) {
        const bool inside = i >= offset && i < offset + length;
        ASSERT_EQ(buffer[static_cast<std::size_t>(i)], inside ? value : guard)
            << "element " << i << " of a fill of " << length << " at " << offset;
    }
}

template <class T> void expectExactFills(IppStatus (*fill)(T, T*, int), T value) {
    for (int length = 1; length <= 130; ++length) {
        for (int offset = 0; offset < 4; ++offset) expectExactFill(fill, value, length, offset);
    }
}

template <class T> void expectRefusals(IppStatus (*fill)(T, T*, int)) {
    T untouched = 7;
    EXPECT_EQ(fill(1, nullptr, 1), kIppStsNullPtrErr);
    EXPECT_EQ(fill(1, nullptr, 0), kIppStsNullPtrErr);
    EXPECT_EQ(fill(1, &untouched, 0), kIppStsSizeErr);
    EXPECT_EQ(fill(1, &untouched, -1), kIppStsSizeErr);
    EXPECT_EQ(untouched, 7);
}

TEST(IppsSet, StoresTheValueInEachElementAndNowhereElse) {
    expectExactFills(ippsSet_8u, static_cast<unsigned char>(0xFF));
    expectExactFills(ippsSet_16s, static_cast<short>(-2));
    expectExactFills(ippsSet_32s, 0x01020304);
    expectExactFills(ippsSet_64s, 0x0102030405060708L);
}

TEST(IppsSet, RefusesANullDestinationAndALengthBelowOne) {
    expectRefusals(ippsSet_8u);
    expectRefusals(ippsSet_16s);
    expectRefusals(ippsSet_32s);
    expectRefusals(ippsSet_64s);
}

} // namespace
