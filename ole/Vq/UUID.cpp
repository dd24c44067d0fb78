#include "Vq/UUID.h"

#include "Vq/Platform.h"
#include "Vq/detail/UuidText.h"

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <type_traits>

#include <string.h>
#include <wchar.h>

namespace Vq {

static_assert(sizeof(UUID) == 16 && std::is_trivially_copyable_v<UUID>);

namespace {

using detail::kUuidBytes;
constexpr unsigned int kLength = UUID::kTextLength;
static_assert(kLength == detail::kUuidText);

template <class C> void printTo(C* out, const unsigned char* bytes) noexcept {
    detail::printUuid(bytes, out);
    out[kLength] = C();
}

std::size_t lengthUpTo(const char* text, std::size_t limit) {
    return ::strnlen(text, limit);
}

std::size_t lengthUpTo(const wchar_t* text, std::size_t limit) {
    return ::wcsnlen(text, limit);
}

// Two digits for every byte and every hyphen in its place: by far the usual text. Nothing may be
// behind a terminator.
template <class C> bool parsePlain(const C* text, unsigned char* bytes) {
    return lengthUpTo(text, kLength) == kLength && detail::parseUuid(text, bytes);
}

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

// Whatever else libc takes for such digits. As libc does, it stops at a terminator.
template <class C> bool parseOdd(const C* text, unsigned char* bytes) {
    C terminated[kLength + 1] = {};
    for (unsigned int i = 0; i < kLength && text[i] != C(); ++i) terminated[i] = text[i];
    unsigned int values[kUuidBytes] = {};
    if (scan(terminated, values) != static_cast<int>(kUuidBytes)) return false;
    for (unsigned int i = 0; i < kUuidBytes; ++i) bytes[i] = static_cast<unsigned char>(values[i]);
    return true;
}

// The 36 characters that are to be parsed, null when there are none.
template <class C> const C* withoutBraces(const C* text, unsigned int length) {
    if (!text || length == kLength) return text;
    if (length != kLength + 2 || text[0] != C('{') || text[kLength + 1] != C('}')) return nullptr;
    return text + 1;
}

template <class C> void parse(const C* text, unsigned int length, unsigned long (&words)[2]) {
    unsigned char bytes[kUuidBytes];
    const C* const form = withoutBraces(text, length);
    if (form && (parsePlain(form, bytes) || parseOdd(form, bytes))) {
        std::memcpy(words, bytes, sizeof words);
    } else {
        words[0] = words[1] = 0;
    }
}

// A text too long for its 32-bit length is no identifier either; it must not wrap around to one.
template <class C> unsigned int lengthOf(const C* text) {
    const std::size_t length = text ? std::char_traits<C>::length(text) : 0;
    return length <= kLength + 2 ? static_cast<unsigned int>(length) : 0;
}

} // namespace

UUID::UUID(const SimpleUUID& bytes) noexcept {
    std::memcpy(words_, bytes.bytes, sizeof words_);
}

UUID::UUID(const char* text) {
    initFromString(text, lengthOf(text));
}

UUID::UUID(const wchar_t* text) {
    initFromString(text, lengthOf(text));
}

UUID::UUID(const LightweightString<char>& text) {
    initFromString(text.c_str(), text.length());
}

UUID::UUID(const LightweightString<wchar_t>& text) {
    initFromString(text.c_str(), text.length());
}

UUID UUID::generate() {
    const UuidWords words = OS()->utils()->generateUUID();
    UUID id;
    id.words_[0] = words.first;
    id.words_[1] = words.second;
    return id;
}

void UUID::initFromString(const char* text, unsigned int length) {
    parse(text, length, words_);
}

void UUID::initFromString(const wchar_t* text, unsigned int length) {
    parse(text, length, words_);
}

void UUID::invalidate() noexcept {
    words_[0] = words_[1] = 0;
}

bool UUID::valid() const noexcept {
    return (words_[0] | words_[1]) != 0;
}

bool UUID::operator==(const UUID& other) const noexcept {
    return words_[0] == other.words_[0] && words_[1] == other.words_[1];
}

bool UUID::operator<(const UUID& other) const noexcept {
    return std::memcmp(words_, other.words_, sizeof words_) < 0;
}

void UUID::asString(char* out) const noexcept {
    printTo(out, reinterpret_cast<const unsigned char*>(words_)); // bytes may view anything
}

void UUID::asWString(wchar_t* out) const noexcept {
    printTo(out, reinterpret_cast<const unsigned char*>(words_));
}

LightweightString<char> UUID::asString() const {
    auto text = LightweightString<char>::withLength(kLength);
    asString(text.data());
    return text;
}

LightweightString<wchar_t> UUID::asWString() const {
    auto text = LightweightString<wchar_t>::withLength(kLength);
    asWString(text.data());
    return text;
}

} // namespace Vq
