#include "Vq/VqIniFile.h"

#include "support/IniTest.h"

#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

/// A model and its reference, which random operations must keep alike.
class RandomModels {
public:
    RandomModels(unsigned seed, bool caseSensitive)
        : random_(seed), caseSensitive_(caseSensitive), ini_(caseSensitive),
          reference_(caseSensitive) {}

    /// Does one operation on both.
    void step() {
        switch (pick(9)) {
        case 0:
            return load();
        case 1:
            return saveAndLoadAnew();
        case 2:
            return addPair();
        case 3:
            return askThroughAConstModel();
        case 4:
            return remove();
        case 5:
            return make();
        case 6:
            return dropPair();
        case 7:
            return walk();
        default:
            return addPair();
        }
    }

    void expectAlike() const {
        ASSERT_EQ(sectionsOf(ini_), reference_.sections());
        ASSERT_EQ(ini_.getNumSections(), reference_.sections().size());
    }

    /// Saves both and compares every write.
    void expectSavedAlike() {
        ASSERT_TRUE(ini_.saveAll(kPath));
        std::vector<std::string> writes;
        for (const MallocString& bytes : files().writes(kPath)) {
            writes.emplace_back(std::string_view(bytes));
        }
        ASSERT_EQ(writes, reference_.writes());
    }

private:
    static constexpr wchar_t kPath[] = L"/random.ini";

    static MemoryFiles& files() { return *platform().fileSystem(); }

    std::size_t pick(std::size_t below) { return random_() % below; }

    /// Names that meet in many ways, depending on case.
    std::string name() {
        constexpr std::string_view kNames[] = {"",         "a",
                                               "A",        "b",
                                               "B",        "_",
                                               " a ",      "1",
                                               "?",        "@",
                                               "[x]",      "a]b",
                                               "\xC3\x84", "\xC3\xA4",
                                               "Video",    "VIDEO",
                                               "\t",       "  ",
                                               "a=b",      "~",
                                               kAnonymous, "@@@anonymous_section_reserved_name@@@"};
        return std::string(kNames[pick(std::size(kNames))]);
    }

    /// No header, and no blanks at the ends.
    std::string line() {
        constexpr std::string_view kPieces[] = {"k", "=",  " ",        "v", ";", "[",
                                                "]", "\t", "\xC3\xA9", "K", "#", "\r"};
        std::string middle;
        for (std::size_t left = pick(8); left > 0; --left)
            middle += kPieces[pick(std::size(kPieces))];
        return 'x' + middle + '.';
    }

    std::string content() {
        constexpr std::string_view kPieces[] = {
            "\n",    "\n",       "\r\n",    "\n\n",         "[",     "]\n",     "]",       "=",
            "k",     "v",        " ",       "\t",           "[a]\n", "[A]\r\n", "[ a ]\n", "[]\n",
            "; c\n", "\xC3\xA9", "k=v\r\n", "\xEF\xBB\xBF", "[b\n",  "@@@",     "\x7F"};
        std::string text;
        for (std::size_t left = 1 + pick(40); left > 0; --left) {
            text += kPieces[pick(std::size(kPieces))];
        }
        return text;
    }

    void load() {
        const std::string text = content();
        const char separator = pick(4) == 0 ? "\r];\t"[pick(4)] : '\n';
        files().put(kPath, text);
        ASSERT_TRUE(ini_.load(kPath, separator));
        reference_.load(text, separator);
    }

    /// Not every line survives this, but the reference knows which.
    void saveAndLoadAnew() {
        expectSavedAlike();
        std::string content;
        for (const std::string& bytes : reference_.writes()) content += bytes;
        ASSERT_EQ(files().content(kPath), content);
        ini_ = VqIniFile(kPath, true, caseSensitive_);
        reference_ = IniReference(caseSensitive_);
        reference_.load(content, '\n');
    }

    void addPair() {
        const std::string section = name(), text = line();
        ini_[Narrow(section)].push_back(AttribValuePair(Narrow(text), '='));
        reference_.section(section).push_back(text);
    }

    void askThroughAConstModel() {
        const VqIniFile& ini = ini_;
        const std::string section = name();
        const bool exists = reference_.contains(section);
        ASSERT_EQ(ini.sectionExists(Narrow(section)), exists);
        const auto& pairs = ini[Narrow(section)];
        ASSERT_EQ(pairs.size(), exists ? reference_.section(section).size() : 0);
    }

    void remove() {
        if (pick(3) != 0) return;
        const std::string section = name();
        ini_.removeSection(Narrow(section));
        reference_.remove(section);
    }

    void make() {
        const std::string section = name();
        ini_.getSection(Narrow(section));
        reference_.section(section);
    }

    void dropPair() {
        const std::string section = name();
        auto& lines = reference_.section(section);
        auto& pairs = ini_[Narrow(section)];
        ASSERT_EQ(pairs.size(), lines.size());
        if (lines.empty()) return;
        const auto at = static_cast<std::ptrdiff_t>(pick(lines.size()));
        pairs.erase(pairs.begin() + at);
        lines.erase(lines.begin() + at);
    }

    /// Changes every second section on the way.
    void walk() {
        std::size_t i = 0;
        for (auto walk = ini_.getSectionIterator(); walk.valid(); walk++, ++i) {
            if (i % 2 == 0) continue;
            const std::string text = line();
            (*walk).push_back(AttribValuePair(Narrow(text), '='));
            reference_.section(std::string_view(walk.name())).push_back(text);
        }
    }

    std::mt19937 random_;
    bool caseSensitive_;
    VqIniFile ini_;
    IniReference reference_;
};

using VqIniFileRandom = IniTest;

TEST_F(VqIniFileRandom, OperationsKeepTheModelLikeItsReference) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        RandomModels models(seed, seed % 2 == 0);
        for (int step = 0; step < 40; ++step) {
            models.step();
            models.expectAlike();
            ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
        models.expectSavedAlike();
        ASSERT_FALSE(HasFatalFailure()) << "seed " << seed;
    }
}

TEST_F(VqIniFileRandom, FilesLoadAsTheirReferenceSays) {
    constexpr std::string_view kAlphabet = "[]=ab \t\r\n\n;\x80\xC3";
    std::mt19937 random(7);
    for (int round = 0; round < 5000; ++round) {
        std::string content(1 + random() % 60, '\0');
        for (char& c : content) c = kAlphabet[random() % kAlphabet.size()];
        const bool caseSensitive = round % 2 == 0;
        const char separator = round % 5 == 0 ? kAlphabet[random() % kAlphabet.size()] : '\n';
        IniReference reference(caseSensitive);
        reference.load(content, separator);
        ASSERT_EQ(sectionsOf(loaded(content, caseSensitive, separator)), reference.sections())
            << ::testing::PrintToString(content) << " at " << static_cast<int>(separator);
    }
}

/// Any byte but a space, with many of those that matter.
char anyByteButASpace(std::mt19937& random) {
    if (random() % 4 == 0) return "\n[]="[random() % 4];
    const char c = static_cast<char>(random());
    return c == ' ' ? '\n' : c;
}

TEST_F(VqIniFileRandom, FilesOfAnyBytesButSpacesLoadSaveAndLoadTheSame) {
    std::mt19937 random(8);
    for (int round = 0; round < 1000; ++round) {
        std::string content(1 + random() % 600, '\0');
        for (char& c : content) c = anyByteButASpace(random);
        VqIniFile ini = loaded(content);
        const Sections before = sectionsOf(ini);
        ASSERT_TRUE(ini.saveAll(kPath));
        VqIniFile again(kPath, true, true);
        ASSERT_EQ(sectionsOf(again), before) << "round " << round;
    }
}

} // namespace
