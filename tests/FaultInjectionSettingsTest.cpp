// Settings files and their models under every failure that the platform can give: the n-th call of
// each kind refused, for every n, and all later ones with it.
#include "Vq/VqCheck.h"
#include "Vq/VqIniFile.h"

#include "support/FaultTable.h"
#include "support/FreshProcess.h"
#include "support/IniTest.h"

#include <string>
#include <utility>

namespace {

using namespace vqtest;

class SettingsFaults : public IniTest {
protected:
    static constexpr wchar_t kOther[] = L"/other.ini";
    static constexpr char kLong[] = "[a]\nk=a line too long for a buffer without a block\n[b]\nj=2";

    SettingsFaults() { files().put(kOther, "k=0\n[a]\nk=4\n[c]\nk=5\nk=6"); }

    /// Uses a model of two sections and looks whether it, and the files, are as they were.
    template <class Use> static auto with(Use use) {
        return [use](const FailEach& failEach) {
            files().put(kPath, kLong);
            files().put(kOther, "k=0\n[a]\nk=4\n[c]\nk=5\nk=6");
            const Wide own(kPath); // for good, so that a model which has another frees nothing
            const Wide other(kOther);
            VqIniFile ini(own, true, true);
            const Sections before = sectionsOf(ini);
            failEach([&] { return use(ini, other); },
                     [&] {
                         EXPECT_EQ(sectionsOf(ini), before);
                         EXPECT_EQ(files().content(kPath), kLong);
                         EXPECT_EQ(files().content(kOther), "k=0\n[a]\nk=4\n[c]\nk=5\nk=6");
                     });
        };
    }
};

TEST_F(SettingsFaults, LeaveTheModelAndTheFiles) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    const std::vector<Call> error = {kAllocate, kAtomicIncrement, kGetCallStack};
    expectSound({
        {"load",
         {kAllocate, kAtomicIncrement, kOpenFile, kSize, kRead},
         with([](VqIniFile& ini, const Wide& other) { return ini.load(other, '\n'); })},
        {"load again",
         {kAllocate, kAtomicIncrement, kOpenFile, kSize, kRead},
         with([](VqIniFile& ini, const Wide&) { return ini.load({}, '\n'); })},
        {"saveAll",
         {kAllocate, kAtomicIncrement, kOpenFile, kWrite, kCommit},
         with([](VqIniFile& ini, const Wide& other) { return ini.saveAll(other); })},
        {"a copy", block, with([](VqIniFile& ini, const Wide&) { const VqIniFile copy(ini); })},
        {"assignment", block, with([](VqIniFile& ini, const Wide&) {
             VqIniFile other(false);
             ini = VqIniFile(other = ini);
         })},
        {"getSection", block,
         with([](VqIniFile& ini, const Wide&) { ini.getSection(Narrow("new")); })},
        {"[]", block, with([](VqIniFile& ini, const Wide&) { ini[Narrow("new")]; })},
        {"an empty one", {}, with([](VqIniFile&, const Wide&) { const VqIniFile ini(true); })},
        {"questions", {}, with([](VqIniFile& ini, const Wide&) {
             const Narrow& name = VqIniFile::kAnonymousSection();
             return !ini.sectionExists(name) && std::as_const(ini).getSection(name).empty() &&
                    std::as_const(ini)[name].empty() && ini.getNumSections() == 2;
         })},
        {"findBeginsWith", {}, with([](VqIniFile& ini, const Wide&) {
             auto& section = *ini.getSectionIterator();
             return VqIniFile::findBeginsWith({}, section, true, section.end()) == section.begin();
         })},
        {"removeSection", {}, with([](VqIniFile& ini, const Wide&) {
             ini.removeSection(VqIniFile::kAnonymousSection());
         })},
        {"the name at an iterator", {kAtomicIncrement}, with([](VqIniFile& ini, const Wide&) {
             (void)ini.getSectionIterator().name();
             (void)std::as_const(ini).getSectionIterator().name();
         })},
        {"no name", error, with([](VqIniFile&, const Wide&) {
             expectError([] { (void)VqIniFile::SectionIterator().name(); });
             expectError([] { (void)VqIniFile::ConstSectionIterator().name(); });
         })},
        {"no section", error, with([](VqIniFile&, const Wide&) {
             expectError([] { *VqIniFile::SectionIterator(); });
             expectError([] { *VqIniFile::ConstSectionIterator(); });
         })},
        {"no next section", error, with([](VqIniFile&, const Wide&) {
             expectError([] { ++VqIniFile::SectionIterator(); });
             expectError([] { ++VqIniFile::ConstSectionIterator(); });
             expectError([] { VqIniFile::SectionIterator()++; });
             expectError([] { VqIniFile::ConstSectionIterator()++; });
         })},
    });
}

TEST_F(SettingsFaults, OfTheSinkLoseTheLineOnly) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    using Sink = SectionsBuildingOutputIterator;
    const auto with = [](auto use) {
        return [use](const FailEach& failEach) {
            VqIniFile::SectionMap map{VqIniFile_Private::StringLT_Fancy(true)};
            map[Narrow("a")] = {split("k=1")};
            Sink sink(&map);
            failEach([&] { use(sink, &map); },
                     [&] {
                         ASSERT_EQ(map.size(), 1u);
                         EXPECT_EQ(map.begin()->second.size(), 1u);
                     });
        };
    };
    using Map = VqIniFile::SectionMap;
    expectSound({
        {"a sink", {kAtomicIncrement}, with([](Sink&, Map* map) { Sink other(map); })},
        {"a copy", {kAtomicIncrement}, with([](Sink& sink, Map*) { Sink copy(sink); })},
        {"a line", block, with([](Sink& sink, Map*) { sink = Narrow(" k=v "); })},
        {"a header", block, with([](Sink& sink, Map*) { sink = Narrow("[a]"); })},
        {"splitBuffer", block,
         [](const FailEach& failEach) {
             failEach([] {
                 Map map{VqIniFile_Private::StringLT_Fancy(true)};
                 Vq::StringManip::splitBuffer(Sink(&map), "[a]\nk=1\nj=2", 11, '\n');
             });
         }},
    });
}

TEST_F(SettingsFaults, OfConstructionLeaveNothing) {
    const Wide path(kOther);
    for (const Call call : {kAllocate, kAtomicIncrement}) {
        EXPECT_GT(forEachFailure(
                      call, [&] { VqIniFile(path, true, true); },
                      [&] { EXPECT_EQ(path.useCount(), 1u); }),
                  1)
            << call;
    }
    for (const Call call : {kOpenFile, kSize, kRead}) {
        calls().fail(call);
        EXPECT_EQ(VqIniFile(path, true, true).getNumSections(), 0u) << call;
        EXPECT_TRUE(calls().hasFailed(call)) << call;
        calls().succeed(call);
    }
    EXPECT_EQ(VqIniFile(path, true, true).getNumSections(), 3u);
}

TEST_F(SettingsFaults, OfSaveLeaveTheModelAndTheFile) {
    const Wide other(kOther);
    for (const Call call : {kAllocate, kAtomicIncrement, kOpenFile}) {
        files().put(kPath, kLong);
        const Wide own(kPath);
        VqIniFile ini(own, true, true);
        const Sections before = sectionsOf(ini);
        files().put(kOther, "old");
        EXPECT_GE(forEachFailure(
                      call, [&] { return ini.save(other); },
                      [&] {
                          EXPECT_EQ(sectionsOf(ini), before);
                          EXPECT_EQ(files().content(kOther), "old");
                      }),
                  1)
            << call;
        EXPECT_NE(files().content(kOther), "old");
    }
}

TEST_F(SettingsFaults, LeaveThePathOfTheModel) {
    const Wide other(kOther);
    const auto expectPathKept = [&](auto use) {
        for (const Call call : {kAllocate, kAtomicIncrement}) {
            VqIniFile ini = loaded(kLong);
            const int failures = forEachFailure(
                call, [&] { EXPECT_TRUE(use(ini)); },
                [&] {
                    calls().fail(kOpenFile);
                    EXPECT_FALSE(ini.load({}, '\n'));
                    calls().succeed(kOpenFile);
                    EXPECT_EQ(files().requests().back().path, kPath);
                });
            EXPECT_GE(failures, 1) << call;
            EXPECT_EQ(files().requests().back().path, kOther);
        }
    };
    expectPathKept([&](VqIniFile& ini) { return ini.load(other, '\n'); });
    expectPathKept([&](VqIniFile& ini) { return ini.save(other); });
    expectPathKept([&](VqIniFile& ini) { return ini.saveAll(other); });
}

TEST_F(SettingsFaults, OfPowerLeaveTheOldFileUntilTheNewOneIsCommitted) {
    const Wide path(kPath);
    VqIniFile ini = loaded(kLong);
    ASSERT_TRUE(ini.saveAll(path));
    const std::string whole(files().content(kPath));
    for (const Call call : {kWrite, kCommit}) {
        int lost = 0;
        for (bool isLost = true; isLost; lost += isLost ? 1 : 0) {
            files().put(kPath, "old");
            int callsLeft = lost;
            isLost = false;
            auto losePower = [&] {
                if (callsLeft-- != 0) return;
                files().losePower();
                isLost = true;
            };
            calls().intercept(call, losePower);
            (void)ini.saveAll(path);
            calls().reset();
            EXPECT_EQ(files().content(kPath), isLost ? "old" : whole) << call << ' ' << lost;
        }
        EXPECT_GE(lost, 1) << call;
        files().losePower();
        EXPECT_EQ(files().content(kPath), whole) << "it was committed";
    }
}

TEST(AnonymousSectionFaults, LeaveItToTheNextCallToMakeTheName) {
    inFreshProcess([] {
        for (const Call call : {kAllocate, kAtomicIncrement}) {
            EXPECT_EQ(forEachFailure(
                          call, [] { VqIniFile::kAnonymousSection(); }, [] {}),
                      call == kAllocate ? 1 : 0);
        }
    });
    inFreshProcess([] {
        EXPECT_EQ(forEachFailure(
                      kAtomicIncrement, [] { VqIniFile::kAnonymousSection(); }, [] {}),
                  1);
        EXPECT_EQ(VqIniFile::kAnonymousSection(), "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@");
    });
}

} // namespace
