// Case, replacement without regard to case and UTF-8, on the library and the real platform.
#include "Bench.h"
#include "TextSamples.h"

#include "Vq/String.h"

#include <cstring>
#include <cwctype>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using vqbench::require;

constexpr std::string_view kAscii = vqbench::kTextSamples[0].second;

template <class Changed>
void changeCase(benchmark::State& state, const auto& text, Changed changed, const auto& expected) {
    require(changed(text) == expected.c_str(), "a case");
    for (auto step : state) {
        auto result = changed(text);
        benchmark::DoNotOptimize(result);
    }
}

void addCases(long size) {
    const std::string narrow = vqbench::textOfBytes(kAscii, static_cast<std::size_t>(size));
    std::string upper = narrow, lower = narrow;
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    for (char& c : lower) c = static_cast<char>(std::tolower(c));
    vqbench::add("case.upper.narrow", "ours", size, [=](benchmark::State& state) {
        changeCase(
            state, Narrow(narrow.c_str()), [](const Narrow& s) { return toUpper(s); }, upper);
    });
    vqbench::add("case.lower.narrow", "ours", size, [=](benchmark::State& state) {
        changeCase(
            state, Narrow(narrow.c_str()), [](const Narrow& s) { return toLower(s); }, lower);
    });
    vqbench::add("case.upper.wide", "ours", size, [=](benchmark::State& state) {
        changeCase(
            state, Wide(vqbench::wide(narrow).c_str()),
            [](const Wide& s) { return Vq::toUpper(s); }, vqbench::wide(upper));
    });
    vqbench::add("case.lower.wide", "ours", size, [=](benchmark::State& state) {
        changeCase(
            state, Wide(vqbench::wide(narrow).c_str()),
            [](const Wide& s) { return Vq::toLower(s); }, vqbench::wide(lower));
    });
}

void addReplace(const char* workload, const char* pattern, const char* replacement, long size) {
    vqbench::add(workload, "ours", size, [=](benchmark::State& state) {
        const std::string narrow = vqbench::textOfBytes(kAscii, static_cast<std::size_t>(size));
        const Wide text(vqbench::wide(narrow).c_str());
        const Wide sought(vqbench::wide(pattern).c_str());
        const Wide by(vqbench::wide(replacement).c_str());
        require(
            Vq::substituteCaseInsensitive(text, sought, by) ==
                std::wstring_view(vqbench::wide(vqbench::replaced(narrow, pattern, replacement))),
            workload);
        for (auto step : state) {
            Wide result = Vq::substituteCaseInsensitive(text, sought, by);
            benchmark::DoNotOptimize(result);
        }
    });
}

void addUtf8(const char* name, std::string_view sample, long size) {
    const std::string bytes = vqbench::textOfBytes(sample, static_cast<std::size_t>(size));
    vqbench::add(std::string("utf8.decode.") + name, "ours", size, [=](benchmark::State& state) {
        const Narrow text(bytes.c_str());
        require(fromUTF8(text) == std::wstring_view(vqbench::wide(bytes)), "decoded text");
        for (auto step : state) {
            Wide result = fromUTF8(text);
            benchmark::DoNotOptimize(result);
        }
    });
    vqbench::add(std::string("utf8.encode.") + name, "ours", size, [=](benchmark::State& state) {
        const Wide text(vqbench::wide(bytes).c_str());
        require(toUTF8(text) == std::string_view(bytes), "encoded text");
        for (auto step : state) {
            Narrow result = toUTF8(text);
            benchmark::DoNotOptimize(result);
        }
    });
}

[[maybe_unused]] const bool added = [] {
    vqbench::addTextWorkloads(addCases, addReplace, addUtf8);
    return true;
}();

} // namespace
