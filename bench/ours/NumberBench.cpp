// Numbers to text and back, on the library and the real platform. The size is that of no text: each
// step takes the next of the same thousand numbers.
#include "Bench.h"
#include "TextSamples.h"

#include "Vq/String.h"

#include <cstdio>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using vqbench::require;

/// `body(i)` for the i-th of 1024 samples at each step.
template <class Body> void eachSample(benchmark::State& state, Body body) {
    std::size_t i = 0;
    for (auto step : state) {
        body(i);
        i = (i + 1) % 1024;
    }
}

template <class... Arguments> std::string printed(const char* format, Arguments... arguments) {
    char text[400];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

void addFormatting() {
    const std::vector<int> integers = vqbench::integerSamples();
    const std::vector<double> doubles = vqbench::doubleSamples();
    vqbench::add("number.from.int", "ours", 0, [=](benchmark::State& state) {
        for (const int n : integers) {
            require(StringFromInteger(n) == printed("%d", n).c_str(), "an integer");
        }
        eachSample(state, [&](std::size_t i) {
            Narrow text = StringFromInteger(integers[i]);
            benchmark::DoNotOptimize(text);
        });
    });
    vqbench::add("number.append.int", "ours", 0, [=](benchmark::State& state) {
        Narrow text("0123456789012345678901234567890123456789");
        eachSample(state, [&](std::size_t i) {
            text.truncate(4);
            text += integers[i];
            benchmark::DoNotOptimize(text);
        });
    });
    vqbench::add("number.from.int.wide", "ours", 0, [=](benchmark::State& state) {
        for (const int n : integers) {
            require(Vq::WStringFromInteger(n) == vqbench::wide(printed("%d", n)).c_str());
        }
        eachSample(state, [&](std::size_t i) {
            Wide text = Vq::WStringFromInteger(integers[i]);
            benchmark::DoNotOptimize(text);
        });
    });
    vqbench::add("number.from.double", "ours", 0, [=](benchmark::State& state) {
        for (const double d : doubles) {
            require(StringFromFloat(d) == printed("%f", d).c_str(), "a double");
        }
        eachSample(state, [&](std::size_t i) {
            Narrow text = StringFromFloat(doubles[i]);
            benchmark::DoNotOptimize(text);
        });
    });
    vqbench::add("number.from.double.wide", "ours", 0, [=](benchmark::State& state) {
        for (const double d : doubles) {
            require(Vq::WStringFromFloat(d, 3, false) == vqbench::wide(printed("%.3f", d)).c_str());
        }
        eachSample(state, [&](std::size_t i) {
            Wide text = Vq::WStringFromFloat(doubles[i], 3, false);
            benchmark::DoNotOptimize(text);
        });
    });
}

void addParsing() {
    std::vector<Wide> integers, doubles;
    for (const int n : vqbench::integerSamples()) integers.push_back(Vq::WStringFromInteger(n));
    for (const double d : vqbench::doubleSamples()) {
        doubles.push_back(Vq::WStringFromFloat(d, 3, false));
    }
    vqbench::add("number.to.int.wide", "ours", 0, [=](benchmark::State& state) {
        for (std::size_t i = 0; i < integers.size(); ++i) {
            require(Vq::IntFromWString(integers[i], 0) == vqbench::integerSamples()[i]);
        }
        eachSample(state, [&](std::size_t i) {
            benchmark::DoNotOptimize(Vq::IntFromWString(integers[i], 0));
        });
    });
    vqbench::add("number.to.double.wide", "ours", 0, [=](benchmark::State& state) {
        for (std::size_t i = 0; i < doubles.size(); ++i) {
            require(Vq::FloatFromWString(doubles[i], 0) == vqbench::doubleSamples()[i]);
        }
        eachSample(state, [&](std::size_t i) {
            benchmark::DoNotOptimize(Vq::FloatFromWString(doubles[i], 0));
        });
    });
}

[[maybe_unused]] const bool added = [] {
    addFormatting();
    addParsing();
    return true;
}();

} // namespace
