// Identifier texts of any length, narrow and wide: taken exactly when libc's scanf family takes
// them, with the bytes that it reads.

#include "Property.h"

#include "Vq/UUID.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace {

using vqfuzz::Input;
using vqfuzz::require;

int scan(const char* text, unsigned int* v) {
    return std::sscanf(text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                       v, v + 1, v + 2, v + 3, v + 4, v + 5, v + 6, v + 7, v + 8, v + 9, v + 10,
                       v + 11, v + 12, v + 13, v + 14, v + 15);
}

int scan(const wchar_t* text, unsigned int* v) {
    return std::swscanf(text,
                        L"%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", v,
                        v + 1, v + 2, v + 3, v + 4, v + 5, v + 6, v + 7, v + 8, v + 9, v + 10,
                        v + 11, v + 12, v + 13, v + 14, v + 15);
}

template <class C> Vq::UUID expectedOf(std::basic_string<C> text) {
    if (text.size() == 38) {
        if (text.front() != '{' || text.back() != '}') return {};
        text = text.substr(1, 36);
    }
    unsigned int values[16] = {};
    if (text.size() != 36 || scan(text.c_str(), values) != 16) return {};
    SimpleUUID bytes;
    std::copy(std::begin(values), std::end(values), bytes.bytes);
    return bytes;
}

template <class C> void check(std::string_view input) {
    const auto text = vqfuzz::textAs<C>(input);
    const Vq::UUID expected = expectedOf(text);
    Vq::UUID id = Vq::UUID::generate();
    id.initFromString(text.c_str(), static_cast<unsigned int>(text.size()));
    require(id == expected, "the text gives what libc reads");
    require(id == Vq::UUID(LightweightString<C>(std::basic_string_view<C>(text))),
            "a string gives what its characters give");
    require(Vq::UUID(id.asString()) == id && Vq::UUID(id.asWString()) == id,
            "what is printed reads back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = Input(data, size).rest();
    check<char>(text);
    check<wchar_t>(text);
    return 0;
}
