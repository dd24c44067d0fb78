/// Text conversion, clock, identifiers, call stacks.
#pragma once

#include "Vq/Platform.h"

namespace Vq {

/// Safe. A null text counts as the empty one.
class LinuxSystemUtils final : public iSystemUtils {
public:
    constexpr LinuxSystemUtils() = default;

    /// Bytes from 0x80 on become the characters of the same value.
    LightweightString<wchar_t> wideFromAscii(const char* text) override;

    /// As UTF-8, like `toUTF8`.
    LightweightString<char> narrowFromWide(const wchar_t* text) override;

    LightweightString<char> toUTF8(const LightweightString<wchar_t>& text) override;

    /// A length of 0 or less gives the empty string.
    LightweightString<wchar_t> fromUTF8(const char* text, int bytes) override;

    /// Since the machine was started, time asleep not counted.
    double now() override;

    UuidWords generateUUID() override;

    /// Replaces what `lines` held; when memory runs out, `lines` is left as it was. The format is
    /// that of LinuxCallStack.h, the first line is the caller's frame.
    void getCallStack(std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>*
                          lines) override;
};

} // namespace Vq
