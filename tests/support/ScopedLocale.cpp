#include "support/ScopedLocale.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace vqtest {

namespace {

namespace fs = std::filesystem;

/// A folder that goes with this object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (fs::temp_directory_path() / "vqtest-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

std::string codeOf(int character) {
    char code[16];
    std::snprintf(code, sizeof code, "<U%04X>", static_cast<unsigned>(character));
    return code;
}

/// Small letters, each with its capital, as pairs of codes.
std::string casePairs(bool smallFirst) {
    std::string pairs;
    const auto add = [&](int small, int capital) {
        const int first = smallFirst ? small : capital;
        const int second = smallFirst ? capital : small;
        if (!pairs.empty()) pairs += ';';
        pairs += '(' + codeOf(first) + ',' + codeOf(second) + ')';
    };
    for (int c = 'a'; c <= 'z'; ++c) add(c, c - 0x20);
    for (int c = 0xE0; c <= 0xFE; ++c) {
        if (c != 0xF7) add(c, c - 0x20);
    }
    add(0xFF, 0xBE);
    return pairs;
}

std::string localeSource() {
    std::ostringstream source;
    source << "comment_char %\nescape_char /\n"
           << "LC_CTYPE\n"
           << "graph <U0021>..<U007E>;<U00A1>..<U00FF>\n"
           << "print <U0020>..<U007E>;<U00A0>..<U00FF>\n"
           << "space <U0009>;<U000A>;<U000B>;<U000C>;<U000D>;<U0020>;<U00A0>\n"
           << "toupper " << casePairs(true) << "\n"
           << "tolower " << casePairs(false) << "\n"
           << "END LC_CTYPE\n"
           << "LC_NUMERIC\n"
           << "decimal_point \",\"\nthousands_sep \"\"\ngrouping -1\n"
           << "END LC_NUMERIC\n";
    return source.str();
}

constexpr char kLatin1[] = "<code_set_name> ISO-8859-1\n"
                           "<comment_char> %\n"
                           "<escape_char> /\n"
                           "CHARMAP\n"
                           "<U0000>..<U00FF> /x00\n"
                           "END CHARMAP\n";

/// Compiles the locale into `folder`. The compiler of locales comes with the C library's own
/// package; with the character map written here it needs nothing else.
void makeTestLocale(const fs::path& folder) {
    std::ofstream(folder / "charmap") << kLatin1;
    std::ofstream(folder / "source") << localeSource();
    const auto quoted = [&](const char* name) { return " '" + (folder / name).string() + "'"; };
    const std::string command = "LC_ALL=C localedef --quiet --force -f" + quoted("charmap") +
                                " -i" + quoted("source") + quoted(kTestLocale) + " >" +
                                quoted("log") + " 2>&1";
    // Its exit code speaks of the categories left out; loading shows whether the others were made.
    [[maybe_unused]] const int result = std::system(command.c_str());
}

const char* loadTestLocale(int category) {
    const TemporaryFolder folder;
    makeTestLocale(folder.path());
    setenv("LOCPATH", folder.path().c_str(), 1);
    const char* const name = std::setlocale(category, kTestLocale);
    unsetenv("LOCPATH");
    return name;
}

} // namespace

ScopedLocale::ScopedLocale(int category, const char* name)
    : category_(category), before_(std::setlocale(category, nullptr)) {
    const char* const now = std::string_view(name) == kTestLocale ? loadTestLocale(category)
                                                                  : std::setlocale(category, name);
    if (!now) throw std::runtime_error("no locale " + std::string(name));
}

ScopedLocale::~ScopedLocale() {
    std::setlocale(category_, before_.c_str());
}

} // namespace vqtest
