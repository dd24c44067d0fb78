/// What the fuzz targets share: input taken apart, properties required.
///
/// A target is a function of bytes that ends the process when a property of the library does not
/// hold. libFuzzer looks for such bytes; the tests replay those that are kept under corpus/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vqfuzz {

/// Ends the process, naming the property, unless it holds.
inline void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
}

/// Bytes, consumed from the front: choices first, text last, so that the text of a corpus file can
/// be read and written by hand. An input that has run out gives zeros and empty texts.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : bytes_(reinterpret_cast<const char*>(data), size) {} // bytes may be seen as characters

    bool atEnd() const { return bytes_.empty(); }

    unsigned char byte() {
        if (bytes_.empty()) return 0;
        const char first = bytes_.front();
        bytes_.remove_prefix(1);
        return static_cast<unsigned char>(first);
    }

    /// A choice below `limit`, which is at most 256.
    unsigned int below(unsigned int limit) { return byte() % limit; }

    std::string_view text(std::size_t length) {
        const std::string_view taken = bytes_.substr(0, length);
        bytes_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view rest() { return text(bytes_.size()); }

    /// The object representation of a number; zero bytes where the input has run out.
    template <class N> N number() {
        N value{};
        const std::string_view taken = text(sizeof value);
        taken.copy(reinterpret_cast<char*>(&value), taken.size());
        return value;
    }

private:
    std::string_view bytes_;
};

/// The characters that `byte` can stand for in wide text: itself for ASCII, otherwise one of those
/// that a parser may mistake for something.
inline wchar_t wideFor(char byte) {
    static constexpr wchar_t kSpecial[] = {0xA0,   0x130,  0x17F,  0x212A,  0x660,    0x2003,
                                           0x3000, 0xFF11, 0xFFFD, 0x1D7CE, 0x10FFFF, 0xDF};
    const auto code = static_cast<unsigned char>(byte);
    if (code < 0x80) return static_cast<wchar_t>(code);
    return kSpecial[code % (sizeof kSpecial / sizeof *kSpecial)];
}

inline std::wstring wideFor(std::string_view bytes) {
    std::wstring wide;
    for (const char byte : bytes) wide += wideFor(byte);
    return wide;
}

/// A narrow text as the same characters of either width.
template <class C> std::basic_string<C> textAs(std::string_view bytes) {
    if constexpr (sizeof(C) == 1) {
        return std::string(bytes);
    } else {
        return wideFor(bytes);
    }
}

} // namespace vqfuzz
