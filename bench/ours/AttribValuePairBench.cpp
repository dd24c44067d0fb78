// Lists of pairs: parsed, printed, looked up. The size is the number of pairs.

#include "Vq/AttribValuePair.h"

#include "Bench.h"
#include "SettingsText.h"

#include <string>

namespace {

using Narrow = LightweightString<char>;
using Vq::AttribValuePair;
using List = LightweightVector<AttribValuePair>;

void addPairs(long count) {
    const auto pairs = static_cast<std::size_t>(count);
    vqbench::add("pairs.parse", "ours", count, [=](benchmark::State& state) {
        const Narrow text(vqbench::pairText(pairs).c_str());
        vqbench::require(AttribValuePair::vecFromString(text, '=', ',').size() == pairs);
        for (auto step : state) {
            const List list = AttribValuePair::vecFromString(text, '=', ',');
            benchmark::DoNotOptimize(&list[0]);
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
    vqbench::add("pairs.print", "ours", count, [=](benchmark::State& state) {
        const Narrow text(vqbench::pairText(pairs).c_str());
        const List list = AttribValuePair::vecFromString(text, '=', ',');
        vqbench::require(AttribValuePair::asString(list, '=', ',') == text);
        for (auto step : state) {
            const Narrow printed = AttribValuePair::asString(list, '=', ',');
            benchmark::DoNotOptimize(printed.c_str());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
    // The last pair, so that all are looked at.
    vqbench::add("pairs.lookup", "ours", count, [=](benchmark::State& state) {
        const Narrow text(vqbench::pairText(pairs).c_str());
        const List list = AttribValuePair::vecFromString(text, '=', ',');
        const Narrow name(vqbench::settingName(pairs - 1).c_str());
        vqbench::require(AttribValuePair::getValue(name, list) ==
                         vqbench::settingValue(pairs - 1).c_str());
        for (auto step : state) {
            const Narrow value = AttribValuePair::getValue(name, list);
            benchmark::DoNotOptimize(value.c_str());
        }
    });
}

const bool added = [] {
    for (const long count : {10, 1000}) addPairs(count);
    return true;
}();

} // namespace
