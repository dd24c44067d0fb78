#include "UuidCommands.h"

#include "Numbers.h"

#include "Vq/UUID.h"

#include <bit>
#include <cstdio>
#include <optional>
#include <string_view>

namespace vqtool {

namespace {

std::string bytesOf(const SimpleUUID& id) {
    std::string text;
    for (const unsigned char byte : id.bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x ", byte);
        text += digits;
    }
    text.pop_back();
    return text;
}

/// By the leading bits of byte 8: 0, 10, 110 or 111.
const char* variantOf(const SimpleUUID& id) {
    const unsigned int byte = id.bytes[8];
    if (byte < 0x80) return "ncs";
    if (byte < 0xC0) return "rfc4122";
    return byte < 0xE0 ? "guid" : "future";
}

/// The text of the invalid value, with or without braces: all zeros.
bool isAllZero(std::string_view text) {
    const LightweightString<char> zeros = Vq::UUID().asString();
    return text == zeros || text == joined({"{", zeros, "}"});
}

} // namespace

Status printNewIdentifiers(const std::string& count) {
    const std::optional<unsigned long> wanted = numberIn<unsigned long>(count);
    if (!wanted || *wanted == 0) return complain("-n", "N is a number from 1 up", kWrongUsage);
    for (unsigned long i = 0; i < *wanted && !isOutputBroken(); ++i) {
        printLine({Vq::UUID::generate().asString()});
    }
    return kDone;
}

Status showIdentifier(const std::string& text) {
    const Vq::UUID id{LightweightString<char>(std::string_view(text))};
    if (!id.valid()) {
        return complain(text, isAllZero(text) ? "is the invalid value" : "is no identifier");
    }
    const auto bytes = std::bit_cast<SimpleUUID>(id);
    const std::string_view variant = variantOf(bytes);
    const std::string version = variant == "rfc4122" ? std::to_string(bytes.bytes[6] >> 4) : "none";
    printLine({named("identifier", id.asString())});
    printLine({named("bytes", bytesOf(bytes))});
    printLine({named("variant", variant)});
    printLine({named("version", version)});
    return kDone;
}

} // namespace vqtool
