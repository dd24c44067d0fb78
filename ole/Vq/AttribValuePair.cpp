#include "Vq/AttribValuePair.h"

#include "Vq/String.h"
#include "Vq/detail/PairText.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

template class LightweightVector<Vq::AttribValuePair>;
template class Vq::Ptr<std::vector<Vq::AttribValuePair>, Vq::DtorTraits,
                       Vq::ExternalRefCountTraits>;

namespace Vq {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using List = LightweightVector<AttribValuePair>;
using detail::PairText;

namespace {

Narrow joined(const Narrow& name, char separator, const Narrow& value) {
    return Narrow::concat({name, std::string_view(&separator, separator != '\0' ? 1 : 0), value});
}

} // namespace

AttribValuePair::AttribValuePair(const Narrow& name, const Narrow& value, char separator)
    : text_(joined(name, separator, value)), name_(name), value_(value) {}

AttribValuePair::AttribValuePair(const Wide& name, const Wide& value, char separator)
    : AttribValuePair(toUTF8(name), toUTF8(value), separator) {}

AttribValuePair::AttribValuePair(const Narrow& text, char separator) : text_(text) {
    const PairText parts(text_, separator);
    name_ = Narrow(parts.name());
    value_ = Narrow(parts.value());
}

AttribValuePair& AttribValuePair::operator=(const AttribValuePair& other) {
    return &other == this ? *this : *this = AttribValuePair(other);
}

AttribValuePair& AttribValuePair::operator=(AttribValuePair&& other) {
    if (&other == this) return *this;
    if (other.form_ == kTextOnly) return *this = AttribValuePair(other.text_, '=');
    form_ = other.form_;
    if (form_ == kTextAndParts) text_ = std::move(other.text_);
    name_ = std::move(other.name_);
    value_ = std::move(other.value_);
    return *this;
}

AttribValuePair AttribValuePair::fromText(const Narrow& text) {
    AttribValuePair pair;
    pair.form_ = kTextOnly;
    pair.text_ = text;
    return pair;
}

AttribValuePair AttribValuePair::fromParts(const Narrow& name, const Narrow& value) {
    AttribValuePair pair;
    pair.form_ = kPartsOnly;
    pair.name_ = name;
    pair.value_ = value;
    return pair;
}

bool AttribValuePair::valid() const {
    return form_ != kTextOnly && !name_.empty() && !value_.empty();
}

bool AttribValuePair::samePartsAs(const AttribValuePair& other) const {
    return name_ == other.name_ && value_ == other.value_;
}

bool AttribValuePair::operator==(const AttribValuePair& other) const {
    const auto either = [this, &other](Form form) { return form_ == form || other.form_ == form; };
    if (either(kTextOnly)) {
        return text_ == other.text_ && (!either(kPartsOnly) || samePartsAs(other));
    }
    return samePartsAs(other) || (!either(kPartsOnly) && text_ == other.text_);
}

Narrow AttribValuePair::asString(char separator) const {
    return form_ == kPartsOnly ? joined(name_, separator, value_) : text_;
}

Wide AttribValuePair::asWString(char separator) const {
    return WStringFromAscii(asString(separator).c_str());
}

namespace {

// Characters that the pair prints as.
std::size_t printedLength(const AttribValuePair& pair, char separator) {
    if (pair.form() != AttribValuePair::kPartsOnly) return pair.text().length();
    return std::size_t{pair.name().length()} + (separator != '\0' ? 1 : 0) + pair.value().length();
}

// A pair of the usual length is copied sooner than memcpy has begun.
char* copyTo(char* to, std::string_view text) {
    constexpr std::size_t kStep = 16, kUsual = 96;
    char* const end = to + text.size();
    if (text.size() < kStep || text.size() > kUsual) {
        return std::copy(text.begin(), text.end(), to);
    }
    const char* from = text.data();
    for (; to < end - kStep; to += kStep, from += kStep) std::memcpy(to, from, kStep);
    // What is left, with some of what was copied already.
    std::memcpy(end - kStep, text.data() + text.size() - kStep, kStep);
    return end;
}

char* printTo(char* to, const AttribValuePair& pair, char separator) {
    if (pair.form() != AttribValuePair::kPartsOnly) return copyTo(to, pair.text());
    to = copyTo(to, pair.name());
    if (separator != '\0') *to++ = separator;
    return copyTo(to, pair.value());
}

} // namespace

// Measured first, so that one block is allocated.
Narrow AttribValuePair::asString(const List& list, char pairSeparator, char listSeparator) {
    // Once: the text that is written might be the list's, for all the compiler knows.
    const auto first = list.begin(), end = list.end();
    std::size_t length = 0;
    for (auto pair = first; pair != end; ++pair) {
        if (pair != first && length != 0 && listSeparator != '\0') ++length;
        length += printedLength(*pair, pairSeparator);
    }

    Narrow printed = Narrow::withLength(length);
    char* const begin = printed.data();
    char* to = begin;
    for (auto pair = first; pair != end; ++pair) {
        if (pair != first && to != begin && listSeparator != '\0') *to++ = listSeparator;
        to = printTo(to, *pair, pairSeparator);
    }
    return printed;
}

Wide AttribValuePair::asWString(const List& list, char pairSeparator, char listSeparator) {
    return fromUTF8(asString(list, pairSeparator, listSeparator));
}

List AttribValuePair::vecFromString(const Narrow& text, char pairSeparator, char listSeparator) {
    const std::string_view whole = text;
    // Fields that are empty, at an end or in between, are dropped like all that are not valid.
    const auto forEachValid = [&](auto use) {
        for (std::size_t start = 0; start < whole.size();) {
            const std::size_t end = std::min(whole.find(listSeparator, start), whole.size());
            const PairText field(whole.substr(start, end - start), pairSeparator);
            if (field.isValid()) use(field);
            start = end + 1;
        }
    };
    std::size_t count = 0;
    forEachValid([&](const PairText& /*field*/) { ++count; });

    std::vector<AttribValuePair> pairs;
    pairs.reserve(count);
    forEachValid([&](const PairText& field) {
        // The one field of a text without separators shares its block.
        const bool isWhole = field.whole.size() == whole.size();
        pairs.push_back(isWhole ? field.pair(text) : field.pair());
    });
    return List(std::move(pairs));
}

Narrow AttribValuePair::getValue(const Narrow& name, const List& list) {
    // Reading a volatile is an effect: compilers may assume that a loop without any comes to an
    // end.
    const volatile auto count = static_cast<unsigned int>(list.size());
    // 16 bits on purpose; the documentation says what that means for long lists.
    // NOLINTNEXTLINE(bugprone-too-small-loop-variable)
    for (unsigned short i = 0; i < count; ++i) {
        if (list[i].name() == name) return list[i].value();
    }
    return {};
}

Wide AttribValuePair::getValue(const Wide& name, const List& list) {
    return fromUTF8(getValue(toUTF8(name), list));
}

} // namespace Vq
