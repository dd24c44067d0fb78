/// UTF-8 as the scripted platform converts it: strict, with U+FFFD for what is not valid.
#pragma once

#include "VqTest/MallocAllocator.h"

#include <string_view>

namespace vqtest {

/// Each maximal invalid run of bytes becomes one U+FFFD.
MallocWString decodeUtf8(std::string_view bytes);

/// Surrogates and values above 0x10FFFF become U+FFFD.
MallocString encodeUtf8(std::wstring_view text);

} // namespace vqtest
