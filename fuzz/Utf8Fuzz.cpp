// The Linux platform's UTF-8 conversions: on valid text as glibc's iconv, on invalid text by the
// replacement rules, and what is decoded encodes to what was there.

#include "Property.h"

#include "OS/LinuxPlatform.h"
#include "Vq/LightweightString.h"
#include "Vq/Platform.h"
#include "VqTest/Utf8.h"

#include <algorithm>
#include <iconv.h>
#include <optional>

namespace {

using vqfuzz::Input;
using vqfuzz::require;

iSystemUtils& utils() {
    return *linuxPlatform()->utils();
}

/// What iconv makes of all the bytes; nothing when it takes them for invalid.
std::optional<std::string> converted(const char* to, const char* from, std::string_view bytes) {
    const iconv_t descriptor = iconv_open(to, from);
    require(descriptor != reinterpret_cast<iconv_t>(-1), "iconv is there");
    std::string in(bytes);
    std::string out(bytes.size() * 4 + 4, '\0');
    char* source = in.data();
    char* target = out.data();
    std::size_t sourceLeft = in.size();
    std::size_t targetLeft = out.size();
    const std::size_t result = iconv(descriptor, &source, &sourceLeft, &target, &targetLeft);
    iconv_close(descriptor);
    if (result == static_cast<std::size_t>(-1)) return std::nullopt;
    out.resize(out.size() - targetLeft);
    return out;
}

/// Characters above the last that UTF-8 has are valid to iconv all the same.
bool isUnicode(std::wstring_view text) {
    return std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= 0 && c <= 0x10FFFF; });
}

/// The bytes of the characters, as iconv writes and reads them.
std::string_view bytesOf(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

std::wstring charactersOf(std::string_view bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    bytes.copy(reinterpret_cast<char*>(text.data()), bytes.size());
    return text;
}

void checkDecoding(std::string_view bytes) {
    const LightweightString<wchar_t> decoded =
        utils().fromUTF8(bytes.data(), static_cast<int>(bytes.size()));
    require(std::wstring_view(decoded) == std::wstring_view(vqtest::decodeUtf8(bytes)),
            "decoding follows the replacement rules");
    const auto expected = converted("WCHAR_T", "UTF-8", bytes);
    if (!expected || !isUnicode(charactersOf(*expected))) return;
    require(bytesOf(decoded) == *expected, "valid text decodes as iconv decodes it");
    require(std::string_view(utils().toUTF8(decoded)) == bytes, "and encodes to the same bytes");
}

void checkEncoding(std::wstring_view text) {
    const LightweightString<wchar_t> wide(text);
    const LightweightString<char> encoded = utils().toUTF8(wide);
    require(std::string_view(encoded) == std::string_view(vqtest::encodeUtf8(text)),
            "encoding follows the replacement rules");
    const auto expected = converted("UTF-8", "WCHAR_T", bytesOf(text));
    require(!expected || !isUnicode(text) || std::string_view(encoded) == *expected,
            "valid text encodes as iconv encodes it");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const bool isWide = input.below(4) == 0;
    if (!isWide) {
        checkDecoding(input.rest());
        return 0;
    }
    std::wstring text;
    while (!input.atEnd()) text += static_cast<wchar_t>(input.number<std::uint32_t>());
    checkEncoding(text);
    return 0;
}
