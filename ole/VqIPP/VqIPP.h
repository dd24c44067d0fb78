/// The fill primitives behind Vq's Memset family: each stores `value` in `length` consecutive
/// elements.
///
/// They stand in for the maker's library of the same interface where that is not installed; a build
/// against the maker's library (CMake's VQ_SYSTEM_IPP) does not contain this one. C linkage, so
/// that either can satisfy the same references.
///
/// All functions return kIppStsNoErr (0) after storing every element. Otherwise nothing is stored:
/// kIppStsNullPtrErr for a null `destination` (checked first), kIppStsSizeErr for a `length`
/// below 1. `destination` needs the alignment of its element type only.
///
/// Thread rule: safe.
#pragma once

using IppStatus = int; ///< 0 or one of the errors below

inline constexpr IppStatus kIppStsNoErr = 0;       ///< all elements are stored
inline constexpr IppStatus kIppStsSizeErr = -6;    ///< a length below 1
inline constexpr IppStatus kIppStsNullPtrErr = -8; ///< a null destination

extern "C" {
/// @{
/// Stores `value` in `length` consecutive elements of the width that the name gives.
[[gnu::visibility("default")]] IppStatus ippsSet_8u(unsigned char value, unsigned char* destination,
                                                    int length);
[[gnu::visibility("default")]] IppStatus ippsSet_16s(short value, short* destination, int length);
[[gnu::visibility("default")]] IppStatus ippsSet_32s(int value, int* destination, int length);
[[gnu::visibility("default")]] IppStatus ippsSet_64s(long value, long* destination, int length);
/// @}
}
