/// The texts that the benchmarks of splitting, pairs and settings files work on, the same for the
/// library and for its peers.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace vqbench {

/// `count` fields of `length` characters each, with commas between them. When `quoted`, every
/// fourth holds a comma of its own in double quotes.
inline std::string fieldText(std::size_t count, std::size_t length, bool quoted) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 0) text += ',';
        std::string field = "field" + std::to_string(i);
        field.resize(length, '.');
        if (quoted && i % 4 == 3) field = '"' + field.substr(0, length - 3) + ",\"";
        text += field;
    }
    return text;
}

/// What a field of a list of pairs is called: long enough to be the name of a real setting.
inline std::string settingName(std::size_t i) {
    return "Timeline.Track" + std::to_string(1000 + i);
}

inline std::string settingValue(std::size_t i) {
    return "value of the setting " + std::to_string(1000 + i);
}

/// "name=value,name=value,..." of `count` pairs.
inline std::string pairText(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 0) text += ',';
        text += settingName(i) + '=' + settingValue(i);
    }
    return text;
}

/// Sections and keys of a settings file.
constexpr std::size_t kKeysPerSection = 20;

inline std::string sectionName(std::size_t i) {
    return "Section " + std::to_string(i);
}

/// A settings file of about `bytes` bytes with lines ended by CR and LF, as the library writes it.
inline std::string iniText(std::size_t bytes) {
    std::string text;
    for (std::size_t section = 0; text.size() < bytes; ++section) {
        if (section != 0) text += "\r\n";
        text += '[' + sectionName(100000 + section) + "]\r\n";
        for (std::size_t key = 0; key < kKeysPerSection && text.size() < bytes; ++key) {
            text += settingName(key) + '=' + settingValue(section * kKeysPerSection + key) + "\r\n";
        }
    }
    return text;
}

/// Lookups in an order that the processor cannot guess, the same in every run.
struct Lookups {
    struct Lookup {
        std::string section;
        std::string name;
        std::string value;
    };
    std::vector<Lookup> all;

    explicit Lookups(std::size_t sections) {
        std::size_t random = 1;
        const auto below = [&](std::size_t limit) {
            random = random * 6364136223846793005U + 1442695040888963407U;
            return (random >> 33) % limit;
        };
        // The last section may be cut short.
        for (int i = 0; i < 1024; ++i) {
            const std::size_t section = below(sections - 1);
            const std::size_t key = below(kKeysPerSection);
            all.push_back({sectionName(100000 + section), settingName(key),
                           settingValue(section * kKeysPerSection + key)});
        }
    }
};

/// A folder of the process's own, gone with the object. In memory where that is possible: the disk
/// is the same for everybody, and jumps.
class BenchFolder {
public:
    BenchFolder() : path_(parent() / ("vq-bench-" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(path_);
    }
    ~BenchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;

    std::string file(std::string_view name) const { return path_ / name; }

    std::string fileOf(std::string_view name, std::string_view content) const {
        std::ofstream(file(name), std::ios::binary) << content;
        return file(name);
    }

private:
    static std::filesystem::path parent() {
        const std::filesystem::path memory = "/dev/shm";
        return ::access(memory.c_str(), W_OK) == 0 ? memory
                                                   : std::filesystem::temp_directory_path();
    }

    std::filesystem::path path_;
};

inline std::string contentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace vqbench
