// What a user would read, write and ask settings files with.

#include "Bench.h"
#include "NoSync.h"
#include "SettingsText.h"

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef VQ_PEER_GLIB
#include <glib.h>
#endif
#ifdef VQ_PEER_INIH
#include <ini.h>
#endif
#ifdef VQ_PEER_SIMPLEINI
#define SI_NO_CONVERSION // the text is as it is in the file
#include <SimpleIni.h>
#endif

namespace {

/// Like the library's model, each entry keeps its whole line and both parts of it.
struct Entry {
    std::string text;
    std::string name;
    std::string value;
};

std::string_view trimmed(std::string_view line) {
    while (!line.empty() && (line.back() == ' ' || line.back() == '\r' || line.back() == '\t')) {
        line.remove_suffix(1);
    }
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    return line;
}

std::string readWhole(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY);
    struct stat status = {};
    ::fstat(file, &status);
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    vqbench::require(::read(file, content.data(), content.size()) == status.st_size);
    ::close(file);
    return content;
}

/// The reader by hand: one read, a map of vectors.
struct StdIni {
    std::map<std::string, std::vector<Entry>> sections;

    explicit StdIni(const std::string& path) {
        const std::string content = readWhole(path);
        const std::string_view text = content;
        std::vector<Entry>* current = nullptr;
        for (std::size_t start = 0; start < text.size();) {
            const std::size_t end = std::min(text.find('\n', start), text.size());
            const std::string_view line = trimmed(text.substr(start, end - start));
            start = end + 1;
            if (line.empty()) continue;
            if (line.front() == '[' && line.back() == ']') {
                current = &sections[std::string(line.substr(1, line.size() - 2))];
                continue;
            }
            if (!current) current = &sections[""];
            const std::size_t separator = std::min(line.find('='), line.size());
            const std::size_t value = std::min(separator + 1, line.size());
            current->push_back({std::string(line), std::string(line.substr(0, separator)),
                                std::string(line.substr(value))});
        }
    }

    std::size_t sectionCount() const { return sections.size(); }

    /// Beside the old file, then in its place.
    bool save(const std::string& path) const {
        std::string content;
        for (const auto& [name, entries] : sections) {
            if (!content.empty()) content += "\r\n";
            content += '[' + name + "]\r\n";
            for (const Entry& entry : entries) content.append(entry.text).append("\r\n");
        }
        const std::string temporary = path + ".tmp";
        std::FILE* const file = std::fopen(temporary.c_str(), "wb");
        if (!file) return false;
        const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
        return std::fclose(file) == 0 && written &&
               std::rename(temporary.c_str(), path.c_str()) == 0;
    }

    std::string value(const std::string& section, const std::string& name) const {
        const auto found = sections.find(section);
        if (found == sections.end()) return {};
        for (const Entry& entry : found->second) {
            if (entry.name == name) return entry.value;
        }
        return {};
    }
};

#ifdef VQ_PEER_INIH
/// inih only parses: what it finds goes to a map, as in its own C++ class.
struct InihIni {
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> sections;

    explicit InihIni(const std::string& path) {
        vqbench::require(ini_parse(path.c_str(), take, this) == 0);
    }

    std::size_t sectionCount() const { return sections.size(); }

    std::string value(const std::string& section, const std::string& name) const {
        for (const auto& [key, text] : sections.at(section)) {
            if (key == name) return text;
        }
        return {};
    }

private:
    static int take(void* self, const char* section, const char* name, const char* value) {
        static_cast<InihIni*>(self)->sections[section].emplace_back(name, value);
        return 1;
    }
};
#endif

#ifdef VQ_PEER_GLIB
struct GlibIni {
    GKeyFile* const file;

    explicit GlibIni(const std::string& path) : file(g_key_file_new()) {
        vqbench::require(g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_NONE, nullptr));
    }
    ~GlibIni() { g_key_file_free(file); }
    GlibIni(const GlibIni&) = delete;
    GlibIni& operator=(const GlibIni&) = delete;

    std::size_t sectionCount() const {
        gsize count = 0;
        g_strfreev(g_key_file_get_groups(file, &count));
        return count;
    }
    bool save(const std::string& path) const {
        return g_key_file_save_to_file(file, path.c_str(), nullptr);
    }
    std::string value(const std::string& section, const std::string& name) const {
        const std::unique_ptr<char, void (*)(void*)> found(
            g_key_file_get_value(file, section.c_str(), name.c_str(), nullptr), g_free);
        return found ? std::string(found.get()) : std::string();
    }
};
#endif

#ifdef VQ_PEER_SIMPLEINI
struct SimpleIni {
    CSimpleIniCaseA ini;

    explicit SimpleIni(const std::string& path) {
        ini.SetUnicode();
        ini.SetSpaces(false);
        vqbench::require(ini.LoadFile(path.c_str()) >= 0);
    }

    std::size_t sectionCount() const {
        CSimpleIniCaseA::TNamesDepend names;
        ini.GetAllSections(names);
        return names.size();
    }
    /// Beside the old file, then in its place: what it writes by itself is lost half-way.
    bool save(const std::string& path) const {
        const std::string temporary = path + ".tmp";
        return ini.SaveFile(temporary.c_str(), false) >= 0 &&
               std::rename(temporary.c_str(), path.c_str()) == 0;
    }
    std::string value(const std::string& section, const std::string& name) const {
        const char* const found = ini.GetValue(section.c_str(), name.c_str());
        return found ? found : "";
    }
};
#endif

template <class Ini> void addLoad(const char* peer, long size) {
    vqbench::add("ini.load", peer, size, [=](benchmark::State& state) {
        const vqbench::BenchFolder folder;
        const std::string text = vqbench::iniText(static_cast<std::size_t>(size));
        const std::string path = folder.fileOf("load.ini", text);
        {
            const Ini ini(path);
            const vqbench::Lookups lookups(ini.sectionCount());
            for (const auto& lookup : lookups.all) {
                vqbench::require(ini.value(lookup.section, lookup.name) == lookup.value);
            }
        }
        for (auto step : state) {
            const Ini ini(path);
            benchmark::DoNotOptimize(&ini);
        }
        state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
    });
}

template <class Ini> void addSave(const char* peer, long size) {
    vqbench::add("ini.save", peer, size, [=](benchmark::State& state) {
        const vqbench::BenchFolder folder;
        const std::string text = vqbench::iniText(static_cast<std::size_t>(size));
        const Ini ini(folder.fileOf("load.ini", text));
        const std::string path = folder.file("saved.ini");
        vqbench::require(ini.save(path));
        vqbench::require(Ini(path).sectionCount() == ini.sectionCount());
        for (auto step : state) benchmark::DoNotOptimize(ini.save(path));
        state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
    });
}

template <class Ini> void addLookup(const char* peer, long size) {
    vqbench::add("ini.lookup", peer, size, [=](benchmark::State& state) {
        const vqbench::BenchFolder folder;
        const std::string text = vqbench::iniText(static_cast<std::size_t>(size));
        const Ini ini(folder.fileOf("load.ini", text));
        const vqbench::Lookups lookups(ini.sectionCount());
        std::size_t next = 0;
        for (auto step : state) {
            const auto& lookup = lookups.all[next];
            const std::string value = ini.value(lookup.section, lookup.name);
            benchmark::DoNotOptimize(value.data());
            next = (next + 1) % lookups.all.size();
        }
    });
}

template <class Ini> void addAll(const char* peer) {
    for (const long size : {4096, 204800, 20971520}) addLoad<Ini>(peer, size);
    for (const long size : {4096, 204800}) addLookup<Ini>(peer, size);
    if constexpr (requires(const Ini& ini) { ini.save(std::string()); }) {
        for (const long size : {4096, 204800}) addSave<Ini>(peer, size);
    }
}

const bool added = [] {
    addAll<StdIni>("std");
#ifdef VQ_PEER_INIH
    addAll<InihIni>("inih");
#endif
#ifdef VQ_PEER_GLIB
    addAll<GlibIni>("glib");
#endif
#ifdef VQ_PEER_SIMPLEINI
    addAll<SimpleIni>("simpleini");
#endif
    return true;
}();

} // namespace
