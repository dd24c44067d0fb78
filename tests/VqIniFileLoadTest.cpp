#include "Vq/VqIniFile.h"

#include "VqTest/FailingAllocations.h"
#include "support/IniTest.h"

#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

using VqIniFileLoadPath = IniTest;
using VqIniFileLoadFile = IniTest;
using VqIniFileLoadContent = IniTest;
using VqIniFileLoadAgain = IniTest;
using VqIniFileLoadWithoutMemory = IniTest;

/// The path of the latest call of `openFile`.
std::wstring_view lastPath() {
    const auto& requests = platform().fileSystem()->requests();
    return requests.empty() ? std::wstring_view() : std::wstring_view(requests.back().path);
}

// --- The path

TEST_F(VqIniFileLoadPath, IsTheOneGivenAndBecomesTheModelsOwn) {
    files().put(L"/a.ini", "k=1");
    files().put(L"/b.ini", "k=2");
    VqIniFile ini(L"/a.ini", false, true);
    EXPECT_TRUE(ini.load(L"/b.ini", '\n'));
    EXPECT_EQ(lastPath(), L"/b.ini");
    EXPECT_TRUE(ini.load(L"", '\n'));
    EXPECT_EQ(lastPath(), L"/b.ini");
    EXPECT_EQ(files().requests().size(), 2U);
}

TEST_F(VqIniFileLoadPath, IsTheModelsOwnWhenNoneIsGiven) {
    files().put(kPath, "k=1");
    VqIniFile ini(kPath, false, true);
    EXPECT_TRUE(ini.load({}, '\n'));
    EXPECT_EQ(lastPath(), kPath);
    EXPECT_EQ(sectionsOf(ini), (Sections{{kAnonymousName, {"k=1"}}}));
}

TEST_F(VqIniFileLoadPath, IsKeptWhenLoadingFromItFails) {
    VqIniFile ini(L"/a.ini", false, true);
    EXPECT_FALSE(ini.load(L"/missing.ini", '\n'));
    files().put(L"/missing.ini", "k=1");
    EXPECT_TRUE(ini.load({}, '\n'));
    EXPECT_EQ(lastPath(), L"/missing.ini");

    files().put(L"/unreadable.ini", "k=1");
    calls().fail(kRead);
    EXPECT_FALSE(ini.load(L"/unreadable.ini", '\n'));
    EXPECT_TRUE(ini.load({}, '\n'));
    EXPECT_EQ(lastPath(), L"/unreadable.ini");

    files().put(L"/empty.ini", "");
    EXPECT_FALSE(ini.load(L"/empty.ini", '\n'));
    EXPECT_FALSE(ini.load({}, '\n'));
    EXPECT_EQ(lastPath(), L"/empty.ini");
}

TEST_F(VqIniFileLoadPath, IsNeededToOpenAnything) {
    VqIniFile ini(true);
    const Counts made = countsOf([&] { EXPECT_FALSE(ini.load({}, '\n')); });
    EXPECT_EQ(made[kOpenFile], 0);
    VqIniFile pathless({}, true, true);
    EXPECT_TRUE(files().requests().empty());
    EXPECT_EQ(pathless.getNumSections(), 0U);
}

TEST_F(VqIniFileLoadPath, IsHandedToThePlatformAsItIs) {
    const Wide path(L"/\u00C4rger/\u65E5\u672C \U0001F600/a.ini");
    files().put(path, "k=1");
    VqIniFile ini(true);
    const Counts made = countsOf([&] { EXPECT_TRUE(ini.load(path, '\n')); });
    EXPECT_EQ(lastPath(), std::wstring_view(path));
    EXPECT_EQ(made[kToUTF8], 0);
}

TEST_F(VqIniFileLoadPath, ConstructionStoresItAndOpensNothingUnlessTold) {
    files().put(kPath, "k=1");
    VqIniFile ini(kPath, false, true);
    EXPECT_TRUE(files().requests().empty());
    EXPECT_EQ(ini.getNumSections(), 0U);
}

TEST_F(VqIniFileLoadPath, ConstructionLoadsFromItAtOnceByLineFeeds) {
    files().put(kPath, "[a]\nk=1;j=2\r\n[b]\nl=3");
    VqIniFile ini(kPath, true, true);
    EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"k=1;j=2"}}, {"b", {"l=3"}}}));
    EXPECT_EQ(files().requests().size(), 1U);
    EXPECT_TRUE(ini.load({}, '\n'));
    EXPECT_EQ(lastPath(), kPath);
}

TEST_F(VqIniFileLoadPath, ConstructionFromAMissingFileGivesAnEmptyModelThatKnowsIt) {
    VqIniFile ini(kPath, true, false);
    EXPECT_EQ(files().requests().size(), 1U);
    EXPECT_EQ(ini.getNumSections(), 0U);
    files().put(kPath, "k=1");
    EXPECT_TRUE(ini.load({}, '\n'));
    EXPECT_EQ(ini.getNumSections(), 1U);
}

// --- The file

TEST_F(VqIniFileLoadFile, IsOpenedOnceForReading) {
    loaded("k=1");
    ASSERT_EQ(files().requests().size(), 1U);
    const OpenRequest& request = files().requests()[0];
    EXPECT_EQ(request.access, 1);
    EXPECT_EQ(request.disposition, 0);
    EXPECT_EQ(request.sharing, 1);
    EXPECT_EQ(request.options, 0);
}

TEST_F(VqIniFileLoadFile, ThatCannotBeOpenedGivesFalse) {
    files().put(kPath, "k=1");
    calls().fail(kOpenFile);
    VqIniFile ini(true);
    const Counts made = countsOf([&] { EXPECT_FALSE(ini.load(kPath, '\n')); });
    EXPECT_EQ(made[kOpenFile], 1);
    EXPECT_EQ(made[kSize], 0);
    EXPECT_EQ(made[kRead], 0);
    EXPECT_EQ(ini.getNumSections(), 0U);
}

TEST_F(VqIniFileLoadFile, OfSizeZeroGivesFalseWithoutABufferOrARead) {
    files().put(kPath, "");
    VqIniFile ini(true);
    const Wide path(kPath);
    const Counts made = countsOf([&] { EXPECT_FALSE(ini.load(path, '\n')); });
    EXPECT_EQ(made[kSize], 1);
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_EQ(made[kRead], 0);
    EXPECT_EQ(made[kCloseFile], 1);
    EXPECT_EQ(ini.getNumSections(), 0U);
}

TEST_F(VqIniFileLoadFile, IsReadWholeInOneCallIntoABufferOfItsSize) {
    const std::string content = "k=" + std::string(7917, 'v');
    files().put(kPath, content);
    VqIniFile ini(true);
    const RecordedCalls record = callsOf([&] { EXPECT_TRUE(ini.load(kPath, '\n')); });

    RecordedCalls aboutTheFile;
    const void* buffer = nullptr;
    for (const RecordedCall& call : record) {
        if (call.call == kRead) buffer = call.address;
    }
    for (const RecordedCall& call : record) {
        const bool isBuffer = (call.call == kAllocate && call.value == content.size()) ||
                              (call.call == kDeallocate && call.address == buffer);
        const bool isFile = call.call == kOpenFile || call.call == kSize || call.call == kRead ||
                            call.call == kCloseFile || call.call == kWrite || call.call == kCommit;
        if (isBuffer || isFile) aboutTheFile.push_back(call);
    }
    std::vector<Call> order;
    for (const RecordedCall& call : aboutTheFile) order.push_back(call.call);
    ASSERT_EQ(order, (std::vector{kOpenFile, kSize, kAllocate, kRead, kDeallocate, kCloseFile}));
    EXPECT_EQ(aboutTheFile[3].value, content.size()) << "bytes to read";
}

TEST_F(VqIniFileLoadFile, OfOneByteIsRead) {
    EXPECT_EQ(sectionsOf(loaded("k")), (Sections{{kAnonymousName, {"k"}}}));
}

TEST_F(VqIniFileLoadFile, ThatCannotBeReadGivesFalseAndAddsNothing) {
    VqIniFile ini = loaded("[a]\nk=1");
    files().put(L"/other.ini", "[a]\nj=2");
    calls().fail(kRead);
    const Counts made = countsOf([&] { EXPECT_FALSE(ini.load(L"/other.ini", '\n')); });
    EXPECT_EQ(made[kRead], 1);
    EXPECT_EQ(made[kCloseFile], 1);
    EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"k=1"}}}));
}

TEST_F(VqIniFileLoadFile, ThatShrinksMeanwhileGivesFalse) {
    files().put(kPath, "[a]\nk=1");
    files().reportSize(kPath, 9);
    VqIniFile ini(true);
    EXPECT_FALSE(ini.load(kPath, '\n'));
    EXPECT_EQ(ini.getNumSections(), 0U);
}

TEST_F(VqIniFileLoadFile, IsParsedUpToTheSizeItTells) {
    files().put(kPath, "[a]\nk=1\nj=2");
    files().reportSize(kPath, 7);
    VqIniFile ini(true);
    EXPECT_TRUE(ini.load(kPath, '\n'));
    EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"k=1"}}}));
}

TEST_F(VqIniFileLoadFile, AboveFourGibibytesGivesFalseWithoutABuffer) {
    constexpr unsigned long kFourGibibytes = 1UL << 32;
    files().put(kPath, "k=1");
    VqIniFile ini(true);
    const Wide path(kPath);
    for (const unsigned long size : {kFourGibibytes, kFourGibibytes + 1, kFourGibibytes + 3,
                                     std::numeric_limits<unsigned long>::max()}) {
        files().reportSize(kPath, size);
        const Counts made = countsOf([&] { EXPECT_FALSE(ini.load(path, '\n')); });
        EXPECT_EQ(made[kAllocate], 0);
        EXPECT_EQ(made[kRead], 0);
        EXPECT_EQ(made[kCloseFile], 1);
    }
    EXPECT_EQ(ini.getNumSections(), 0U);
}

TEST_F(VqIniFileLoadFile, OfTheLargestSizeAsksForABufferOfIt) {
    constexpr unsigned long kLargest = std::numeric_limits<unsigned>::max();
    files().put(kPath, "k=1");
    files().reportSize(kPath, kLargest);
    auto refuseNextBlock = [] { platform().calls().fail(kAllocate); };
    calls().intercept(kSize, refuseNextBlock);
    VqIniFile ini(true);
    EXPECT_THROW(ini.load(kPath, '\n'), std::bad_alloc);
    EXPECT_EQ(platform().memory()->requestedBytes(), kLargest);
}

// --- The content

TEST_F(VqIniFileLoadContent, FollowsTheExampleOfAWholeFile) {
    const VqIniFile ini = loaded("; settings\r\n"
                                 "\r\n"
                                 "  [Video]  \r\n"
                                 "Width = 1920\r\n"
                                 "\t Height=1080 \t\r\n"
                                 "Codec=a=b\r\n"
                                 "\r\n"
                                 "[Audio]\r\n"
                                 "[Empty]\r\n"
                                 "[Video]\r\n"
                                 "Width=1280\r\n");
    EXPECT_EQ(sectionsOf(ini),
              (Sections{{kAnonymousName, {"; settings"}},
                        {"Video", {"Width = 1920", "Height=1080", "Codec=a=b", "Width=1280"}}}));
    EXPECT_EQ(ini["Video"][0].name(), "Width "sv);
    EXPECT_EQ(ini["Video"][0].value(), " 1920"sv);
    EXPECT_EQ(ini["Video"][2].value(), "a=b"sv);
}

TEST_F(VqIniFileLoadContent, IsTheSameWithEitherLineEnd) {
    const Sections expected = {{"a", {"k=1", "j=2"}}, {"b", {"l=3"}}};
    EXPECT_EQ(sectionsOf(loaded("[a]\nk=1\nj=2\n\n[b]\nl=3\n")), expected);
    EXPECT_EQ(sectionsOf(loaded("[a]\r\nk=1\r\nj=2\r\n\r\n[b]\r\nl=3\r\n")), expected);
    EXPECT_EQ(sectionsOf(loaded("[a]\r\nk=1\nj=2\r\r\n\r\n\n[b]\n\rl=3")), expected) << "mixed";
}

TEST_F(VqIniFileLoadContent, IsCutAtTheSeparatorAskedFor) {
    const Sections expected = {{"a", {"k=1", "j=2"}}};
    EXPECT_EQ(sectionsOf(loaded("[a]\rk=1\rj=2\r", true, '\r')), expected);
    EXPECT_EQ(sectionsOf(loaded("[a]\0k=1\0\0j=2"sv, true, '\0')), expected);
    EXPECT_EQ(sectionsOf(loaded("[a]\rk=1\rj=2\r", true, '\n')),
              (Sections{{kAnonymousName, {"[a]\rk=1\rj=2"}}}))
        << "carriage returns within a line are text";
}

TEST_F(VqIniFileLoadContent, KeepsAPrintableSeparatorOnItsLine) {
    EXPECT_EQ(sectionsOf(loaded("[a];k=1;j=2", true, ';')),
              (Sections{{kAnonymousName, {"[a];", "k=1;", "j=2"}}}));
    EXPECT_EQ(sectionsOf(loaded("[a]k=1]j=2", true, ']')), (Sections{{"a", {"k=1]", "j=2"}}}))
        << "the bracket that ends the line ends the header";
}

TEST_F(VqIniFileLoadContent, LosesUnprintableLineEndsOnlyInTheCLocale) {
    EXPECT_EQ(sectionsOf(loaded("k=caf\xC3\xA9\n"
                                "j=\xC3\xA9t\xC3\xA9\r\n"
                                "l=na\xC3\xAFve\n")),
              (Sections{{kAnonymousName,
                         {"k=caf",
                          "j=\xC3\xA9"
                          "t",
                          "l=na\xC3\xAFve"}}}));
}

TEST_F(VqIniFileLoadContent, StartsInTheAnonymousSectionBehindAByteOrderMark) {
    EXPECT_EQ(sectionsOf(loaded("\xEF\xBB\xBF[a]\nk=1\n[b]\nj=2\n")),
              (Sections{{kAnonymousName, {"\xEF\xBB\xBF[a]", "k=1"}}, {"b", {"j=2"}}}));
    const VqIniFile ini = loaded("\xEF\xBB\xBFk=1");
    EXPECT_EQ(ini[VqIniFile::kAnonymousSection()][0].name(), "\xEF\xBB\xBFk"sv);
}

TEST_F(VqIniFileLoadContent, MayHoldNonAsciiTextEverywhere) {
    const VqIniFile ini = loaded("; \xE6\x97\xA5.\n"
                                 "[\xC3\x84rger]\n"
                                 "Gr\xC3\xB6\xC3\x9F"
                                 "e=\xE2\x82\xAC 5\n");
    const auto& section = ini["\xC3\x84rger"];
    ASSERT_EQ(section.size(), 1U);
    EXPECT_EQ(section[0].name(), "Gr\xC3\xB6\xC3\x9F"
                                 "e"sv);
    EXPECT_EQ(section[0].value(), "\xE2\x82\xAC 5"sv);
    EXPECT_EQ(ini[VqIniFile::kAnonymousSection()][0].text(), "; \xE6\x97\xA5."sv);
}

TEST_F(VqIniFileLoadContent, MayHoldZeroBytes) {
    const VqIniFile ini = loaded("k\0=1\nj=\0x\n[a\0b]\nl=2\0\n\0m=3\n"sv);
    const auto& anonymous = ini[VqIniFile::kAnonymousSection()];
    ASSERT_EQ(anonymous.size(), 2U);
    EXPECT_EQ(anonymous[0].text(), "k\0=1"sv);
    EXPECT_TRUE(anonymous[0].name().empty()) << "the search for '=' ends at the zero byte";
    EXPECT_EQ(anonymous[1].value(), "\0x"sv);
    const auto& section = ini["a"];
    ASSERT_EQ(section.size(), 2U) << "names count up to their first zero byte";
    EXPECT_EQ(section[0].text(), "l=2"sv) << "a zero byte is not printable";
    EXPECT_EQ(section[1].text(), "m=3"sv);
}

TEST_F(VqIniFileLoadContent, IsTrueForAFileThatHoldsNoPair) {
    EXPECT_EQ(loaded("\n").getNumSections(), 0U);
    EXPECT_EQ(loaded("[a]\n[b]\n\n   \n").getNumSections(), 0U);
    EXPECT_EQ(loaded("\0\0\0"sv).getNumSections(), 0U);
}

TEST_F(VqIniFileLoadContent, MayHaveLinesOfTenMegabytes) {
    const std::string name(5000000, 'n'), value(5000000, 'v');
    const std::string line = name + '=' + value;
    const std::string header(10000000, 'h');
    const VqIniFile ini = loaded(line + "\r\n[" + header + "]\r\n" + line + "\r\n" + line);
    ASSERT_EQ(ini.getNumSections(), 2U);
    const auto& section = ini[Narrow(header)];
    ASSERT_EQ(section.size(), 2U);
    EXPECT_TRUE(section[1].name() == name);
    EXPECT_TRUE(section[1].value() == value);
    EXPECT_TRUE(ini[VqIniFile::kAnonymousSection()][0].text() == line);
}

TEST_F(VqIniFileLoadContent, MayHaveManyLinesAndSections) {
    std::string content;
    for (int i = 0; i < 20000; ++i) {
        content += "[s" + std::to_string(i % 500) + "]\nk" + std::to_string(i) + "=1\n";
    }
    const VqIniFile ini = loaded(content);
    EXPECT_EQ(ini.getNumSections(), 500U);
    const auto& section = ini["s499"];
    ASSERT_EQ(section.size(), 40U);
    EXPECT_EQ(section[39].name(), "k19999"sv);
}

// --- Again

TEST_F(VqIniFileLoadAgain, AddsTheSameOnceMore) {
    VqIniFile ini = loaded("k=1\n[a]\nj=2\nl=3");
    EXPECT_TRUE(ini.load({}, '\n'));
    EXPECT_EQ(sectionsOf(ini),
              (Sections{{kAnonymousName, {"k=1", "k=1"}}, {"a", {"j=2", "l=3", "j=2", "l=3"}}}));
}

TEST_F(VqIniFileLoadAgain, AddsToTheSectionsThatAreThere) {
    VqIniFile ini = loaded("[b]\nk=1\n[d]\nk=2");
    ini["c"].push_back(AttribValuePair("made", "here", '='));
    files().put(L"/more.ini", "[e]\nk=3\n[d]\nk=4\n[a]\nk=5\n[c]\nk=6\n");
    EXPECT_TRUE(ini.load(L"/more.ini", '\n'));
    EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"k=5"}},
                                         {"b", {"k=1"}},
                                         {"c", {"made=here", "k=6"}},
                                         {"d", {"k=2", "k=4"}},
                                         {"e", {"k=3"}}}));
}

TEST_F(VqIniFileLoadAgain, StartsInTheAnonymousSection) {
    VqIniFile ini = loaded("[a]\nk=1");
    files().put(L"/more.ini", "j=2");
    EXPECT_TRUE(ini.load(L"/more.ini", '\n'));
    EXPECT_EQ(sectionsOf(ini), (Sections{{kAnonymousName, {"j=2"}}, {"a", {"k=1"}}}));
}

TEST_F(VqIniFileLoadAgain, KeepsTheFirstSpellingOfASection) {
    VqIniFile ini = loaded("[Foo]\nk=1", false);
    files().put(L"/more.ini", "[FOO]\nk=2\n[Bar]\nk=3\n[BAR]\nk=4");
    EXPECT_TRUE(ini.load(L"/more.ini", '\n'));
    EXPECT_EQ(sectionsOf(ini), (Sections{{"Bar", {"k=3", "k=4"}}, {"Foo", {"k=1", "k=2"}}}));
}

TEST_F(VqIniFileLoadAgain, LeavesReferencesIntoTheModelValid) {
    VqIniFile ini = loaded("[b]\nk=1\n[d]\nk=2");
    auto& b = ini["b"];
    auto& d = ini["d"];
    const AttribValuePair* const pairOfB = b.data();
    files().put(L"/more.ini", "[a]\nk=3\n[c]\nk=4\n[d]\nk=5\n[e]\nk=6\n");
    EXPECT_TRUE(ini.load(L"/more.ini", '\n'));
    EXPECT_EQ(&ini["b"], &b);
    EXPECT_EQ(&ini["d"], &d);
    EXPECT_EQ(b.data(), pairOfB) << "nothing was added to this one";
    EXPECT_EQ(d.size(), 2U);
    EXPECT_EQ(d[1].text(), "k=5"sv);
}

// --- Without memory

TEST_F(VqIniFileLoadWithoutMemory, LeavesTheModelAndItsPathAsTheyWere) {
    VqIniFile ini = loaded("[a]\nk=1\n[c]\nk=2");
    const auto* const sectionA = &ini["a"];
    const Sections before = sectionsOf(ini);
    const Wide morePath(L"/more.ini");
    files().put(morePath, "k=3\n[a]\nk=4\nk=5\n[b]\nk=6\n[c]\nk=7\n[d]\nk=8\n");
    const int failures = forEachFailingAllocation([&] { EXPECT_TRUE(ini.load(morePath, '\n')); },
                                                  [&] {
                                                      EXPECT_EQ(sectionsOf(ini), before);
                                                      EXPECT_EQ(&ini["a"], sectionA);
                                                      EXPECT_EQ(files().openFiles(), 0);
                                                      calls().fail(kOpenFile);
                                                      EXPECT_FALSE(ini.load({}, '\n'));
                                                      EXPECT_EQ(lastPath(), kPath);
                                                  });
    EXPECT_GT(failures, 20);
    EXPECT_EQ(sectionsOf(ini), (Sections{{kAnonymousName, {"k=3"}},
                                         {"a", {"k=1", "k=4", "k=5"}},
                                         {"b", {"k=6"}},
                                         {"c", {"k=2", "k=7"}},
                                         {"d", {"k=8"}}}));
}

TEST_F(VqIniFileLoadWithoutMemory, ConstructionLeavesNothingBehind) {
    const Wide path(kPath);
    files().put(kPath, "k=1\n[a]\nj=2");
    const int failures = forEachFailingAllocation([&] { VqIniFile(path, true, true); },
                                                  [&] { EXPECT_EQ(files().openFiles(), 0); });
    EXPECT_GT(failures, 5);
    EXPECT_EQ(path.useCount(), 1U);
}

} // namespace
