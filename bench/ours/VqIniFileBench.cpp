// Settings files: loaded and let go, saved as a whole, looked up. The size is the file's, in bytes.

#include "Vq/String.h"
#include "Vq/VqIniFile.h"

#include "Bench.h"
#include "NoSync.h"
#include "PeakMemory.h"
#include "SettingsText.h"

#include <string>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

Wide wide(const std::string& text) {
    return fromUTF8(Narrow(text.c_str()));
}

/// What loading a file takes at its highest point, in multiples of the file.
double peakOfLoad(long size) {
    const vqbench::BenchFolder folder;
    const std::string path = folder.file("load.ini");
    // The text is made in a child, so that no memory of it lies ready when the file is loaded.
    vqbench::inChild([&] { folder.fileOf("load.ini", vqbench::iniText(std::size_t(size))); });
    const double peak = vqbench::peakOf([&] { const VqIniFile ini(wide(path), true, true); });
    return peak / static_cast<double>(size);
}

void addLoad(long size) {
    // Once, before a load has left memory behind that the next one finds. Small files do not show
    // in pages.
    vqbench::add("ini.load", "ours", size, [=, peak = 0.0](benchmark::State& state) mutable {
        if (size >= 1 << 20 && peak == 0) peak = peakOfLoad(size);
        const vqbench::BenchFolder folder;
        const std::string text = vqbench::iniText(static_cast<std::size_t>(size));
        const Wide path = wide(folder.fileOf("load.ini", text));
        VqIniFile saved(path, true, true);
        vqbench::require(saved.saveAll(wide(folder.file("same.ini"))));
        vqbench::require(vqbench::contentOf(folder.file("same.ini")) == text);
        for (auto step : state) {
            const VqIniFile ini(path, true, true);
            benchmark::DoNotOptimize(ini.getNumSections());
        }
        state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
        if (peak != 0) state.counters["peak"] = peak;
    });
}

void addSave(long size) {
    vqbench::add("ini.save", "ours", size, [=](benchmark::State& state) {
        const vqbench::BenchFolder folder;
        const std::string text = vqbench::iniText(static_cast<std::size_t>(size));
        VqIniFile ini(wide(folder.fileOf("load.ini", text)), true, true);
        const Wide path = wide(folder.file("saved.ini"));
        vqbench::require(ini.saveAll(path));
        vqbench::require(vqbench::contentOf(folder.file("saved.ini")) == text);
        for (auto step : state) benchmark::DoNotOptimize(ini.saveAll(path));
        state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
    });
}

void addLookup(long size) {
    vqbench::add("ini.lookup", "ours", size, [=](benchmark::State& state) {
        const vqbench::BenchFolder folder;
        const std::string text = vqbench::iniText(static_cast<std::size_t>(size));
        const VqIniFile ini(wide(folder.fileOf("load.ini", text)), true, true);
        const vqbench::Lookups lookups(ini.getNumSections());
        std::vector<Narrow> sections;
        std::vector<Narrow> names;
        for (const auto& lookup : lookups.all) {
            sections.emplace_back(lookup.section.c_str());
            names.emplace_back(lookup.name.c_str());
        }
        const auto find = [&](std::size_t i) {
            const VqIniFile::Section& section = ini.getSection(sections[i]);
            return VqIniFile::findBeginsWith(names[i], section, true, section.begin())->value();
        };
        for (std::size_t i = 0; i < lookups.all.size(); ++i) {
            vqbench::require(find(i) == lookups.all[i].value.c_str());
        }
        std::size_t next = 0;
        for (auto step : state) {
            const Narrow value = find(next);
            benchmark::DoNotOptimize(value.c_str());
            next = (next + 1) % lookups.all.size();
        }
    });
}

const bool added = [] {
    for (const long size : {4096, 204800, 20971520}) addLoad(size);
    for (const long size : {4096, 204800}) addSave(size);
    for (const long size : {4096, 204800}) addLookup(size);
    return true;
}();

} // namespace
