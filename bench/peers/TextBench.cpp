// Case, replacement without regard to case and UTF-8: the peers. Results are as wide as each peer
// has them: Qt's are UTF-16, half of what the library writes.
#include "Bench.h"
#include "TextSamples.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <memory>
#include <string>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QString>
#endif
#ifdef VQ_PEER_ABSEIL
#include <absl/strings/ascii.h>
#endif
#ifdef VQ_PEER_GLIB
#include <glib.h>
#endif
#ifdef VQ_PEER_ICU
#include <unicode/unistr.h>
#include <unicode/utf8.h>
#endif

namespace {

using vqbench::require;

constexpr std::string_view kAscii = vqbench::kTextSamples[0].second;

// --- Case

std::string plainUpper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(c));
    return text;
}

std::string plainLower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(c));
    return text;
}

/// Times `change(text)`, whose result is text equal to `expected`.
template <class Text, class Change>
void addCase(const std::string& workload, const char* peer, long size, Text text, Change change,
             Text expected) {
    vqbench::add(workload, peer, size, [=](benchmark::State& state) {
        require(change(text) == expected, "a case");
        for (auto step : state) {
            auto result = change(text);
            benchmark::DoNotOptimize(result);
        }
    });
}

void addCases(long size) {
    const std::string text = vqbench::textOfBytes(kAscii, static_cast<std::size_t>(size));
    const std::string upper = plainUpper(text), lower = plainLower(text);
    addCase(
        "case.upper.narrow", "std", size, text, [](const auto& s) { return plainUpper(s); }, upper);
    addCase(
        "case.lower.narrow", "std", size, text, [](const auto& s) { return plainLower(s); }, lower);
    const auto mapped = [](std::wstring s, std::wint_t (*map)(std::wint_t)) {
        for (wchar_t& c : s) c = static_cast<wchar_t>(map(static_cast<std::wint_t>(c)));
        return s;
    };
    addCase(
        "case.upper.wide", "std", size, vqbench::wide(text),
        [=](const auto& s) { return mapped(s, std::towupper); }, vqbench::wide(upper));
    addCase(
        "case.lower.wide", "std", size, vqbench::wide(text),
        [=](const auto& s) { return mapped(s, std::towlower); }, vqbench::wide(lower));
#ifdef VQ_PEER_ABSEIL
    addCase(
        "case.upper.narrow", "abseil", size, text,
        [](const auto& s) { return absl::AsciiStrToUpper(s); }, upper);
    addCase(
        "case.lower.narrow", "abseil", size, text,
        [](const auto& s) { return absl::AsciiStrToLower(s); }, lower);
#endif
#ifdef VQ_PEER_GLIB
    const auto owned = [](gchar* made) {
        std::unique_ptr<gchar, decltype(&g_free)> holder(made, g_free);
        return holder;
    };
    vqbench::add("case.upper.narrow", "glib", size, [=](benchmark::State& state) {
        const auto length = static_cast<gssize>(text.size());
        require(owned(g_ascii_strup(text.data(), length)).get() == upper, "a case");
        for (auto step : state) {
            benchmark::DoNotOptimize(owned(g_ascii_strup(text.data(), length)).get());
        }
    });
    vqbench::add("case.lower.narrow", "glib", size, [=](benchmark::State& state) {
        const auto length = static_cast<gssize>(text.size());
        require(owned(g_ascii_strdown(text.data(), length)).get() == lower, "a case");
        for (auto step : state) {
            benchmark::DoNotOptimize(owned(g_ascii_strdown(text.data(), length)).get());
        }
    });
#endif
#ifdef VQ_PEER_QT
    addCase(
        "case.upper.narrow", "qbytearray", size, QByteArray::fromStdString(text),
        [](const QByteArray& s) { return s.toUpper(); }, QByteArray::fromStdString(upper));
    addCase(
        "case.lower.narrow", "qbytearray", size, QByteArray::fromStdString(text),
        [](const QByteArray& s) { return s.toLower(); }, QByteArray::fromStdString(lower));
    addCase(
        "case.upper.wide", "qstring", size, QString::fromStdString(text),
        [](const QString& s) { return s.toUpper(); }, QString::fromStdString(upper));
    addCase(
        "case.lower.wide", "qstring", size, QString::fromStdString(text),
        [](const QString& s) { return s.toLower(); }, QString::fromStdString(lower));
#endif
#ifdef VQ_PEER_ICU
    addCase(
        "case.upper.wide", "icu", size, icu::UnicodeString::fromUTF8(text),
        [](icu::UnicodeString s) { return s.toUpper(); }, icu::UnicodeString::fromUTF8(upper));
    addCase(
        "case.lower.wide", "icu", size, icu::UnicodeString::fromUTF8(text),
        [](icu::UnicodeString s) { return s.toLower(); }, icu::UnicodeString::fromUTF8(lower));
#endif
}

// --- Replacement

void addReplace([[maybe_unused]] const char* workload, [[maybe_unused]] const char* pattern,
                [[maybe_unused]] const char* replacement, [[maybe_unused]] long size) {
#ifdef VQ_PEER_QT
    vqbench::add(workload, "qstring", size, [=](benchmark::State& state) {
        const std::string narrow = vqbench::textOfBytes(kAscii, static_cast<std::size_t>(size));
        const QString text = QString::fromStdString(narrow);
        const QString sought = QString::fromLatin1(pattern);
        const QString by = QString::fromLatin1(replacement);
        require(QString(text).replace(sought, by, Qt::CaseInsensitive).toStdString() ==
                    vqbench::replaced(narrow, pattern, replacement),
                workload);
        for (auto step : state) {
            QString result = text;
            result.replace(sought, by, Qt::CaseInsensitive);
            benchmark::DoNotOptimize(result);
        }
    });
#endif
}

// --- UTF-8

struct Freed {
    void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<char, Freed>;

Block copied(const void* from, std::size_t bytes) {
    Block block(static_cast<char*>(std::malloc(bytes)));
    std::memcpy(block.get(), from, bytes);
    return block;
}

/// memcpy of `bytes` bytes into a fresh block.
void addCopy(const std::string& workload, const char* peer, long size, std::string bytes) {
    vqbench::add(workload, peer, size, [=](benchmark::State& state) {
        for (auto step : state) {
            Block block = copied(bytes.data(), bytes.size());
            benchmark::DoNotOptimize(block);
        }
    });
}

#ifdef VQ_PEER_ICU
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion" // within the macros
// As its documentation shows them, into a block that holds the longest result there can be.
std::size_t decodeByMacros(const std::string& text, char32_t* to) {
    const char32_t* const start = to;
    const auto length = static_cast<int>(text.size());
    for (int i = 0; i < length;) {
        UChar32 c;
        U8_NEXT(text.data(), i, length, c);
        *to++ = static_cast<char32_t>(c);
    }
    return static_cast<std::size_t>(to - start);
}

std::size_t encodeByMacros(const std::u32string& text, char* to) {
    int i = 0;
    for (const char32_t c : text) U8_APPEND_UNSAFE(to, i, static_cast<UChar32>(c));
    return static_cast<std::size_t>(i);
}
#pragma GCC diagnostic pop
#endif

void addUtf8(const char* name, std::string_view sample, long size) {
    const std::string bytes = vqbench::textOfBytes(sample, static_cast<std::size_t>(size));
    const std::u32string text = vqbench::decoded(bytes);
    const std::string decode = std::string("utf8.decode.") + name;
    const std::string encode = std::string("utf8.encode.") + name;
    // Either way the wide side is what memory has to carry.
    const std::string wideBytes(reinterpret_cast<const char*>(text.data()), 4 * text.size());
    addCopy(decode, "bound.memcpy", size, wideBytes);
    addCopy(encode, "bound.memcpy", size, wideBytes);
    addCopy(encode, "bound.memcpy.result", size, bytes);
#ifdef VQ_PEER_ICU
    vqbench::add(decode, "icu", size, [=](benchmark::State& state) {
        std::u32string result(bytes.size(), U'\0');
        result.resize(decodeByMacros(bytes, result.data()));
        require(result == text, "decoded text");
        for (auto step : state) {
            auto block = std::make_unique_for_overwrite<char32_t[]>(bytes.size() + 1);
            block[decodeByMacros(bytes, block.get())] = 0;
            benchmark::DoNotOptimize(block);
        }
    });
    vqbench::add(encode, "icu", size, [=](benchmark::State& state) {
        std::string result(4 * text.size(), '\0');
        result.resize(encodeByMacros(text, result.data()));
        require(result == bytes, "encoded text");
        for (auto step : state) {
            auto block = std::make_unique_for_overwrite<char[]>(4 * text.size() + 1);
            block[encodeByMacros(text, block.get())] = 0;
            benchmark::DoNotOptimize(block);
        }
    });
#endif
#ifdef VQ_PEER_QT
    vqbench::add(decode, "qstring", size, [=](benchmark::State& state) {
        require(QString::fromStdString(bytes).toStdU32String() == text, "decoded text");
        for (auto step : state) {
            QString result = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
            benchmark::DoNotOptimize(result);
        }
    });
    vqbench::add(encode, "qstring", size, [=](benchmark::State& state) {
        const QString source = QString::fromStdString(bytes);
        require(source.toUtf8().toStdString() == bytes, "encoded text");
        for (auto step : state) {
            QByteArray result = source.toUtf8();
            benchmark::DoNotOptimize(result);
        }
    });
#endif
#ifdef VQ_PEER_GLIB
    vqbench::add(decode, "glib", size, [=](benchmark::State& state) {
        const auto convert = [&] {
            return std::unique_ptr<gunichar, decltype(&g_free)>(
                g_utf8_to_ucs4(bytes.data(), static_cast<glong>(bytes.size()), nullptr, nullptr,
                               nullptr),
                g_free);
        };
        require(std::equal(text.begin(), text.end(), convert().get()), "decoded text");
        for (auto step : state) benchmark::DoNotOptimize(convert().get());
    });
    vqbench::add(encode, "glib", size, [=](benchmark::State& state) {
        const std::vector<gunichar> source(text.begin(), text.end());
        const auto convert = [&] {
            return std::unique_ptr<gchar, decltype(&g_free)>(
                g_ucs4_to_utf8(source.data(), static_cast<glong>(source.size()), nullptr, nullptr,
                               nullptr),
                g_free);
        };
        require(convert().get() == bytes, "encoded text");
        for (auto step : state) benchmark::DoNotOptimize(convert().get());
    });
#endif
}

[[maybe_unused]] const bool added = [] {
    vqbench::addTextWorkloads(addCases, addReplace, addUtf8);
    return true;
}();

} // namespace
