/// A folder for the files of one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace vqtest {

/// Empty at first, and open to every user; goes with all its content. Names are relative to it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "vqtest-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
        path_ = pattern;
        fs::permissions(path_, fs::perms::all);
    }

    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    const std::filesystem::path& path() const { return path_; }

    void put(std::string_view name, std::string_view content) const {
        std::ofstream(path_ / name, std::ios::binary) << content;
    }

    std::string content(std::string_view name) const {
        std::ifstream file(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The names of everything in the folder.
    std::set<std::string> names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

private:
    std::filesystem::path path_;
};

} // namespace vqtest
