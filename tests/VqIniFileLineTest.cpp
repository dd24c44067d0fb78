#include "Vq/VqIniFile.h"

#include "VqTest/FailingAllocations.h"
#include "support/IniTest.h"
#include "support/ScopedLocale.h"

#include <cctype>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

using SplitBuffer = IniTest;
using SplitBufferLocale = IniTest;
using SectionsBuilding = IniTest;
using SectionsBuildingHeader = IniTest;
using SectionsBuildingWithoutMemory = IniTest;

using Lines = std::vector<std::string>;

/// A sink that keeps the lines.
struct LineCollector {
    LineCollector& operator=(const Narrow& line) {
        lines->emplace_back(std::string_view(line));
        return *this;
    }

    Lines* lines;
};

/// The lines of a buffer, after a look at the count returned.
Lines linesOf(std::string_view buffer, char separator) {
    Lines lines;
    const unsigned long count = Vq::StringManip::splitBuffer(LineCollector{&lines}, buffer.data(),
                                                             buffer.size(), separator);
    EXPECT_EQ(count, lines.size());
    return lines;
}

// --- Cutting a buffer

TEST_F(SplitBuffer, OfSizeZeroHasNoLines) {
    EXPECT_EQ(linesOf("", '\n'), Lines());
    Lines lines;
    EXPECT_EQ(Vq::StringManip::splitBuffer(LineCollector{&lines}, "text", 0, '\n'), 0U);
    EXPECT_EQ(lines, Lines());
}

TEST_F(SplitBuffer, FollowsTheRulesForLines) {
    struct Case {
        std::string_view buffer;
        char separator;
        Lines lines;
    };
    const Case cases[] = {
        {"a", '\n', {"a"}},
        {"a\nb", '\n', {"a", "b"}},
        {"a\nb\n", '\n', {"a", "b"}},
        {"a\r\nb\r\n", '\n', {"a", "b"}},
        {"a\r\r\nb", '\n', {"a", "b"}},
        {"a\n\nb", '\n', {"a", "", "b"}},
        {"a\r\n\r\nb", '\n', {"a", "", "b"}},
        {"\n", '\n', {""}},
        {"\n\n", '\n', {"", ""}},
        {"\r\n", '\n', {""}},
        {"a\n\r", '\n', {"a"}},
        {"a\n\r\n", '\n', {"a", ""}},
        {"a\n\t\n\tb", '\n', {"a", "", "b"}},
        {"a\t \t\nb", '\n', {"a\t ", "b"}},
        {"a\n \tb", '\n', {"a", " \tb"}},
        {"a\n\t  b  ", '\n', {"a", "  b  "}},
        {"a\rb", '\n', {"a\rb"}},
        {"a\tb\n", '\n', {"a\tb"}},
        {"a\r\nb", '\r', {"a", "b"}},
        {"a b", '\n', {"a b"}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(linesOf(each.buffer, each.separator), each.lines)
            << ::testing::PrintToString(each.buffer);
    }
}

TEST_F(SplitBuffer, SkipsNothingBeforeTheFirstLine) {
    EXPECT_EQ(linesOf("\ta", '\n'), (Lines{"\ta"}));
    EXPECT_EQ(linesOf("\r\ta\n\tb", '\n'), (Lines{"\r\ta", "b"}));
    EXPECT_EQ(linesOf("\xEF\xBB\xBF[a]\n\xEF\xBB\xBF[b]", '\n'), (Lines{"\xEF\xBB\xBF[a]", "[b]"}));
    EXPECT_EQ(linesOf("\t\r\na", '\n'), (Lines{"", "a"})) << "at the end they go all the same";
}

TEST_F(SplitBuffer, KeepsAPrintableSeparatorAtTheEndOfItsLine) {
    EXPECT_EQ(linesOf("a;b;c", ';'), (Lines{"a;", "b;", "c"}));
    EXPECT_EQ(linesOf("a;;b;", ';'), (Lines{"a;", ";", "b;"}));
    EXPECT_EQ(linesOf(";", ';'), (Lines{";"}));
    EXPECT_EQ(linesOf("a\t;\tb\t", ';'), (Lines{"a\t;", "b"}));
    EXPECT_EQ(linesOf("a b", ' '), (Lines{"a ", "b"}));
    EXPECT_EQ(linesOf("a\n;b", ';'), (Lines{"a\n;", "b"}));
}

TEST_F(SplitBuffer, TakesAnyByteForASeparator) {
    for (int value = 0; value < 256; ++value) {
        const char separator = static_cast<char>(value);
        if (separator == 'x' || separator == 'y' || separator == 'z') continue;
        const std::string s(1, separator);
        const std::string kept = separator >= ' ' && separator <= '~' ? s : "";
        EXPECT_EQ(linesOf("x" + s + s + "y" + s + "z", separator),
                  (Lines{"x" + kept, kept, "y" + kept, "z"}))
            << value;
    }
}

TEST_F(SplitBuffer, DropsExactlyTheUnprintableBytesAtBothEnds) {
    for (int value = 0; value < 256; ++value) {
        const char byte = static_cast<char>(value);
        if (byte == '\n') continue;
        const std::string b(1, byte);
        const std::string kept = byte >= ' ' && byte <= '~' ? b : "";
        EXPECT_EQ(linesOf("a" + b + "\n" + b + "b" + b, '\n'),
                  (Lines{"a" + kept, kept + "b" + kept}))
            << value;
        EXPECT_EQ(linesOf(b + "a", '\n'), (Lines{b + "a"})) << value << " before the first line";
        EXPECT_EQ(linesOf("a" + b + "b", '\n'), (Lines{"a" + b + "b"})) << value << " inside";
    }
}

TEST_F(SplitBuffer, KeepsZeroBytesInside) {
    EXPECT_EQ(linesOf("a\0b\0\n\0c\0\0d"sv, '\n'),
              (Lines{std::string("a\0b", 3), std::string("c\0\0d", 4)}));
}

TEST_F(SplitBuffer, AgreesWithTheRulesOnRandomBuffers) {
    constexpr std::string_view kAlphabets[] = {"a\n", "a \t\r\n", "ab; \t\r\n\0"sv, "[]=a\n ",
                                               "\x80\xC3\xBC\xFF\x7F\x1F a\n"};
    std::mt19937 random(20260101);
    for (int round = 0; round < 20000; ++round) {
        const std::string_view alphabet = kAlphabets[random() % std::size(kAlphabets)];
        std::string buffer(random() % 24, '\0');
        for (char& c : buffer) c = alphabet[random() % alphabet.size()];
        const char separator = alphabet[random() % alphabet.size()];
        ASSERT_EQ(linesOf(buffer, separator), referenceLines(buffer, separator))
            << ::testing::PrintToString(buffer) << " at " << static_cast<int>(separator);
    }
}

TEST_F(SplitBuffer, AgreesWithTheRulesOnRandomBytes) {
    std::mt19937 random(42);
    for (int round = 0; round < 3000; ++round) {
        std::string buffer(random() % 2000, '\0');
        for (char& c : buffer) c = static_cast<char>(random());
        const char separator = static_cast<char>(random());
        ASSERT_EQ(linesOf(buffer, separator), referenceLines(buffer, separator))
            << "round " << round << " at " << static_cast<int>(separator);
    }
}

TEST_F(SplitBuffer, CountsTheLinesGivenToTheSectionsToo) {
    VqIniFile::SectionMap sections{VqIniFile_Private::StringLT_Fancy(true)};
    constexpr std::string_view kBuffer = "[a]\r\n\r\nk=1\r\n   \r\n[b]\r\n";
    EXPECT_EQ(Vq::StringManip::splitBuffer(SectionsBuildingOutputIterator(&sections),
                                           kBuffer.data(), kBuffer.size(), '\n'),
              5U)
        << "empty lines included";
    EXPECT_EQ(sections.size(), 1U);
}

TEST_F(SplitBuffer, ReadsNothingBehindTheBuffer) {
    // On the heap and of exact size, where the address sanitizer sees every byte too far.
    for (const std::string_view text : {"a\n"sv, "a\n\t"sv, "\t"sv, "a"sv, "\n"sv}) {
        const std::vector<char> exact(text.begin(), text.end());
        Lines lines;
        Vq::StringManip::splitBuffer(LineCollector{&lines}, exact.data(), exact.size(), '\n');
        EXPECT_EQ(lines, referenceLines(text, '\n'));
    }
}

// --- The locale

TEST_F(SplitBufferLocale, SaysWhichBytesArePrintable) {
    const ScopedLocale latin1(LC_CTYPE, kTestLocale);
    int printableHere = 0;
    for (int value = 0x80; value < 0x100; ++value) {
        const std::string b(1, static_cast<char>(value));
        const bool printable = std::isprint(value) != 0;
        printableHere += printable;
        const std::string kept = printable ? b : "";
        EXPECT_EQ(linesOf("a" + b + "\n" + b + "b", '\n'), (Lines{"a" + kept, kept + "b"}))
            << value;
        EXPECT_EQ(linesOf("a" + b + "b", b[0]), (Lines{"a" + kept, "b"})) << value;
    }
    EXPECT_GT(printableHere, 0) << "else this locale shows nothing";
}

TEST_F(SplitBufferLocale, OfSingleBytesKeepsAValueThatEndsInALetter) {
    const ScopedLocale latin1(LC_CTYPE, kTestLocale);
    EXPECT_EQ(sectionsOf(loaded("k=caf\xE9\r\n")), (Sections{{kAnonymousName, {"k=caf\xE9"}}}));
}

TEST_F(SplitBufferLocale, OfUtf8StillLosesTheBytesOfALastLetter) {
    const ScopedLocale utf8(LC_CTYPE, kUnicodeLocale);
    EXPECT_EQ(sectionsOf(loaded("k=caf\xC3\xA9\r\n")), (Sections{{kAnonymousName, {"k=caf"}}}))
        << "bytes are looked at one by one";
}

// --- Lines into sections

/// The sections that a sink makes of lines.
Sections sectionsFrom(std::initializer_list<std::string_view> lines, bool caseSensitive = true) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(caseSensitive)};
    SectionsBuildingOutputIterator out(&map);
    for (const std::string_view line : lines) out = Narrow(line);
    Sections sections;
    for (const auto& [name, pairs] : map) {
        auto& section = sections.emplace_back(std::string_view(name), Lines());
        for (const AttribValuePair& pair : pairs) {
            section.second.emplace_back(std::string_view(pair.text()));
        }
    }
    return sections;
}

/// The one section that the header line names; "none" when it is no header.
std::string namedBy(std::string_view header) {
    const Sections sections = sectionsFrom({header, "k=1"});
    if (sections.size() != 1) return "several";
    return sections[0].second.size() == 1 ? sections[0].first : "none";
}

TEST_F(SectionsBuilding, StartsInTheAnonymousSectionAndAddsNothingByItself) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
    SectionsBuildingOutputIterator out(&map);
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(&(out = Narrow("k=1")), &out);
    ASSERT_EQ(map.size(), 1U);
    EXPECT_EQ(map.begin()->first, VqIniFile::kAnonymousSection());
}

TEST_F(SectionsBuilding, CopiesOfASinkGoOnOnTheirOwn) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
    SectionsBuildingOutputIterator out(&map);
    out = Narrow("[a]");
    SectionsBuildingOutputIterator copy = out;
    out = Narrow("[b]");
    copy = Narrow("k=1");
    out = Narrow("j=2");
    ASSERT_EQ(map.size(), 2U);
    EXPECT_EQ(map.find("a")->second[0].text(), "k=1"sv);
    EXPECT_EQ(map.find("b")->second[0].text(), "j=2"sv);
}

TEST_F(SectionsBuilding, IgnoresBlankLines) {
    EXPECT_EQ(sectionsFrom({"", " ", "        "}), Sections());
}

TEST_F(SectionsBuilding, IgnoresLinesOfSpacesAndTabsOfAFile) {
    EXPECT_EQ(sectionsOf(loaded("k=1\n\t\t\n    \n\t  \n  \t\t\r\n\n\t\r\n")),
              (Sections{{kAnonymousName, {"k=1"}}}));
}

TEST_F(SectionsBuilding, TakesATabBetweenSpacesForText) {
    EXPECT_EQ(sectionsOf(loaded("k=1\n \t \n")), (Sections{{kAnonymousName, {"k=1", "\t"}}}));
    EXPECT_EQ(sectionsFrom({"\t"}), (Sections{{kAnonymousName, {"\t"}}}));
}

TEST_F(SectionsBuilding, TrimsSpacesOnly) {
    EXPECT_EQ(sectionsFrom({"  k=1  ", " \tk=2\t ", "k=3\r", "   [a]   ", "  j = 4"}),
              (Sections{{kAnonymousName, {"k=1", "\tk=2\t", "k=3\r"}}, {"a", {"j = 4"}}}));
}

TEST_F(SectionsBuilding, SplitsEveryOtherLineAtItsFirstEqualsSign) {
    const VqIniFile ini = loaded("key = value\n"
                                 "key=a=b\n"
                                 "=v\n"
                                 "k=\n"
                                 "; comment\n"
                                 "# x=y\n"
                                 "no separator\n"
                                 "k:v\n");
    const auto& section = ini[VqIniFile::kAnonymousSection()];
    constexpr std::string_view kExpected[][3] = {{"key = value", "key ", " value"},
                                                 {"key=a=b", "key", "a=b"},
                                                 {"=v", "", "v"},
                                                 {"k=", "k", ""},
                                                 {"; comment", "", ""},
                                                 {"# x=y", "# x", "y"},
                                                 {"no separator", "", ""},
                                                 {"k:v", "", ""}};
    ASSERT_EQ(section.size(), std::size(kExpected));
    for (std::size_t i = 0; i < section.size(); ++i) {
        const auto& [text, name, value] = kExpected[i];
        EXPECT_EQ(section[i].form(), AttribValuePair::kTextAndParts);
        EXPECT_EQ(section[i].text(), text);
        EXPECT_EQ(section[i].name(), name);
        EXPECT_EQ(section[i].value(), value);
        EXPECT_EQ(section[i].valid(), !name.empty() && !value.empty());
    }
}

TEST_F(SectionsBuilding, KeepsRepeatedKeysInOrder) {
    EXPECT_EQ(sectionsFrom({"[a]", "k=2", "k=1", "k=2", "j=0"}),
              (Sections{{"a", {"k=2", "k=1", "k=2", "j=0"}}}));
}

TEST_F(SectionsBuilding, SharesALineThatNeedsNoTrimming) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
    SectionsBuildingOutputIterator out(&map);
    const Narrow line("key=value"), padded("  key=value  ");
    out = line;
    out = padded;
    const auto& pairs = map.begin()->second;
    EXPECT_EQ(pairs[0].text().c_str(), line.c_str());
    EXPECT_EQ(pairs[1].text(), "key=value"sv);
    EXPECT_EQ(padded, "  key=value  "sv) << "the caller's line stays as it is";
}

// --- Headers

TEST_F(SectionsBuildingHeader, NamesTheSectionWithTheTextBetweenItsBrackets) {
    EXPECT_EQ(namedBy("[a]"), "a");
    EXPECT_EQ(namedBy("[ a ]"), " a ");
    EXPECT_EQ(namedBy("[]"), "");
    EXPECT_EQ(namedBy("[ ]"), " ");
    EXPECT_EQ(namedBy("[[a]]"), "[a]");
    EXPECT_EQ(namedBy("[a]b]"), "a]b");
    EXPECT_EQ(namedBy("[k=v]"), "k=v");
    EXPECT_EQ(namedBy("[;]"), ";");
    EXPECT_EQ(namedBy("  [a]  "), "a");
    EXPECT_EQ(namedBy("[\ta\t]"), "\ta\t");
    EXPECT_EQ(namedBy("[\xC3\x84rger \xE6\x97\xA5]"), "\xC3\x84rger \xE6\x97\xA5");
    EXPECT_EQ(namedBy("[none]"), "none");
}

TEST_F(SectionsBuildingHeader, NeedsBothBrackets) {
    const Sections sections = sectionsFrom(
        {"[a", "a]", "[", "]", "x[a]", "[a]x", "[a] ; comment", "[a]=1", "\t[a]", "[a]\t"});
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].first, kAnonymousName);
    EXPECT_EQ(sections[0].second.size(), 10U) << "all of them are key lines";
    EXPECT_EQ(sections[0].second[0], "[a");
}

TEST_F(SectionsBuildingHeader, AddsNoSectionByItself) {
    EXPECT_EQ(sectionsFrom({"[a]"}), Sections());
    EXPECT_EQ(sectionsFrom({"[a]", "[b]", "k=1"}), (Sections{{"b", {"k=1"}}}));
    EXPECT_EQ(sectionsFrom({"[a]", "  ", "[b]"}), Sections());
}

TEST_F(SectionsBuildingHeader, ThatComesAgainGoesOn) {
    EXPECT_EQ(sectionsFrom({"[a]", "k=1", "[b]", "k=2", "[a]", "k=3"}),
              (Sections{{"a", {"k=1", "k=3"}}, {"b", {"k=2"}}}));
}

TEST_F(SectionsBuildingHeader, OfAnotherCaseIsAnotherSectionWhereCaseMatters) {
    EXPECT_EQ(sectionsFrom({"[Foo]", "k=1", "[FOO]", "k=2"}, true),
              (Sections{{"FOO", {"k=2"}}, {"Foo", {"k=1"}}}));
}

TEST_F(SectionsBuildingHeader, OfAnotherCaseGoesOnUnderTheFirstSpellingWhereItDoesNot) {
    EXPECT_EQ(sectionsFrom({"[Foo]", "k=1", "[FOO]", "k=2", "[foo]", "k=3"}, false),
              (Sections{{"Foo", {"k=1", "k=2", "k=3"}}}));
    EXPECT_EQ(sectionsFrom({"[FOO]", "[foo]", "k=1"}, false), (Sections{{"foo", {"k=1"}}}))
        << "a header without keys is no spelling seen";
}

TEST_F(SectionsBuildingHeader, FoldsTheCaseOfAsciiOnly) {
    EXPECT_EQ(sectionsFrom({"[\xC3\x84]", "k=1", "[\xC3\xA4]", "k=2"}, false).size(), 2U);
    EXPECT_EQ(sectionsFrom({"[\xC4]", "k=1", "[\xE4]", "k=2"}, false).size(), 2U);
}

TEST_F(SectionsBuildingHeader, MayNameTheAnonymousSection) {
    EXPECT_EQ(sectionsFrom({"k=1", "[a]", "[@@@ANONYMOUS_SECTION_RESERVED_NAME@@@]", "k=2"}),
              (Sections{{kAnonymousName, {"k=1", "k=2"}}}));
}

TEST_F(SectionsBuildingHeader, MayNameTheAnonymousSectionInAnotherCase) {
    constexpr std::string_view kLowered = "@@@anonymous_section_reserved_name@@@";
    const std::string header = '[' + std::string(kLowered) + ']';
    EXPECT_EQ(sectionsFrom({"k=1", header, "k=2"}, false),
              (Sections{{kAnonymousName, {"k=1", "k=2"}}}));
    EXPECT_EQ(sectionsFrom({header, "k=2"}, false), (Sections{{std::string(kLowered), {"k=2"}}}));
    EXPECT_EQ(sectionsFrom({"k=1", header, "k=2"}, true),
              (Sections{{kAnonymousName, {"k=1"}}, {std::string(kLowered), {"k=2"}}}));
}

TEST_F(SectionsBuildingHeader, IsComparedUpToItsFirstZeroByte) {
    EXPECT_EQ(sectionsFrom({"[a\0b]"sv, "k=1", "[a\0c]"sv, "k=2", "[a]", "k=3"}),
              (Sections{{std::string("a\0b", 3), {"k=1", "k=2", "k=3"}}}));
}

// --- Without memory

TEST_F(SectionsBuildingWithoutMemory, LosesAtMostTheLineInHand) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
    SectionsBuildingOutputIterator out(&map);
    const Narrow line("  j=2  "), header("  [b]  ");
    out = Narrow("[a]");
    out = Narrow("k=1");
    const auto& section = map.begin()->second;
    const auto stands = [&] {
        ASSERT_EQ(section.size(), 1U);
        EXPECT_EQ(section[0].text(), "k=1"sv);
    };
    EXPECT_GE(forEachFailingAllocation([&] { out = line; }, stands), 4)
        << "two steps of trimming, name, value";
    EXPECT_EQ(section.size(), 2U);
    EXPECT_GE(forEachFailingAllocation([&] { out = header; }, [] {}), 1);
    EXPECT_EQ(map.size(), 1U);
}

TEST_F(SectionsBuildingWithoutMemory, MakesNoSectionForALineThatIsLost) {
    VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
    SectionsBuildingOutputIterator out(&map);
    const Narrow line("k=1");
    const int failures =
        forEachFailingAllocation([&] { out = line; }, [&] { EXPECT_TRUE(map.empty()); });
    EXPECT_EQ(failures, 4) << "name, value, pairs, section";
    EXPECT_EQ(map.begin()->second[0].text(), "k=1"sv);
}

TEST_F(SectionsBuildingWithoutMemory, LeavesNothingBehind) {
    const Narrow header(" [b]"), line(" j=2");
    const auto build = [&] {
        VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
        SectionsBuildingOutputIterator out(&map);
        out = line;
        out = header;
        out = line;
    };
    EXPECT_GE(forEachFailingAllocation(build, [] {}), 10);
}

} // namespace
