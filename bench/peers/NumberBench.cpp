// Numbers to text and back: the peers. "to_chars" and the "printf"s write into a buffer and copy
// that into a string on the heap, since the library's strings have no buffer of their own.
#include "Bench.h"
#include "TextSamples.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QString>
#endif
#ifdef VQ_PEER_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif

namespace {

using vqbench::require;

/// A string without an internal buffer: length and characters in one block.
template <class T> class HeapString {
public:
    template <class From>
    HeapString(const From* from, std::size_t length)
        : block_(std::make_unique_for_overwrite<T[]>(length + 1)), length_(length) {
        std::copy_n(from, length, block_.get());
        block_[length] = T();
    }

    operator std::basic_string_view<T>() const { return {block_.get(), length_}; }

private:
    std::unique_ptr<T[]> block_;
    std::size_t length_;
};

template <class Body> void eachSample(benchmark::State& state, Body body) {
    std::size_t i = 0;
    for (auto step : state) {
        auto made = body(i);
        benchmark::DoNotOptimize(made);
        i = (i + 1) % 1024;
    }
}

template <class T, class Number, class... Format>
HeapString<T> byToChars(Number number, Format... format) {
    char text[400];
    const char* const end = std::to_chars(text, text + sizeof text, number, format...).ptr;
    return {text, static_cast<std::size_t>(end - text)};
}

template <class Number> HeapString<char> byPrintf(const char* format, Number number) {
    char text[400];
    return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, format, number))};
}

template <class Number> HeapString<wchar_t> byPrintf(const wchar_t* format, Number number) {
    wchar_t text[400];
    return {text, static_cast<std::size_t>(std::swprintf(text, 400, format, number))};
}

/// Times `make(number)` for each of the numbers.
template <class Number, class Make>
void addMaking(const char* workload, const char* peer, const std::vector<Number>& numbers,
               const char* format, Make make) {
    vqbench::add(workload, peer, 0, [=](benchmark::State& state) {
        for (const Number number : numbers) {
            char expected[400];
            std::snprintf(expected, sizeof expected, format, number);
            const auto made = make(number);
            require(std::equal(std::begin(made), std::end(made), expected,
                               expected + std::strlen(expected)),
                    workload);
        }
        eachSample(state, [&](std::size_t i) { return make(numbers[i]); });
    });
}

/// The same for results that are views of a string on the heap.
template <class T, class Number, class Make>
void addHeapMaking(const char* workload, const char* peer, const std::vector<Number>& numbers,
                   const char* format, Make make) {
    vqbench::add(workload, peer, 0, [=](benchmark::State& state) {
        for (const Number number : numbers) {
            char expected[400];
            std::snprintf(expected, sizeof expected, format, number);
            const auto made = make(number);
            const std::basic_string_view<T> view = made;
            require(
                std::equal(view.begin(), view.end(), expected, expected + std::strlen(expected)),
                workload);
        }
        eachSample(state, [&](std::size_t i) { return make(numbers[i]); });
    });
}

void addFormatting() {
    const std::vector<int> integers = vqbench::integerSamples();
    const std::vector<double> doubles = vqbench::doubleSamples();
    constexpr auto kFixed = std::chars_format::fixed;
    addHeapMaking<char>("number.from.int", "to_chars", integers, "%d",
                        [](int n) { return byToChars<char>(n); });
    addHeapMaking<char>("number.from.int", "snprintf", integers, "%d",
                        [](int n) { return byPrintf("%d", n); });
    addHeapMaking<wchar_t>("number.from.int.wide", "to_chars", integers, "%d",
                           [](int n) { return byToChars<wchar_t>(n); });
    addHeapMaking<wchar_t>("number.from.int.wide", "swprintf", integers, "%d",
                           [](int n) { return byPrintf(L"%d", n); });
    addHeapMaking<char>("number.from.double", "to_chars", doubles, "%f",
                        [=](double d) { return byToChars<char>(d, kFixed, 6); });
    addHeapMaking<char>("number.from.double", "snprintf", doubles, "%f",
                        [](double d) { return byPrintf("%f", d); });
    addHeapMaking<wchar_t>("number.from.double.wide", "to_chars", doubles, "%.3f",
                           [=](double d) { return byToChars<wchar_t>(d, kFixed, 3); });
    addHeapMaking<wchar_t>("number.from.double.wide", "swprintf", doubles, "%.3f",
                           [](double d) { return byPrintf(L"%.3f", d); });
    vqbench::add("number.append.int", "std", 0, [=](benchmark::State& state) {
        std::string text("0123456789012345678901234567890123456789");
        std::size_t i = 0;
        for (auto step : state) {
            text.resize(4);
            char digits[16];
            text.append(digits, std::to_chars(digits, digits + 16, integers[i]).ptr);
            benchmark::DoNotOptimize(text);
            i = (i + 1) % 1024;
        }
    });
#ifdef VQ_PEER_QT
    addMaking("number.from.int", "qbytearray", integers, "%d",
              [](int n) { return QByteArray::number(n); });
    addMaking("number.from.double", "qbytearray", doubles, "%f",
              [](double d) { return QByteArray::number(d, 'f', 6); });
    addMaking("number.from.int.wide", "qstring", integers, "%d",
              [](int n) { return QString::number(n); });
    addMaking("number.from.double.wide", "qstring", doubles, "%.3f",
              [](double d) { return QString::number(d, 'f', 3); });
#endif
#ifdef VQ_PEER_FMT
    addMaking("number.from.int", "fmt", integers, "%d",
              [](int n) { return fmt::format(FMT_COMPILE("{}"), n); });
    addMaking("number.from.double", "fmt", doubles, "%f",
              [](double d) { return fmt::format(FMT_COMPILE("{:.6f}"), d); });
#endif
}

/// Times `parse(text)` for the text of each number.
template <class Number, class Text, class Parse>
void addParse(const char* workload, const char* peer, const std::vector<Number>& numbers,
              const std::vector<Text>& texts, Parse parse) {
    vqbench::add(workload, peer, 0, [=](benchmark::State& state) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            require(parse(texts[i]) == numbers[i], workload);
        }
        eachSample(state, [&](std::size_t i) { return parse(texts[i]); });
    });
}

void addParsing() {
    const std::vector<int> integers = vqbench::integerSamples();
    const std::vector<double> doubles = vqbench::doubleSamples();
    std::vector<std::wstring> integerTexts, doubleTexts;
    for (const int n : integers) integerTexts.push_back(std::to_wstring(n));
    for (const double d : doubles) doubleTexts.emplace_back(byPrintf(L"%.3f", d));
    addParse("number.to.int.wide", "swscanf", integers, integerTexts, [](const std::wstring& s) {
        int n = 0;
        std::swscanf(s.c_str(), L"%d", &n);
        return n;
    });
    addParse("number.to.double.wide", "swscanf", doubles, doubleTexts, [](const std::wstring& s) {
        double d = 0;
        std::swscanf(s.c_str(), L"%lf", &d);
        return d;
    });
    addParse("number.to.int.wide", "wcstol", integers, integerTexts, [](const std::wstring& s) {
        return static_cast<int>(std::wcstol(s.c_str(), nullptr, 10));
    });
    addParse("number.to.double.wide", "wcstod", doubles, doubleTexts,
             [](const std::wstring& s) { return std::wcstod(s.c_str(), nullptr); });
#ifdef VQ_PEER_QT
    std::vector<QString> integerStrings, doubleStrings;
    for (const std::wstring& s : integerTexts) integerStrings.push_back(QString::fromStdWString(s));
    for (const std::wstring& s : doubleTexts) doubleStrings.push_back(QString::fromStdWString(s));
    addParse("number.to.int.wide", "qstring", integers, integerStrings,
             [](const QString& s) { return s.toInt(); });
    addParse("number.to.double.wide", "qstring", doubles, doubleStrings,
             [](const QString& s) { return s.toDouble(); });
#endif
}

[[maybe_unused]] const bool added = [] {
    addFormatting();
    addParsing();
    return true;
}();

} // namespace
