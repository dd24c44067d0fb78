// Cutting a text into fields and joining wide fields again. The size is the number of fields.

#include "Vq/Platform.h"
#include "Vq/String.h"
#include "Vq/StringSplit.h"

#include "Bench.h"
#include "SettingsText.h"

#include <bit>
#include <string>
#include <vector>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using Fields = Vq::StringToVec<Narrow>::VecT;
using WideFields = Vq::StringToVec<Wide>::VecT;

void addSplit(const char* workload, long count, std::size_t length, unsigned int flags) {
    const bool quoted = flags == Vq::kSplitHonourQuotes;
    vqbench::add(workload, "ours", count, [=](benchmark::State& state) {
        const Narrow text(
            vqbench::fieldText(static_cast<std::size_t>(count), length, quoted).c_str());
        {
            Fields fields;
            vqbench::require(Vq::splitIf(text, Vq::IsMatchingChar<char>(','), fields, flags) ==
                             count);
            vqbench::require(fields.back().length() == length);
        }
        for (auto step : state) {
            Fields fields;
            Vq::splitIf(text, Vq::IsMatchingChar<char>(','), fields, flags);
            benchmark::DoNotOptimize(fields.data());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

// What the design asks for each field that is made and let go: a block and a count, each way
// through the platform. A split can only be slower.
void addDesign(const char* workload, long count, std::size_t length) {
    vqbench::add(workload, "bound.design", count, [=](benchmark::State& state) {
        const std::size_t bytes = sizeof(Narrow::Impl) + std::bit_ceil(length + 1);
        std::vector<void*> blocks(static_cast<std::size_t>(count));
        std::vector<int> counts(blocks.size());
        for (auto step : state) {
            for (std::size_t i = 0; i < blocks.size(); ++i) {
                blocks[i] = OS()->memory()->allocate(bytes);
                OS()->atomics()->atomicIncrement(&counts[i]);
            }
            for (std::size_t i = 0; i < blocks.size(); ++i) {
                vqbench::require(OS()->atomics()->atomicDecrement(&counts[i]) == 0);
                OS()->memory()->deallocate(blocks[i]);
            }
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

void addJoin(long count) {
    vqbench::add("join", "ours", count, [=](benchmark::State& state) {
        const std::string text = vqbench::fieldText(static_cast<std::size_t>(count), 20, false);
        WideFields fields;
        Vq::splitIf(fromUTF8(Narrow(text.c_str())), Vq::IsMatchingChar<wchar_t>(L','), fields, 0);
        vqbench::require(Vq::pack(fields, L',') == fromUTF8(Narrow(text.c_str())));
        for (auto step : state) {
            const Wide joined = Vq::pack(fields, L',');
            benchmark::DoNotOptimize(joined.c_str());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

const bool added = [] {
    for (const long count : {10, 1000}) {
        addSplit("split.plain", count, 20, 0);
        addSplit("split.quotes", count, 20, Vq::kSplitHonourQuotes);
        addSplit("split.short", count, 8, 0);
        addDesign("split.plain", count, 20);
        addDesign("split.quotes", count, 20);
        addDesign("split.short", count, 8);
        addJoin(count);
    }
    return true;
}();

} // namespace
