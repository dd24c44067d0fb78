#include "Vq/VqIniFile.h"

#include "VqTest/FailingAllocations.h"
#include "support/ChildProcess.h"
#include "support/IniTest.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;
using Writes = std::vector<std::string>;

using VqIniFileSavePath = IniTest;
using VqIniFileSave = IniTest;
using VqIniFileSaveWalk = IniTest;
using VqIniFileSaveAll = IniTest;
using VqIniFileSaveRoundTrip = IniTest;
using VqIniFileSaveWithoutMemory = IniTest;

constexpr wchar_t kTarget[] = L"/saved.ini";

/// The bytes of each write to `kTarget`.
Writes writesToTarget() {
    Writes writes;
    for (const MallocString& bytes : platform().fileSystem()->writes(kTarget)) {
        writes.emplace_back(std::string_view(bytes));
    }
    return writes;
}

Writes savedBy(VqIniFile& ini) {
    EXPECT_TRUE(ini.save(kTarget));
    return writesToTarget();
}

Writes allSavedBy(VqIniFile& ini) {
    EXPECT_TRUE(ini.saveAll(kTarget));
    return writesToTarget();
}

/// The latest call of `openFile`.
OpenRequest lastRequest() {
    const auto& requests = platform().fileSystem()->requests();
    return requests.empty() ? OpenRequest() : requests.back();
}

/// What both ways of saving have in common is tested on both.
using Save = bool (VqIniFile::*)(Wide);
constexpr Save kSaves[] = {&VqIniFile::save, &VqIniFile::saveAll};

/// A model with every kind of section and pair except the anonymous section.
VqIniFile variedModel() {
    VqIniFile ini(false);
    ini["Video"].push_back(split("Width = 1920 pixels, more or less"));
    ini["Video"].push_back(AttribValuePair("Height", "1080", ':'));
    ini["Video"].push_back(AttribValuePair::fromParts("Rate", "25"));
    ini["Video"].push_back(AttribValuePair::fromText("unsplit"));
    ini["Video"].push_back(split("; comment"));
    ini["audio"];
    ini[" a "].push_back(split("=v"));
    ini[""].push_back(split("k="));
    ini["\xC3\x84rger"].push_back(split("\xE2\x82\xAC=\xF0\x9F\x98\x80"));
    return ini;
}

// --- The path

TEST_F(VqIniFileSavePath, IsTheOneGivenAndBecomesTheModelsOwn) {
    for (const Save save : kSaves) {
        VqIniFile ini(L"/a.ini", false, true);
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(lastRequest().path, kTarget);
        EXPECT_TRUE((ini.*save)({}));
        EXPECT_EQ(lastRequest().path, kTarget);
        EXPECT_FALSE(ini.load(L"/b.ini", '\n'));
        EXPECT_TRUE((ini.*save)({}));
        EXPECT_EQ(lastRequest().path, L"/b.ini") << "the path of a load, too, and one that failed";
        files().remove(L"/b.ini");
    }
}

TEST_F(VqIniFileSavePath, IsTheModelsOwnWhenNoneIsGiven) {
    for (const Save save : kSaves) {
        VqIniFile ini(L"/a.ini", false, true);
        EXPECT_TRUE((ini.*save)({}));
        EXPECT_EQ(lastRequest().path, L"/a.ini");
    }
}

TEST_F(VqIniFileSavePath, IsKeptWhenTheFileCannotBeOpened) {
    for (const Save save : kSaves) {
        VqIniFile ini(L"/a.ini", false, true);
        calls().fail(kOpenFile);
        EXPECT_FALSE((ini.*save)(kTarget));
        EXPECT_TRUE((ini.*save)({}));
        EXPECT_EQ(lastRequest().path, kTarget);
    }
}

TEST_F(VqIniFileSavePath, IsKeptWhenSavingAllFailsLater) {
    for (const Call failing : {kWrite, kCommit}) {
        VqIniFile ini(L"/a.ini", false, true);
        ini["a"];
        calls().fail(failing);
        EXPECT_FALSE(ini.saveAll(kTarget));
        EXPECT_TRUE(ini.saveAll({}));
        EXPECT_EQ(lastRequest().path, kTarget);
    }
}

TEST_F(VqIniFileSavePath, IsForThePlatformToJudgeEvenWhenEmpty) {
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        calls().fail(kOpenFile);
        const Counts made = countsOf([&] { EXPECT_FALSE((ini.*save)({})); });
        EXPECT_EQ(made[kOpenFile], 1);
        EXPECT_EQ(lastRequest().path, L"");
    }
}

TEST_F(VqIniFileSavePath, IsHandedToThePlatformAsItIs) {
    const Wide path(L"/\u00C4rger/\u65E5 \U0001F600.ini");
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        const Counts made = countsOf([&] { EXPECT_TRUE((ini.*save)(path)); });
        EXPECT_EQ(std::wstring_view(lastRequest().path), std::wstring_view(path));
        EXPECT_EQ(made[kToUTF8], 0);
    }
}

// --- Both ways of saving

TEST_F(VqIniFileSave, OpensTheFileOnceForReplacing) {
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        const Counts made = countsOf([&] { EXPECT_TRUE((ini.*save)(kTarget)); });
        EXPECT_EQ(made[kOpenFile], 1);
        const OpenRequest request = lastRequest();
        EXPECT_EQ(request.access, 2);
        EXPECT_EQ(request.disposition, 3);
        EXPECT_EQ(request.sharing, 0);
        EXPECT_EQ(request.options, 0);
    }
}

TEST_F(VqIniFileSave, OfAnUnopenedFileIsFalseAndChangesNothing) {
    for (const Save save : kSaves) {
        VqIniFile ini = variedModel();
        const Sections before = sectionsOf(ini);
        calls().fail(kOpenFile);
        const Counts made = countsOf([&] { EXPECT_FALSE((ini.*save)(kTarget)); });
        EXPECT_EQ(made[kOpenFile], 1);
        EXPECT_EQ(made[kWrite], 0);
        EXPECT_EQ(made[kCommit], 0);
        EXPECT_EQ(sectionsOf(ini), before);
    }
}

TEST_F(VqIniFileSave, WritesHeadersPairsAndBlankLinesInOneCallEach) {
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        ini["y"];
        ini["x"].push_back(AttribValuePair("k", "v", '='));
        ini["x"].push_back(AttribValuePair("j", "w", '='));
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(writesToTarget(), (Writes{"[x]\r\n", "k=v\r\n", "j=w\r\n", "\r\n", "[y]\r\n"}));
        EXPECT_EQ(files().content(kTarget), "[x]\r\nk=v\r\nj=w\r\n\r\n[y]\r\n");
    }
}

TEST_F(VqIniFileSave, OfAnEmptyModelMakesAnEmptyFile) {
    for (const Save save : kSaves) {
        files().put(kTarget, "old");
        VqIniFile ini(true);
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(writesToTarget(), Writes());
        EXPECT_TRUE(files().exists(kTarget));
        EXPECT_EQ(files().content(kTarget), "");
    }
}

TEST_F(VqIniFileSave, ReplacesWhatTheFileHeld) {
    for (const Save save : kSaves) {
        files().put(kTarget, "much longer than what comes now, and quite different");
        VqIniFile ini(true);
        ini["a"];
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(files().content(kTarget), "[a]\r\n");
    }
}

TEST_F(VqIniFileSave, GoesThroughTheSectionsInTheOrderOfTheModel) {
    VqIniFile byCase = loaded("[b]\nk=1\n[_]\nk=2\n[B]\nk=3\n[\xC3\xA4]\nk=4\n[1]\nk=5\n", true);
    EXPECT_EQ(savedBy(byCase), (Writes{"[1]\r\n", "k=5\r\n", "\r\n", "[B]\r\n", "k=3\r\n", "\r\n",
                                       "[_]\r\n", "k=2\r\n", "\r\n", "[b]\r\n", "k=1\r\n", "\r\n",
                                       "[\xC3\xA4]\r\n", "k=4\r\n"}));
    VqIniFile folded = loaded("[b]\nk=1\n[_]\nk=2\n[B]\nk=3\n[1]\nk=5\n", false);
    EXPECT_EQ(savedBy(folded), (Writes{"[1]\r\n", "k=5\r\n", "\r\n", "[_]\r\n", "k=2\r\n", "\r\n",
                                       "[b]\r\n", "k=1\r\n", "k=3\r\n"}))
        << "under the first spelling";
}

TEST_F(VqIniFileSave, PrintsEachPairByItsForm) {
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        auto& section = ini["a"];
        section.push_back(split("spaced = text"));
        section.push_back(AttribValuePair("k:v", ':'));
        section.push_back(AttribValuePair("name", "value", ':'));
        section.push_back(AttribValuePair("k", "v", '\0'));
        section.push_back(AttribValuePair::fromText("unsplit"));
        section.push_back(AttribValuePair::fromParts("parts", "only"));
        section.push_back(AttribValuePair::fromParts("", ""));
        section.push_back(split("; comment"));
        section.push_back(AttribValuePair());
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(writesToTarget(),
                  (Writes{"[a]\r\n", "spaced = text\r\n", "k:v\r\n", "name:value\r\n", "kv\r\n",
                          "unsplit\r\n", "parts=only\r\n", "=\r\n", "; comment\r\n", "\r\n"}));
    }
}

TEST_F(VqIniFileSave, WritesNoTerminatorButTheZeroBytesOfTheTexts) {
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        auto& section = ini[Narrow("a\0b"sv)];
        section.push_back(split("k=\0v\0"sv));
        section.push_back(AttribValuePair::fromParts(Narrow("\0n"sv), Narrow("v\0"sv)));
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(files().content(kTarget), "[a\0b]\r\nk=\0v\0\r\n\0n=v\0\r\n"sv);
    }
}

TEST_F(VqIniFileSave, PutsABlankLineBehindSectionsWithANameOnly) {
    for (const Save save : kSaves) {
        VqIniFile ini(true);
        ini[""].push_back(split("k=1"));
        ini["   "].push_back(split("k=2"));
        ini["!"].push_back(split("k=3"));
        ini["\t"].push_back(split("k=0"));
        ini["a"];
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(writesToTarget(),
                  (Writes{"[]\r\n", "k=1\r\n", "[\t]\r\n", "k=0\r\n", "\r\n", "[   ]\r\n",
                          "k=2\r\n", "[!]\r\n", "k=3\r\n", "\r\n", "[a]\r\n"}))
            << "a tab is text";
    }
}

TEST_F(VqIniFileSave, LeavesTheModelAsItIs) {
    for (const Save save : kSaves) {
        VqIniFile ini = variedModel();
        const Sections before = sectionsOf(ini);
        EXPECT_TRUE((ini.*save)(kTarget));
        EXPECT_EQ(sectionsOf(ini), before);
        EXPECT_EQ(ini["Video"][3].form(), AttribValuePair::kTextOnly);
    }
}

TEST_F(VqIniFileSave, ClosesTheFileBehindTheLastWriteWithoutACommit) {
    VqIniFile ini(true);
    ini["a"].push_back(split("k=1"));
    std::vector<Call> order;
    for (const RecordedCall& call : callsOf([&] { EXPECT_TRUE(ini.save(kTarget)); })) {
        const bool memory = call.call == kAllocate || call.call == kDeallocate ||
                            call.call == kAtomicIncrement || call.call == kAtomicDecrement;
        if (!memory) order.push_back(call.call);
    }
    EXPECT_EQ(order, (std::vector{kOpenFile, kWrite, kWrite, kCloseFile}));
    EXPECT_EQ(files().writeState(kTarget), WriteState::kReleased);
}

TEST_F(VqIniFileSave, DoesNotLookAtTheResultsOfItsWrites) {
    VqIniFile ini = variedModel();
    const std::size_t writes = savedBy(ini).size();
    for (std::size_t nth = 1; nth <= writes; ++nth) {
        calls().fail(kWrite, static_cast<long>(nth));
        EXPECT_EQ(savedBy(ini).size(), writes) << "write " << nth << " failed";
        EXPECT_TRUE(calls().hasFailed(kWrite));
    }
    calls().failFrom(kWrite);
    EXPECT_EQ(savedBy(ini).size(), writes) << "all of them failed";
}

TEST_F(VqIniFileSave, WritesLinesOfTenMegabytes) {
    for (const Save save : kSaves) {
        const std::string value(10000000, 'v');
        VqIniFile ini(true);
        ini[Narrow(value)].push_back(AttribValuePair("k", Narrow(value), '='));
        ini[Narrow(value)].push_back(AttribValuePair::fromParts("k", Narrow(value)));
        EXPECT_TRUE((ini.*save)(kTarget));
        const Writes writes = writesToTarget();
        ASSERT_EQ(writes.size(), 3U);
        EXPECT_TRUE(writes[0] == '[' + value + "]\r\n");
        EXPECT_TRUE(writes[1] == "k=" + value + "\r\n");
        EXPECT_TRUE(writes[2] == writes[1]);
    }
}

// --- The walk that does not end

/// What a child wrote to its file, one entry per call: 'w' with the bytes of a write, 'c' a commit,
/// 'x' the closing.
class CallLog {
public:
    void add(char what, std::string_view bytes) {
        std::size_t at = used_;
        bytes_[at++] = what;
        const std::size_t length = bytes.size();
        std::memcpy(&bytes_[at], &length, sizeof length);
        at += sizeof length;
        bytes.copy(&bytes_[at], length);
        used_ = at + length;
        ++entries_;
    }

    std::size_t entries() const { return entries_; }

    std::vector<std::string> read() const {
        std::vector<std::string> result;
        for (std::size_t at = 0; at < used_;) {
            std::size_t length = 0;
            std::memcpy(&length, &bytes_[at + 1], sizeof length);
            result.push_back(bytes_[at] + std::string(&bytes_[at + 1 + sizeof length], length));
            at += 1 + sizeof length + length;
        }
        return result;
    }

private:
    std::atomic<std::size_t> entries_{0};
    std::atomic<std::size_t> used_{0};
    char bytes_[60000] = {};
};

/// Saves in a child that reports each call for the file to `log` as it is made.
int saveReportingTo(CallLog& log, VqIniFile& ini) {
    CallScript& script = platform().calls();
    auto report = [&] {
        for (const RecordedCall& call : script.stopRecording()) {
            if (call.call == kWrite) {
                log.add('w', {static_cast<const char*>(call.address), call.value});
            } else if (call.call == kCommit || call.call == kCloseFile) {
                log.add(call.call == kCommit ? 'c' : 'x', "");
            }
        }
        script.startRecording();
    };
    script.intercept(kWrite, report);
    script.intercept(kCommit, report);
    script.intercept(kCloseFile, report);
    script.startRecording();
    return ini.save(kTarget) ? 0 : 1;
}

/// The bytes of each write of a save, which is seen not to return behind the last of them.
Writes writesOfEndlessSave(VqIniFile& ini, std::size_t expectedWrites) {
    using namespace std::chrono_literals;
    const Shared<CallLog> log;
    ChildProcess child([&] { return saveReportingTo(*log, ini); });
    int patience = 60000;
    while (log->entries() < expectedWrites && !child.endsWithin(1ms) && patience > 0) --patience;
    EXPECT_FALSE(child.endsWithin(500ms)) << "save returned";
    Writes writes;
    for (const std::string& entry : log->read()) {
        EXPECT_EQ(entry[0], 'w') << "neither committed nor closed";
        writes.push_back(entry.substr(1));
    }
    return writes;
}

void expectEndlessSave(VqIniFile ini, const Writes& expected) {
    EXPECT_EQ(writesOfEndlessSave(ini, expected.size()), expected);
}

TEST_F(VqIniFileSaveWalk, StaysForeverAtTheAnonymousSectionBehindThoseSortedBefore) {
    expectEndlessSave(loaded("; comment\nk=1\n"
                             "[z]\nl=5\n[1st]\nl=2\n[A]\nl=4\n[ a ]\nl=1\n[?]\n l = 3 \n"),
                      {"; comment\r\n", "k=1\r\n", "\r\n", "[ a ]\r\n", "l=1\r\n", "\r\n",
                       "[1st]\r\n", "l=2\r\n", "\r\n", "[?]\r\n", "l = 3\r\n"});
}

TEST_F(VqIniFileSaveWalk, StaysForeverBeforeAllSectionsThatBeginWithLetters) {
    expectEndlessSave(loaded("k=1\nj=2\n[Audio]\nl=3\n[video]\nl=4"), {"k=1\r\n", "j=2\r\n"});
}

TEST_F(VqIniFileSaveWalk, StaysForeverWhenThereIsNothingButTheAnonymousSection) {
    expectEndlessSave(loaded("k=1"), {"k=1\r\n"});
}

TEST_F(VqIniFileSaveWalk, StaysForeverAtAnAnonymousSectionWithoutPairs) {
    VqIniFile ini(true);
    ini[VqIniFile::kAnonymousSection()];
    expectEndlessSave(ini, {});
    ini["1"].push_back(split("k=1"));
    expectEndlessSave(ini, {"\r\n", "[1]\r\n", "k=1\r\n"});
}

TEST_F(VqIniFileSaveWalk, StaysForeverAtTheAnonymousSectionOfAnotherCase) {
    constexpr std::string_view kContent =
        "[@@@anonymous_section_reserved_name@@@]\nk=1\n[1]\nj=2\n[a]\nl=3\n";
    expectEndlessSave(loaded(kContent, false), {"k=1\r\n", "\r\n", "[1]\r\n", "j=2\r\n"});
    VqIniFile byCase = loaded(kContent, true);
    EXPECT_EQ(savedBy(byCase),
              (Writes{"[1]\r\n", "j=2\r\n", "\r\n", "[@@@anonymous_section_reserved_name@@@]\r\n",
                      "k=1\r\n", "\r\n", "[a]\r\n", "l=3\r\n"}))
        << "where case matters it is a section like any other";
}

TEST_F(VqIniFileSaveWalk, StaysForeverAlsoWhenEveryWriteFails) {
    VqIniFile ini = loaded("k=1\n[1]\nj=2");
    calls().failFrom(kWrite);
    expectEndlessSave(ini, {"k=1\r\n", "\r\n", "[1]\r\n", "j=2\r\n"});
}

TEST_F(VqIniFileSaveWalk, IsNotEnteredWhenTheFileCannotBeOpened) {
    VqIniFile ini = loaded("k=1");
    calls().fail(kOpenFile);
    EXPECT_FALSE(ini.save(kTarget));
}

// --- Saving all of it

TEST_F(VqIniFileSaveAll, WritesWhatSaveWritesWhereThereIsNoAnonymousSection) {
    VqIniFile varied = variedModel();
    EXPECT_EQ(allSavedBy(varied), savedBy(varied));
    VqIniFile loadedModel = loaded("[b]\nk=1\n[]\nj=2\n[a]\n; c\n", true);
    EXPECT_EQ(allSavedBy(loadedModel), savedBy(loadedModel));
}

TEST_F(VqIniFileSaveAll, StepsPastTheAnonymousSectionToTheEnd) {
    VqIniFile ini = loaded("; comment\nk=1\n[z]\nl=5\n[1st]\nl=2\n[A]\nl=4\n[ a ]\nl=1\n");
    EXPECT_EQ(allSavedBy(ini), (Writes{"; comment\r\n", "k=1\r\n", "\r\n", "[ a ]\r\n", "l=1\r\n",
                                       "\r\n", "[1st]\r\n", "l=2\r\n", "\r\n", "[A]\r\n", "l=4\r\n",
                                       "\r\n", "[z]\r\n", "l=5\r\n"}));
}

TEST_F(VqIniFileSaveAll, WritesTheAnonymousSectionAlone) {
    VqIniFile ini = loaded("k=1\nj=2");
    EXPECT_EQ(allSavedBy(ini), (Writes{"k=1\r\n", "j=2\r\n"}));
}

TEST_F(VqIniFileSaveAll, TakesAnAnonymousSectionWithoutPairsForWritten) {
    VqIniFile ini(true);
    ini[VqIniFile::kAnonymousSection()];
    EXPECT_EQ(allSavedBy(ini), Writes());
    ini["a"];
    EXPECT_EQ(allSavedBy(ini), (Writes{"\r\n", "[a]\r\n"}));
}

TEST_F(VqIniFileSaveAll, PutsABlankLineByTheNameBeforeTheAnonymousEntry) {
    VqIniFile ini = loaded("k=1\n[]\nj=2\n[a]\nl=3");
    EXPECT_EQ(allSavedBy(ini),
              (Writes{"k=1\r\n", "\r\n", "[]\r\n", "j=2\r\n", "[a]\r\n", "l=3\r\n"}));
}

TEST_F(VqIniFileSaveAll, WritesTheAnonymousSectionOfAnotherCaseWithoutAHeader) {
    constexpr std::string_view kContent =
        "[@@@anonymous_section_reserved_name@@@]\nk=1\n[1]\nj=2\n[a]\nl=3\n";
    VqIniFile folded = loaded(kContent, false);
    EXPECT_EQ(allSavedBy(folded),
              (Writes{"k=1\r\n", "\r\n", "[1]\r\n", "j=2\r\n", "\r\n", "[a]\r\n", "l=3\r\n"}));
    VqIniFile byCase = loaded(kContent, true);
    EXPECT_EQ(allSavedBy(byCase), savedBy(byCase));
}

TEST_F(VqIniFileSaveAll, CommitsOnceBehindTheLastWrite) {
    VqIniFile ini = loaded("k=1\n[a]\nj=2");
    std::vector<Call> order;
    for (const RecordedCall& call : callsOf([&] { EXPECT_TRUE(ini.saveAll(kTarget)); })) {
        const bool memory = call.call == kAllocate || call.call == kDeallocate ||
                            call.call == kAtomicIncrement || call.call == kAtomicDecrement;
        if (!memory) order.push_back(call.call);
    }
    EXPECT_EQ(order, (std::vector{kOpenFile, kWrite, kWrite, kWrite, kWrite, kCommit, kCloseFile}));
    EXPECT_EQ(files().writeState(kTarget), WriteState::kCommitted);
}

TEST_F(VqIniFileSaveAll, IsFalseForEachWriteThatFails) {
    VqIniFile ini = loaded("; c\nk=1\n[1]\nj=2\n[a]\nl=3\nm=4\n[b]\nn=5");
    const std::size_t writes = allSavedBy(ini).size();
    files().put(kTarget, "old");
    for (std::size_t nth = 1; nth <= writes; ++nth) {
        calls().fail(kWrite, static_cast<long>(nth));
        const Counts made = countsOf([&] { EXPECT_FALSE(ini.saveAll(kTarget)); });
        EXPECT_EQ(made[kCommit], 0) << "write " << nth << " failed";
        EXPECT_EQ(made[kCloseFile], 1);
        EXPECT_EQ(files().content(kTarget), "old");
    }
    calls().succeed(kWrite);
    EXPECT_TRUE(ini.saveAll(kTarget));
}

TEST_F(VqIniFileSaveAll, IsFalseWhenTheCommitFails) {
    VqIniFile ini = loaded("[a]\nk=1");
    files().put(kTarget, "old");
    calls().fail(kCommit);
    const Counts made = countsOf([&] { EXPECT_FALSE(ini.saveAll(kTarget)); });
    EXPECT_EQ(made[kCommit], 1);
    EXPECT_EQ(made[kCloseFile], 1);
    EXPECT_EQ(files().content(kTarget), "old");
    EXPECT_EQ(files().writeState(kTarget), WriteState::kAbandoned);
}

TEST_F(VqIniFileSaveAll, OfAnEmptyModelIsFalseWhenTheCommitFails) {
    VqIniFile ini(true);
    files().put(kTarget, "old");
    calls().fail(kCommit);
    EXPECT_FALSE(ini.saveAll(kTarget));
    EXPECT_EQ(files().content(kTarget), "old");
}

// --- Round trip

/// What a model holds after it was saved and loaded again.
Sections savedAndLoaded(VqIniFile ini) {
    EXPECT_TRUE(ini.saveAll(kTarget));
    VqIniFile again(kTarget, true, ini.getSectionNameCaseSensitivity());
    return sectionsOf(again);
}

TEST_F(VqIniFileSaveRoundTrip, KeepsLinesTheirOrderAndRepetitions) {
    const VqIniFile ini = loaded("k=1\nk=1\n[b]\nz=1\na = 2\nz=1\n; c\n=v\nk=\n[a]\nx=y=z\n");
    EXPECT_EQ(savedAndLoaded(ini), sectionsOf(ini));
    EXPECT_EQ(sectionsOf(ini).size(), 3U);
}

TEST_F(VqIniFileSaveRoundTrip, SortsSectionsAndWritesTheSameFileFromThenOn) {
    VqIniFile ini = loaded("\n\n  [b]  \n  k=1  \n\n\n[a]\nj=2\n[b]\nl=3\n\n");
    EXPECT_TRUE(ini.saveAll(kTarget));
    const std::string first(files().content(kTarget));
    EXPECT_EQ(first, "[a]\r\nj=2\r\n\r\n[b]\r\nk=1\r\nl=3\r\n");
    VqIniFile again(kTarget, true, true);
    EXPECT_TRUE(again.saveAll(kTarget));
    EXPECT_EQ(files().content(kTarget), first);
}

TEST_F(VqIniFileSaveRoundTrip, LosesSectionsWithoutPairs) {
    VqIniFile ini = loaded("[a]\nk=1");
    ini["b"];
    EXPECT_EQ(savedAndLoaded(ini), (Sections{{"a", {"k=1"}}}));
    EXPECT_EQ(files().content(kTarget), "[a]\r\nk=1\r\n\r\n[b]\r\n");
}

TEST_F(VqIniFileSaveRoundTrip, KeepsTheSpacesOfSectionNames) {
    const VqIniFile ini = loaded("[ a ]\nk=1\n[]\nj=2");
    EXPECT_EQ(savedAndLoaded(ini), (Sections{{"", {"j=2"}}, {" a ", {"k=1"}}}));
}

TEST_F(VqIniFileSaveRoundTrip, KeepsTheFirstSpellingOfSections) {
    EXPECT_EQ(savedAndLoaded(loaded("[Foo]\nk=1\n[FOO]\nk=2", false)),
              (Sections{{"Foo", {"k=1", "k=2"}}}));
}

TEST_F(VqIniFileSaveRoundTrip, SplitsATextWithALineBreakInTwo) {
    VqIniFile ini(true);
    ini["a"].push_back(split("k=1\n[b]\nj=2"));
    ini["a\nc"].push_back(split("l=3"));
    EXPECT_EQ(savedAndLoaded(ini), (Sections{{"a", {"k=1"}}, {"b", {"j=2", "[a", "c]", "l=3"}}}));
}

TEST_F(VqIniFileSaveRoundTrip, LosesUnprintableBytesThatSpacesHadHidden) {
    const VqIniFile ini = loaded("[a]\n \tk=1\t \n");
    EXPECT_EQ(sectionsOf(ini), (Sections{{"a", {"\tk=1\t"}}}));
    EXPECT_EQ(savedAndLoaded(ini), (Sections{{"a", {"k=1"}}}));
}

TEST_F(VqIniFileSaveRoundTrip, OfAllFormsGivesTheSameLine) {
    VqIniFile ini(true);
    ini["a"].push_back(AttribValuePair::fromParts("k", "v"));
    ini["a"].push_back(AttribValuePair("k", "v", '='));
    ini["a"].push_back(AttribValuePair::fromText("k=v"));
    EXPECT_EQ(savedAndLoaded(ini), (Sections{{"a", {"k=v", "k=v", "k=v"}}}));
}

// --- Without memory

TEST_F(VqIniFileSaveWithoutMemory, OpensNothingAndLeavesFileModelAndPathAsTheyWere) {
    for (const Save save : kSaves) {
        VqIniFile ini = variedModel();
        EXPECT_TRUE((ini.*save)(L"/own.ini"));
        const Sections before = sectionsOf(ini);
        const Wide target(kTarget);
        files().put(kTarget, "old");
        const std::size_t opened = files().requests().size();
        const int failures =
            forEachFailingAllocation([&] { EXPECT_TRUE((ini.*save)(target)); },
                                     [&] {
                                         EXPECT_EQ(files().requests().size(), opened);
                                         EXPECT_EQ(files().content(kTarget), "old");
                                         EXPECT_EQ(sectionsOf(ini), before);
                                     });
        EXPECT_GT(failures, 0);
        EXPECT_NE(files().content(kTarget), "old");
    }
}

TEST_F(VqIniFileSaveWithoutMemory, GoesOnWithTheOldPath) {
    for (const Save save : kSaves) {
        VqIniFile ini = variedModel();
        EXPECT_TRUE((ini.*save)(L"/own.ini"));
        const Wide target(kTarget);
        calls().fail(kAllocate);
        EXPECT_THROW((ini.*save)(target), std::bad_alloc);
        EXPECT_TRUE((ini.*save)({}));
        EXPECT_EQ(lastRequest().path, L"/own.ini");
    }
}

} // namespace
