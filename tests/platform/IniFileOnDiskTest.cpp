#include "Vq/String.h"
#include "Vq/VqIniFile.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <clocale>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using namespace std::string_view_literals;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Vq::AttribValuePair;
using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using Names = std::set<std::string>;

class IniFileOnDisk : public ::testing::Test {
protected:
    Wide path(std::string_view name) const { return fromUTF8(Narrow((folder_ / name).string())); }

    void put(std::string_view content) const { folder_.put("a.ini", content); }
    std::string content() const { return folder_.content("a.ini"); }

    TemporaryFolder folder_;
};

using IniFileOnDiskLoad = IniFileOnDisk;
using IniFileOnDiskSave = IniFileOnDisk;
using IniFileOnDiskFailure = IniFileOnDisk;
using IniFileOnDiskLocale = IniFileOnDisk;

/// The whole model: "[name]line|line|[name]...".
std::string textOf(const VqIniFile& ini) {
    std::string text;
    for (auto walk = ini.getSectionIterator(); walk.valid(); ++walk) {
        const bool anonymous = walk.name() == VqIniFile::kAnonymousSection();
        text += anonymous ? "[@]" : '[' + std::string(std::string_view(walk.name())) + ']';
        for (const AttribValuePair& pair : *walk) {
            text += std::string_view(pair.asString('='));
            text += '|';
        }
    }
    return text;
}

/// A model whose saved form has more than `bytes` bytes.
VqIniFile modelOfBytes(std::size_t bytes) {
    VqIniFile ini(true);
    const Narrow value(std::string(90, 'v'));
    for (std::size_t saved = 0; saved <= bytes; saved += 90) {
        ini["filler"].push_back(AttribValuePair("key", value, '='));
    }
    return ini;
}

/// What `question()` answers in a child that has the rights of an ordinary user.
template <class Question> bool asOrdinaryUser(Question question) {
    constexpr unsigned kNobody = 65534;
    ChildProcess child([&] {
        if (geteuid() == 0 &&
            (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
            return 2;
        }
        return question() ? 1 : 0;
    });
    EXPECT_TRUE(child.endsWithin(60s));
    EXPECT_TRUE(child.exitCode() == 0 || child.exitCode() == 1) << child.exitCode();
    return child.exitCode() == 1;
}

/// What `question()` answers in a child that can write no file longer than `limit` bytes.
template <class Question> bool withFilesLimitedTo(rlim_t limit, Question question) {
    ChildProcess child([&] {
        const rlimit limits = {limit, limit};
        std::signal(SIGXFSZ, SIG_IGN);
        if (setrlimit(RLIMIT_FSIZE, &limits) != 0) return 2;
        return question() ? 1 : 0;
    });
    EXPECT_TRUE(child.endsWithin(60s));
    EXPECT_TRUE(child.exitCode() == 0 || child.exitCode() == 1) << child.exitCode();
    return child.exitCode() == 1;
}

// --- Loading

TEST_F(IniFileOnDiskLoad, ReadsARealFile) {
    put("; first\r\n[Video]\r\nWidth=1920\r\n\r\n[Audio]\r\nRate = 48000\r\n");
    const VqIniFile ini(path("a.ini"), true, true);
    EXPECT_EQ(textOf(ini), "[@]; first|[Audio]Rate = 48000|[Video]Width=1920|");
}

TEST_F(IniFileOnDiskLoad, FindsAFileByANonAsciiName) {
    folder_.put("\xC3\x84rger \xE6\x97\xA5 \xF0\x9F\x98\x80.ini", "[a]\nk=1\n");
    VqIniFile ini(true);
    EXPECT_TRUE(ini.load(path("\xC3\x84rger \xE6\x97\xA5 \xF0\x9F\x98\x80.ini"), '\n'));
    EXPECT_EQ(textOf(ini), "[a]k=1|");
}

TEST_F(IniFileOnDiskLoad, IsFalseWhereThereIsNothingToRead) {
    put("");
    VqIniFile ini(true);
    EXPECT_FALSE(ini.load(path("missing.ini"), '\n'));
    EXPECT_FALSE(ini.load(path("missing/a.ini"), '\n'));
    EXPECT_FALSE(ini.load(path("a.ini/a.ini"), '\n'));
    EXPECT_FALSE(ini.load(path(""), '\n')) << "a folder";
    EXPECT_FALSE(ini.load(path("a.ini"), '\n')) << "an empty file";
    EXPECT_FALSE(ini.load(L"/dev/null", '\n'));
    EXPECT_EQ(ini.getNumSections(), 0U);
    EXPECT_EQ(VqIniFile(path("missing.ini"), true, true).getNumSections(), 0U);
    EXPECT_EQ(folder_.names(), (Names{"a.ini"})) << "and nothing is made";
}

TEST_F(IniFileOnDiskLoad, IsFalseForAFileThatMayNotBeRead) {
    put("[a]\nk=1");
    fs::permissions(folder_ / "a.ini", fs::perms::none);
    EXPECT_FALSE(asOrdinaryUser([&] { return VqIniFile(true).load(path("a.ini"), '\n'); }));
    fs::permissions(folder_ / "a.ini", fs::perms::others_read | fs::perms::owner_read);
    EXPECT_TRUE(asOrdinaryUser([&] { return VqIniFile(true).load(path("a.ini"), '\n'); }));
}

TEST_F(IniFileOnDiskLoad, IsFalseAboveFourGibibytes) {
    put("[a]\nk=1");
    fs::resize_file(folder_ / "a.ini", (std::uintmax_t{1} << 32) + 7);
    VqIniFile ini(true);
    EXPECT_FALSE(ini.load(path("a.ini"), '\n'));
    EXPECT_EQ(ini.getNumSections(), 0U);
}

TEST_F(IniFileOnDiskLoad, TakesFilesOfManyMegabytes) {
    std::string text = "[long]\nk=" + std::string(10000000, 'v') + "\n[many]\n";
    for (int i = 0; i < 100000; ++i) text += "key=value\n";
    put(text);
    VqIniFile ini(true);
    EXPECT_TRUE(ini.load(path("a.ini"), '\n'));
    EXPECT_EQ(ini["long"][0].value().length(), 10000000U);
    EXPECT_EQ(ini["many"].size(), 100000U);
}

// --- Saving

TEST_F(IniFileOnDiskSave, WritesTheModelAndNothingElse) {
    put("k=1\n[b]\nj=2\n[a]\n");
    VqIniFile ini(path("a.ini"), true, true);
    ini["c"];
    EXPECT_TRUE(ini.saveAll({}));
    EXPECT_EQ(content(), "k=1\r\n\r\n[b]\r\nj=2\r\n\r\n[c]\r\n");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
    EXPECT_EQ(textOf(VqIniFile(path("a.ini"), true, true)), "[@]k=1|[b]j=2|");
}

TEST_F(IniFileOnDiskSave, WithoutACommitReplacesTheFileWhenItIsDone) {
    put("something much longer that was there before");
    VqIniFile ini(true);
    ini["a"].push_back(AttribValuePair("k", "v", '='));
    EXPECT_TRUE(ini.save(path("a.ini")));
    EXPECT_EQ(content(), "[a]\r\nk=v\r\n");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
}

TEST_F(IniFileOnDiskSave, MakesANewFile) {
    VqIniFile ini(true);
    ini["a"];
    EXPECT_TRUE(ini.saveAll(path("\xC3\xA4.ini")));
    EXPECT_TRUE(ini.save(path("b.ini")));
    EXPECT_EQ(folder_.content("\xC3\xA4.ini"), "[a]\r\n");
    EXPECT_EQ(folder_.content("b.ini"), "[a]\r\n");
    EXPECT_EQ(folder_.names(), (Names{"\xC3\xA4.ini", "b.ini"}));
}

TEST_F(IniFileOnDiskSave, OfAnEmptyModelMakesAnEmptyFile) {
    put("old");
    VqIniFile ini(true);
    EXPECT_TRUE(ini.saveAll(path("a.ini")));
    EXPECT_EQ(content(), "");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
}

TEST_F(IniFileOnDiskSave, KeepsPermissionsAndFollowsALink) {
    put("old");
    fs::permissions(folder_ / "a.ini", fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("a.ini", folder_ / "link.ini");
    VqIniFile ini(true);
    ini["a"];
    EXPECT_TRUE(ini.saveAll(path("link.ini")));
    EXPECT_TRUE(fs::is_symlink(folder_ / "link.ini"));
    EXPECT_EQ(content(), "[a]\r\n");
    EXPECT_EQ(fs::status(folder_ / "a.ini").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(IniFileOnDiskSave, OfMegabytesComesBackWhole) {
    VqIniFile ini = modelOfBytes(3000000);
    ini["long"].push_back(AttribValuePair("k", Narrow(std::string(5000000, 'v')), '='));
    EXPECT_TRUE(ini.saveAll(path("a.ini")));
    EXPECT_TRUE(textOf(VqIniFile(path("a.ini"), true, true)) == textOf(ini));
}

TEST_F(IniFileOnDiskSave, WritesAFileInPlaceWhereTheFolderTakesNoNewOne) {
    put("something much longer that was there before");
    fs::permissions(folder_ / "a.ini", fs::perms::all);
    fs::permissions(folder_.path(), fs::perms::owner_read | fs::perms::owner_exec |
                                        fs::perms::others_read | fs::perms::others_exec);
    EXPECT_TRUE(asOrdinaryUser([&] {
        VqIniFile ini(true);
        ini["a"];
        return ini.saveAll(path("a.ini"));
    }));
    EXPECT_EQ(content(), "[a]\r\n");
    EXPECT_FALSE(asOrdinaryUser([&] { return VqIniFile(true).saveAll(path("new.ini")); }));
    EXPECT_FALSE(asOrdinaryUser([&] { return VqIniFile(true).save(path("new.ini")); }));
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
}

TEST_F(IniFileOnDiskSave, WritesToADevice) {
    VqIniFile ini(true);
    ini["a"];
    EXPECT_TRUE(ini.saveAll(L"/dev/null"));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

// --- When saving fails

TEST_F(IniFileOnDiskFailure, IsFalseWhereNothingCanBeWritten) {
    put("old");
    VqIniFile ini(true);
    EXPECT_FALSE(ini.saveAll(path("missing/a.ini")));
    EXPECT_FALSE(ini.save(path("missing/a.ini")));
    EXPECT_FALSE(ini.saveAll(path("a.ini/a.ini")));
    EXPECT_FALSE(ini.saveAll(path(""))) << "a folder";
    EXPECT_FALSE(ini.save(path(""))) << "a folder";
    EXPECT_FALSE(VqIniFile(true).saveAll({})) << "no path at all";
    EXPECT_FALSE(VqIniFile(true).save({})) << "no path at all";
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
    EXPECT_EQ(content(), "old");
}

TEST_F(IniFileOnDiskFailure, IsFalseForAFileThatMayNotBeWritten) {
    put("old");
    fs::permissions(folder_ / "a.ini", fs::perms::owner_read | fs::perms::others_read);
    EXPECT_FALSE(asOrdinaryUser([&] { return VqIniFile(true).saveAll(path("a.ini")); }));
    EXPECT_FALSE(asOrdinaryUser([&] { return VqIniFile(true).save(path("a.ini")); }));
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
    fs::permissions(folder_ / "a.ini", fs::perms::all);
    EXPECT_TRUE(asOrdinaryUser([&] { return VqIniFile(true).saveAll(path("a.ini")); }));
    EXPECT_EQ(content(), "");
}

TEST_F(IniFileOnDiskFailure, OfAWriteKeepsTheOldFileAndLeavesNoOther) {
    put("old");
    VqIniFile ini = modelOfBytes(200000);
    EXPECT_FALSE(withFilesLimitedTo(4096, [&] { return ini.saveAll(path("a.ini")); }));
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
    EXPECT_TRUE(withFilesLimitedTo(4096, [&] { return ini.save(path("a.ini")); }))
        << "save does not look at its writes";
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
    EXPECT_TRUE(withFilesLimitedTo(400000, [&] { return ini.saveAll(path("a.ini")); }));
    EXPECT_GT(content().size(), 200000U);
}

TEST_F(IniFileOnDiskFailure, OfTheLastBytesKeepsTheOldFileAndLeavesNoOther) {
    put("old");
    VqIniFile ini = modelOfBytes(1000);
    EXPECT_FALSE(withFilesLimitedTo(100, [&] { return ini.saveAll(path("a.ini")); }));
    EXPECT_FALSE(withFilesLimitedTo(0, [&] { return ini.saveAll(path("a.ini")); }));
    EXPECT_TRUE(withFilesLimitedTo(100, [&] { return ini.save(path("a.ini")); }));
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(folder_.names(), (Names{"a.ini"}));
}

TEST_F(IniFileOnDiskFailure, OnAFullDeviceIsTold) {
    VqIniFile ini = modelOfBytes(1000);
    EXPECT_FALSE(ini.saveAll(L"/dev/full"));
    EXPECT_TRUE(ini.save(L"/dev/full"));
}

TEST_F(IniFileOnDiskFailure, OfAProcessKeepsTheOldFile) {
    put("k=1\n[1]\nj=2\n");
    {
        // The walk of `save` never ends for this model, and so nothing is ever put in place.
        ChildProcess child([&] { return VqIniFile(path("a.ini"), true, true).save({}) ? 1 : 0; });
        int patience = 60000;
        while (folder_.names().size() < 2 && !child.endsWithin(1ms) && patience > 0) --patience;
        EXPECT_FALSE(child.endsWithin(300ms));
        EXPECT_EQ(content(), "k=1\n[1]\nj=2\n");
    }
    EXPECT_EQ(content(), "k=1\n[1]\nj=2\n") << "the child was killed";
    VqIniFile ini(path("a.ini"), true, true);
    EXPECT_TRUE(ini.saveAll({}));
    EXPECT_EQ(content(), "k=1\r\n\r\n[1]\r\nj=2\r\n");
}

// --- The locale

TEST_F(IniFileOnDiskLocale, OfTheCKindTakesANonAsciiEndFromALine) {
    ASSERT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
    put("[a]\ncity=Malm\xC3\xB6\nname=\xC3\x96stersund \nfood=k\xC3\xB6ttbullar\n");
    VqIniFile ini(path("a.ini"), true, true);
    EXPECT_EQ(textOf(ini), "[a]city=Malm|name=\xC3\x96stersund|food=k\xC3\xB6ttbullar|");
    EXPECT_TRUE(ini.saveAll({}));
    EXPECT_EQ(content(), "[a]\r\ncity=Malm\r\nname=\xC3\x96stersund\r\nfood=k\xC3\xB6ttbullar\r\n");
}

TEST_F(IniFileOnDiskLocale, DoesNotTouchWhatIsSaved) {
    VqIniFile ini(true);
    ini["a"].push_back(AttribValuePair("city", "Malm\xC3\xB6", '='));
    EXPECT_TRUE(ini.saveAll(path("a.ini")));
    EXPECT_EQ(content(), "[a]\r\ncity=Malm\xC3\xB6\r\n");
}

} // namespace
