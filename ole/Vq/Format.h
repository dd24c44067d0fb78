/// The library's types for {fmt}: strings, identifiers, pairs and handles as arguments of
/// `fmt::format`, `fmt::print` and all that is like them.
///
///     fmt::print("{:<10}|{}\n", name, Vq::UUID::generate());
///
/// | type                         | prints                                | takes the format of |
/// |------------------------------|---------------------------------------|---------------------|
/// | `LightweightString<char>`    | all of its characters                 | a string            |
/// | `LightweightString<wchar_t>` | the same, in wide formats             | a string            |
/// | `Vq::UUID`                   | its 36 characters, also in wide ones  | a string            |
/// | `Vq::AttribValuePair`        | what `asString('=')` gives            | a string            |
/// | `Vq::Ptr`                    | the address of the object, empty: 0x0 | a pointer           |
///
/// Nothing is allocated for it, but that a pair without a text builds one. Widths never mix: a wide
/// string in a narrow format, or the other way round, does not compile.
///
/// Optional: where {fmt} is not installed, this header is empty, and Vq/Vq.h never includes it. The
/// program links {fmt}, the library does not.
///
/// Thread rule: compatible.
#pragma once

#if __has_include(<fmt/format.h>)

#include "Vq/AttribValuePair.h"
#include "Vq/LightweightString.h"
#include "Vq/Ptr.h"
#include "Vq/UUID.h"

#include <fmt/format.h>

/// Formats all characters of a narrow string.
template <>
struct fmt::formatter<LightweightString<char>, char> : fmt::formatter<fmt::string_view> {
    /// As a `fmt::string_view`.
    template <class Context>
    auto format(const LightweightString<char>& text, Context& context) const {
        return fmt::formatter<fmt::string_view>::format({text.c_str(), text.length()}, context);
    }
};

/// Formats all characters of a wide string.
template <>
struct fmt::formatter<LightweightString<wchar_t>, wchar_t>
    : fmt::formatter<fmt::basic_string_view<wchar_t>, wchar_t> {
    /// As a `fmt::wstring_view`.
    template <class Context>
    auto format(const LightweightString<wchar_t>& text, Context& context) const {
        return fmt::formatter<fmt::basic_string_view<wchar_t>, wchar_t>::format(
            {text.c_str(), text.length()}, context);
    }
};

/// Formats the text form of an identifier.
template <> struct fmt::formatter<Vq::UUID, char> : fmt::formatter<fmt::string_view> {
    /// As a `fmt::string_view`.
    template <class Context> auto format(const Vq::UUID& id, Context& context) const {
        char text[Vq::UUID::kTextLength + 1];
        id.asString(text);
        return fmt::formatter<fmt::string_view>::format({text, Vq::UUID::kTextLength}, context);
    }
};

/// Formats the text form of an identifier in a wide format.
template <>
struct fmt::formatter<Vq::UUID, wchar_t>
    : fmt::formatter<fmt::basic_string_view<wchar_t>, wchar_t> {
    /// As a `fmt::wstring_view`.
    template <class Context> auto format(const Vq::UUID& id, Context& context) const {
        wchar_t text[Vq::UUID::kTextLength + 1];
        id.asWString(text);
        return fmt::formatter<fmt::basic_string_view<wchar_t>, wchar_t>::format(
            {text, Vq::UUID::kTextLength}, context);
    }
};

/// Formats a pair: its text, or what it builds of its parts with '=' between them.
template <>
struct fmt::formatter<Vq::AttribValuePair, char> : fmt::formatter<LightweightString<char>> {
    /// As a string.
    template <class Context> auto format(const Vq::AttribValuePair& pair, Context& context) const {
        return fmt::formatter<LightweightString<char>>::format(pair.asString('='), context);
    }
};

/// Formats the address of a handle's object.
template <class T, class D, class R>
struct fmt::formatter<Vq::Ptr<T, D, R>, char> : fmt::formatter<const void*> {
    /// As a `const void*`.
    template <class Context> auto format(const Vq::Ptr<T, D, R>& handle, Context& context) const {
        return fmt::formatter<const void*>::format(handle.get(), context);
    }
};

#endif
