#include "VqTest/Utf8.h"

namespace vqtest {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

/// What a lead byte promises.
struct Sequence {
    int continuations;             ///< bytes to follow; below 0: not a lead byte
    unsigned char lowest, highest; ///< the range of the first of them
};

Sequence sequenceOf(unsigned char lead) {
    if (lead < 0x80) return {0, 0, 0};
    if (lead < 0xC2) return {-1, 0, 0};
    if (lead < 0xE0) return {1, 0x80, 0xBF};
    if (lead == 0xE0) return {2, 0xA0, 0xBF};
    if (lead == 0xED) return {2, 0x80, 0x9F};
    if (lead < 0xF0) return {2, 0x80, 0xBF};
    if (lead == 0xF0) return {3, 0x90, 0xBF};
    if (lead < 0xF4) return {3, 0x80, 0xBF};
    if (lead == 0xF4) return {3, 0x80, 0x8F};
    return {-1, 0, 0};
}

/// Takes one character, or one invalid run, off the front of `bytes`.
wchar_t takeCharacter(std::string_view& bytes) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    auto [continuations, lowest, highest] = sequenceOf(lead);
    if (continuations < 0) return kReplacement;
    int value = continuations == 0 ? lead : lead & (0x3F >> continuations);
    for (; continuations > 0; --continuations) {
        const auto next = bytes.empty() ? '\0' : static_cast<unsigned char>(bytes.front());
        if (next < lowest || next > highest) return kReplacement;
        bytes.remove_prefix(1);
        value = value << 6 | (next & 0x3F);
        lowest = 0x80;
        highest = 0xBF;
    }
    return static_cast<wchar_t>(value);
}

void appendCharacter(MallocString& out, wchar_t character) {
    auto value = static_cast<char32_t>(character);
    if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) value = kReplacement;
    const int continuations = value < 0x80 ? 0 : value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    static constexpr unsigned kLeads[] = {0x00, 0xC0, 0xE0, 0xF0};
    out.push_back(static_cast<char>(kLeads[continuations] | value >> (6 * continuations)));
    for (int rest = continuations - 1; rest >= 0; --rest) {
        out.push_back(static_cast<char>(0x80 | (value >> (6 * rest) & 0x3F)));
    }
}

} // namespace

MallocWString decodeUtf8(std::string_view bytes) {
    MallocWString result;
    while (!bytes.empty()) result.push_back(takeCharacter(bytes));
    return result;
}

MallocString encodeUtf8(std::wstring_view text) {
    MallocString result;
    for (const wchar_t character : text) appendCharacter(result, character);
    return result;
}

} // namespace vqtest
