#include "OS/LinuxText.h"

#include "OS/Utf8Avx2.h"
#include "OS/Utf8Avx512.h"
#include "OS/Utf8Plain.h"
#include "Vq/detail/TextPaths.h"

#include <cstddef>
#include <new>

namespace Vq {

namespace {

using detail::bestTextPath;
using detail::TextPath;

constexpr std::size_t kLengthLimit = std::size_t{1} << 31;

/// A string of `length` characters, to be written through `data()`.
template <class T> LightweightString<T> makeText(std::size_t length) {
    if (length >= kLengthLimit) throw std::bad_alloc();
    LightweightString<T> text;
    text.createImpl(static_cast<unsigned int>(length), true);
    return text;
}

// What is ill-formed somewhere is counted and decoded plainly as a whole.
LightweightString<wchar_t> decodePlainly(std::string_view bytes) {
    auto text = makeText<wchar_t>(utf8::decodedLength(bytes));
    utf8::decode(bytes, text.data());
    return text;
}

void widen(std::string_view bytes, wchar_t* to) {
    switch (bestTextPath()) {
    case TextPath::kAvx512:
        return utf8::avx512::widen(bytes, to);
    case TextPath::kAvx2:
        return utf8::avx2::widen(bytes, to);
    case TextPath::kPlain:
        widenAscii(bytes, to);
    }
}

LightweightString<wchar_t> decodeAvx512(std::string_view bytes) {
    const std::size_t length = utf8::avx512::decodedLength(bytes);
    if (length == utf8::kIllFormed) return decodePlainly(bytes);
    auto text = makeText<wchar_t>(length);
    if (length == bytes.size()) {
        utf8::avx512::widen(bytes, text.data());
    } else {
        utf8::avx512::decode(bytes, text.data(), length);
    }
    return text;
}

LightweightString<wchar_t> decodeAvx2(std::string_view bytes) {
    const std::size_t length = utf8::avx2::decodedLength(bytes);
    if (length == utf8::kIllFormed) return decodePlainly(bytes);
    auto text = makeText<wchar_t>(length);
    if (length == bytes.size()) {
        utf8::avx2::widen(bytes, text.data());
    } else {
        utf8::avx2::decode(bytes, text.data(), length);
    }
    return text;
}

LightweightString<char> encodeAvx512(std::wstring_view text) {
    const std::size_t length = utf8::avx512::encodedLength(text);
    auto bytes = makeText<char>(length);
    if (length == text.size()) {
        utf8::avx512::narrow(text, bytes.data());
    } else {
        utf8::avx512::encode(text, bytes.data(), length);
    }
    return bytes;
}

LightweightString<char> encodeAvx2(std::wstring_view text) {
    const bool isAscii = utf8::avx2::asciiRun(text) == text.size();
    const std::size_t length = isAscii ? text.size() : utf8::avx2::encodedLength(text);
    auto bytes = makeText<char>(length);
    if (isAscii) {
        utf8::avx2::narrow(text, bytes.data());
    } else {
        utf8::avx2::encode(text, bytes.data(), length);
    }
    return bytes;
}

LightweightString<char> encodePlainly(std::wstring_view text) {
    auto bytes = makeText<char>(utf8::encodedLength(text));
    utf8::encode(text, bytes.data());
    return bytes;
}

} // namespace

LightweightString<wchar_t> widenBytes(std::string_view bytes) {
    auto text = makeText<wchar_t>(bytes.size());
    widen(bytes, text.data());
    return text;
}

LightweightString<wchar_t> decodeUtf8(std::string_view bytes) {
    switch (bestTextPath()) {
    case TextPath::kAvx512:
        return decodeAvx512(bytes);
    case TextPath::kAvx2:
        return decodeAvx2(bytes);
    case TextPath::kPlain:
        break;
    }
    return decodePlainly(bytes);
}

LightweightString<char> encodeUtf8(std::wstring_view text) {
    switch (bestTextPath()) {
    case TextPath::kAvx512:
        return encodeAvx512(text);
    case TextPath::kAvx2:
        return encodeAvx2(text);
    case TextPath::kPlain:
        break;
    }
    return encodePlainly(text);
}

} // namespace Vq
