/// Text conversion between bytes and wide characters (UTF-32).
///
/// Each result is counted first and then written into a block of the rounded capacity: one
/// allocation, none for an empty result. Zero bytes and zero characters are converted like any
/// other. Results of 2^31 characters or more throw `std::bad_alloc`, as a string cannot hold them.
///
/// Thread rule: safe.
#pragma once

#include "Vq/LightweightString.h"

#include <string_view>

namespace Vq {

/// Each byte as the character of the same value, 0x80 to 0xFF included.
LightweightString<wchar_t> widenBytes(std::string_view bytes);

/// Decodes UTF-8. What is not well-formed becomes U+FFFD, one for each maximal subpart as the
/// Unicode Standard recommends: the longest start of a well-formed sequence, or else a single byte.
/// So a sequence cut short is one U+FFFD, an encoded surrogate three, and the byte that ends a
/// broken sequence is decoded afresh.
LightweightString<wchar_t> decodeUtf8(std::string_view bytes);

/// Encodes as UTF-8. Surrogates and values above 0x10FFFF become U+FFFD.
LightweightString<char> encodeUtf8(std::wstring_view text);

} // namespace Vq
