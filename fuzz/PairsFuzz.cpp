// Attribute/value pairs and lists of them, against std::string.

#include "Property.h"

#include "Vq/AttribValuePair.h"

#include <utility>
#include <vector>

namespace {

using Vq::AttribValuePair;
using vqfuzz::Input;
using vqfuzz::require;
using Narrow = LightweightString<char>;
using Parts = std::pair<std::string, std::string>;

/// Name and value; both empty without a separator before the first zero byte.
Parts partsOf(const std::string& text, char separator) {
    const std::size_t at = std::string(text.c_str()).find(separator);
    // A zero separator would be found at the text's own end.
    if (at == std::string::npos) return {};
    return {text.substr(0, at), text.substr(at + 1)};
}

AttribValuePair pairOf(const std::string& text, char separator) {
    return {Narrow(std::string_view(text)), separator};
}

void checkPair(const std::string& text, char separator) {
    const AttribValuePair pair = pairOf(text, separator);
    require(std::string_view(pair.text()) == text, "a pair keeps its text");
    if (separator != 0) {
        const auto [name, value] = partsOf(text, separator);
        require(pair.name() == std::string_view(name), "the name is what stands before");
        require(pair.value() == std::string_view(value), "the value is what stands behind");
        require(pair.valid() == (!name.empty() && !value.empty()), "valid with both parts");
    }
    const AttribValuePair copy(pair);
    AttribValuePair assigned;
    assigned = AttribValuePair::fromText(Narrow(std::string_view(text)));
    require(copy == pair, "a copy is equal");
    require(assigned == pairOf(text, '='), "an unsplit pair is split when it is assigned");
    const AttribValuePair joined(pair.name(), pair.value(), separator);
    require(joined.name() == pair.name() && joined.value() == pair.value() &&
                joined.valid() == pair.valid(),
            "a pair from its parts has them");
}

/// The pieces of a text, without an empty one at either end of several.
std::vector<std::string> fieldsOf(const std::string& text, char separator) {
    std::vector<std::string> fields(1);
    for (const char c : text) {
        if (c == separator) {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields; // empty ones make no valid pair anyway
}

void checkList(const std::string& text, char pairSeparator, char listSeparator) {
    const auto list = AttribValuePair::vecFromString(Narrow(std::string_view(text)), pairSeparator,
                                                     listSeparator);
    std::vector<std::string> expected;
    for (const std::string& field : fieldsOf(text, listSeparator)) {
        if (pairOf(field, pairSeparator).valid()) expected.push_back(field);
    }
    require(list.size() == expected.size(), "a list holds the valid pairs");
    std::string printed;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        require(std::string_view(list[i].text()) == expected[i], "in the order of the text");
        if (!printed.empty() && listSeparator != 0) printed += listSeparator;
        printed += expected[i];
    }
    require(std::string_view(AttribValuePair::asString(list, pairSeparator, listSeparator)) ==
                printed,
            "a list prints its pairs");
    for (const AttribValuePair& pair : list) {
        const Narrow found = AttribValuePair::getValue(pair.name(), list);
        const AttribValuePair* first = &*list.begin();
        while (first->name() != pair.name()) ++first;
        require(found == first->value(), "a name finds the value of its first pair");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 4096) return 0; // lookups of every name are quadratic
    Input input(data, size);
    const auto pairSeparator = static_cast<char>(input.byte());
    const auto listSeparator = static_cast<char>(input.byte());
    const std::string text(input.rest());
    checkPair(text, pairSeparator);
    checkList(text, pairSeparator, listSeparator);
    return 0;
}
