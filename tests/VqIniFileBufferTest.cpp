// A buffer loaded into sections as a whole against the same buffer taken line by line: the template
// that cuts lines for any sink, with the public sink behind it.
#include "Vq/VqIniFile.h"

#include "support/IniTest.h"
#include "support/ScopedLocale.h"

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using Narrow = LightweightString<char>;
using Map = VqIniFile::SectionMap;

/// Hands each line to the public sink, but is not it.
struct ByLine {
    SectionsBuildingOutputIterator* sink;

    ByLine& operator=(const Narrow& line) {
        *sink = line;
        return *this;
    }
};

Map mapOf(bool caseSensitive) {
    return Map(VqIniFile_Private::StringLT_Fancy(caseSensitive));
}

void expectSame(const Map& whole, const Map& byLine) {
    ASSERT_EQ(whole.size(), byLine.size());
    auto expected = byLine.begin();
    for (const auto& [name, pairs] : whole) {
        ASSERT_EQ(name, expected->first);
        ASSERT_EQ(pairs.size(), expected->second.size()) << name;
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            ASSERT_EQ(pairs[i].text(), expected->second[i].text());
            ASSERT_EQ(pairs[i].name(), expected->second[i].name());
            ASSERT_EQ(pairs[i].value(), expected->second[i].value());
            ASSERT_EQ(pairs[i].form(), expected->second[i].form());
        }
        ++expected;
    }
}

/// Loads all buffers one after the other, both ways.
void expectLoadedAlike(const std::vector<std::string>& buffers, char separator,
                       bool caseSensitive) {
    Map whole = mapOf(caseSensitive);
    Map byLine = mapOf(caseSensitive);
    for (const std::string& buffer : buffers) {
        SectionsBuildingOutputIterator sink(&byLine);
        const unsigned long lines =
            Vq::StringManip::splitBuffer(ByLine{&sink}, buffer.data(), buffer.size(), separator);
        EXPECT_EQ(Vq::StringManip::splitBuffer(SectionsBuildingOutputIterator(&whole),
                                               buffer.data(), buffer.size(), separator),
                  lines);
        expectSame(whole, byLine);
    }
}

std::string randomBuffer(std::mt19937& random) {
    static constexpr std::string_view kPieces[] = {
        "\n", "\n", "\n", "\r\n", "[a]", "[A]", "[b]",  "[]",       "[",    "]",    "k=v",
        "k",  "=",  " ",  "  ",   "\t",  "\r",  "\0"sv, "\xC3\xA9", "\xE9", "\x7F", ";"};
    std::string buffer;
    for (std::size_t left = random() % 30; left > 0; --left) {
        buffer += kPieces[random() % std::size(kPieces)];
    }
    return buffer;
}

class VqIniFileBuffer : public IniTest {
protected:
    static void expectRandomOnesLoadAlike(unsigned seed) {
        std::mt19937 random(seed);
        for (int round = 0; round < 4000; ++round) {
            std::vector<std::string> buffers(1 + random() % 3);
            for (std::string& buffer : buffers) buffer = randomBuffer(random);
            expectLoadedAlike(buffers, "\n\n\n;\r\0 "[random() % 7], random() % 2 != 0);
        }
    }
};

TEST_F(VqIniFileBuffer, LoadsAsItsLinesDoInTheCLocale) {
    expectRandomOnesLoadAlike(21);
}

TEST_F(VqIniFileBuffer, LoadsAsItsLinesDoInAUtf8Locale) {
    const ScopedLocale scope(LC_CTYPE, kUnicodeLocale);
    expectRandomOnesLoadAlike(22);
}

TEST_F(VqIniFileBuffer, LoadsAsItsLinesDoWhereBytesBeyondAsciiArePrintable) {
    const ScopedLocale scope(LC_CTYPE, kTestLocale);
    expectRandomOnesLoadAlike(23);
}

TEST_F(VqIniFileBuffer, GivesANewSectionRoomForItsPairsAndNoMore) {
    const std::string_view text =
        "[a]\r\nk=1\r\n\r\nk=2\nk=3\n[b]\nk=4\n [c]\nk=5\nk=6\n\t[d]\nk=7";
    Map map = mapOf(true);
    Vq::StringManip::splitBuffer(SectionsBuildingOutputIterator(&map), text.data(), text.size(),
                                 '\n');
    std::vector<std::size_t> sizes;
    for (const auto& [name, pairs] : map) {
        sizes.push_back(pairs.size());
        EXPECT_EQ(pairs.capacity(), pairs.size()) << name;
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{3, 1, 2, 1}));
}

TEST_F(VqIniFileBuffer, LooksASectionUpOncePerHeader) {
    const std::string_view text = "[a]\nk=1\nk=2\nk=3\n[b]\nk=4\n[a]\nk=5\n";
    Map map = mapOf(true);
    const Counts made = countsOf([&] {
        Vq::StringManip::splitBuffer(SectionsBuildingOutputIterator(&map), text.data(), text.size(),
                                     '\n');
    });
    ASSERT_EQ(map.size(), 2U);
    EXPECT_EQ(map.begin()->second.size(), 4U);
    // One for each string of a pair and each header, two for the names that the map shares, and one
    // for that of the anonymous section.
    EXPECT_EQ(made[Call::kAtomicIncrement], 5 * 3 + 3 + 2 + 1);
}

} // namespace
