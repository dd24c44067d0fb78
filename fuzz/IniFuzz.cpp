// Settings files: what is loaded is what a plain reading of the lines gives, saving writes that
// model, and what was saved loads as the same model and saves as the same bytes.

#include "Property.h"

#include "Vq/VqIniFile.h"
#include "VqTest/ScriptedPlatform.h"
#include "support/IniReference.h"

namespace {

using namespace vqtest;
using vqfuzz::Input;
using vqfuzz::require;

constexpr wchar_t kPath[] = L"/fuzz.ini";

MemoryFiles& files() {
    return *platform().fileSystem();
}

std::string joined(const std::vector<std::string>& writes) {
    std::string bytes;
    for (const std::string& write : writes) bytes += write;
    return bytes;
}

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

/// Does a line come back as it was written? Each load drops the control characters at a line's
/// ends, and then the blanks behind them.
bool comesBack(const std::string& line) {
    return !line.empty() && isPrintable(line.front()) && isPrintable(line.back()) &&
           line.find('\n') == std::string::npos;
}

bool comesBack(const Sections& sections) {
    for (const auto& [name, lines] : sections) {
        // A header that spells the reserved name another way is not written.
        const bool isAnonymous = referenceOrder(name, kAnonymous, false) == 0;
        if (name.find('\n') != std::string::npos || (isAnonymous && name != kAnonymous)) {
            return false;
        }
        for (const std::string& line : lines) {
            if (!comesBack(line)) return false;
        }
    }
    return true;
}

void checkLoadedAgain(const Sections& model, const std::string& saved, bool caseSensitive) {
    VqIniFile again(caseSensitive);
    require(again.load(kPath, '\n') == !saved.empty(), "what was saved loads");
    IniReference reference(caseSensitive);
    reference.load(saved, '\n');
    require(sectionsOf(again) == reference.sections(), "as a plain reading of it");
    require(again.saveAll(kPath), "and saves");
    if (!comesBack(model)) return;
    require(sectionsOf(again) == model, "the model is what it was");
    require(files().content(kPath) == saved, "and so is the file");
}

void check(std::string_view content, char separator, bool caseSensitive) {
    files().put(kPath, content);
    VqIniFile ini(caseSensitive);
    IniReference reference(caseSensitive);
    const bool loaded = ini.load(kPath, separator);
    require(loaded == !content.empty(), "a file with anything in it loads");
    if (loaded) reference.load(content, separator);
    require(sectionsOf(ini) == reference.sections(), "the model is that of a plain reading");

    require(ini.saveAll(kPath), "it saves");
    const std::string saved(files().content(kPath));
    require(saved == joined(reference.writes()), "the bytes are those of the model");

    checkLoadedAgain(sectionsOf(ini), saved, caseSensitive);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 16384) return 0; // the plain reading is quadratic in the number of sections
    Input input(data, size);
    const unsigned int choice = input.byte();
    // Mostly lines, sometimes any separator.
    const char separator = (choice & 2) != 0 ? static_cast<char>(input.byte()) : '\n';
    const std::string_view content = input.rest();
    const long blocks = platform().memory()->liveBlocks();
    check(content, separator, (choice & 1) != 0);
    files().reset();
    static bool isFirst = true; // which makes what the library keeps for good
    require(isFirst || platform().memory()->liveBlocks() == blocks, "no block is left");
    isFirst = false;
    return 0;
}
