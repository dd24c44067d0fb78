#include "Vq/Platform.h"
#include "platform/SystemCalls.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Names = std::set<std::string>;

LightweightString<wchar_t> wide(const fs::path& path) {
    const std::string& text = path.native();
    return OS()->utils()->fromUTF8(text.data(), static_cast<int>(text.size()));
}

Vq::Ptr<iFile> openToReplace(const fs::path& path) {
    return OS()->fileSystem()->openFile(wide(path), 2, 3, 0, 0);
}

int put(iFile& file, std::string_view text) {
    return file.write(text.data(), static_cast<unsigned int>(text.size()));
}

/// Writes `text` as the whole new content; true when every step says that it worked.
bool replace(const fs::path& path, std::string_view text) {
    const auto file = openToReplace(path);
    return file && put(*file, text) != 0 && file->commit() != 0;
}

struct stat statusOf(const fs::path& path) {
    struct stat status;
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t permissionsOf(const fs::path& path) {
    return statusOf(path).st_mode & 07777;
}

/// More than is ever collected before it is written.
const std::string kLong(100000, 'l');

class LinuxReplacingFile : public ::testing::Test {
protected:
    LinuxReplacingFile() { folder_.put("a", "old"); }

    fs::path a() const { return folder_ / "a"; }
    std::string content() const { return folder_.content("a"); }

    /// Nothing has changed, and nothing is left over.
    void expectUntouched() const {
        EXPECT_EQ(content(), "old");
        EXPECT_EQ(folder_.names(), (Names{"a"}));
    }

    TemporaryFolder folder_;
};

// --- When all goes well

TEST_F(LinuxReplacingFile, PutsTheNewContentInPlaceWithCommit) {
    const auto file = openToReplace(a());
    ASSERT_TRUE(file);
    EXPECT_EQ(file.useCount(), 1);
    EXPECT_EQ(put(*file, "new "), 1);
    EXPECT_EQ(put(*file, ""), 1);
    EXPECT_EQ(file->write(nullptr, 0), 1);
    EXPECT_EQ(put(*file, kLong), 1);
    EXPECT_EQ(put(*file, " end"), 1);
    EXPECT_EQ(content(), "old") << "until it is committed";
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(content(), "new " + kLong + " end");
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

TEST_F(LinuxReplacingFile, PutsTheNewContentInPlaceWithTheLastHandle) {
    auto file = openToReplace(a());
    EXPECT_EQ(put(*file, "new"), 1);
    auto other = file;
    file.reset();
    EXPECT_EQ(content(), "old");
    other.reset();
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

TEST_F(LinuxReplacingFile, IsEmptyWhenNothingIsWritten) {
    openToReplace(a());
    EXPECT_EQ(content(), "");
    EXPECT_TRUE(openToReplace(folder_ / "b")->commit());
    EXPECT_EQ(folder_.content("b"), "");
    EXPECT_EQ(folder_.names(), (Names{"a", "b"}));
}

TEST_F(LinuxReplacingFile, KeepsAllBytesWhateverTheSizesOfTheWrites) {
    std::string expected;
    const auto file = openToReplace(a());
    for (const std::size_t size :
         {1U, 32767U, 1U, 32768U, 1U, 32766U, 32769U, 0U, 80000U, 3U, 8192U, 32768U}) {
        const std::string piece(size, static_cast<char>('a' + expected.size() % 26));
        EXPECT_EQ(put(*file, piece), 1);
        expected += piece;
        EXPECT_EQ(file->size(), expected.size());
    }
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(content(), expected);
}

TEST_F(LinuxReplacingFile, CollectsSmallWrites) {
    const auto file = openToReplace(a());
    const SystemCalls calls;
    for (int i = 0; i < 10000; ++i) ASSERT_EQ(put(*file, "0123456789"), 1);
    EXPECT_EQ(file->commit(), 1);
    EXPECT_LE(calls.count(SystemCall::kWrite), 20);
    EXPECT_EQ(content().size(), 100000U);
}

TEST_F(LinuxReplacingFile, SyncsTheFileBeforeTheRenameAndTheFolderBehindIt) {
    const auto file = openToReplace(a());
    const SystemCalls calls;
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_EQ(calls.order(), "");
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(calls.order(), "wsmos") << "the folder is opened to be synced";
}

TEST_F(LinuxReplacingFile, TakesInterruptionsAndPieces) {
    SystemCalls calls;
    calls.limitPieces(7000);
    calls.fail(SystemCall::kOpen, EINTR, 2);
    calls.fail(SystemCall::kWrite, EINTR, 3, 1);
    calls.fail(SystemCall::kSync, EINTR, 1);
    EXPECT_TRUE(replace(a(), kLong));
    EXPECT_EQ(calls.count(SystemCall::kWrite), 15 + 3);
    EXPECT_EQ(content(), kLong);
}

TEST_F(LinuxReplacingFile, IsNotToBeReadFrom) {
    const auto file = openToReplace(a());
    char byte = 'x';
    EXPECT_EQ(file->read(&byte, 1), 0);
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_EQ(file->read(&byte, 1), 0);
    EXPECT_EQ(byte, 'x');
}

TEST_F(LinuxReplacingFile, LeavesReadersOfTheOldFileWithTheOldFile) {
    std::ifstream reader(a());
    EXPECT_TRUE(replace(a(), "new"));
    std::string seen;
    reader >> seen;
    EXPECT_EQ(seen, "old");
    EXPECT_EQ(content(), "new");
}

TEST_F(LinuxReplacingFile, GivesTheFileToTheWriterThatCommitsLast) {
    const auto first = openToReplace(a());
    const auto second = openToReplace(a());
    EXPECT_EQ(put(*first, "first"), 1);
    EXPECT_EQ(put(*second, "second"), 1);
    EXPECT_EQ(second->commit(), 1);
    EXPECT_EQ(content(), "second");
    EXPECT_EQ(first->commit(), 1);
    EXPECT_EQ(content(), "first");
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

TEST_F(LinuxReplacingFile, FindsItsFolderAgainAfterTheCurrentOneHasChanged) {
    ChildProcess child([&] {
        if (chdir(folder_.path().c_str()) != 0) return 1;
        const auto file = openToReplace("a");
        if (!file || chdir("/") != 0) return 2;
        return put(*file, "new") && file->commit() ? 0 : 3;
    });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
    EXPECT_EQ(content(), "new");
}

// --- The states

TEST_F(LinuxReplacingFile, MayBeCommittedAgain) {
    const auto file = openToReplace(a());
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_EQ(file->commit(), 1);
    const SystemCalls calls;
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(calls.order(), "");
}

TEST_F(LinuxReplacingFile, TakesNothingAfterTheCommit) {
    auto file = openToReplace(a());
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(put(*file, "more"), 0);
    EXPECT_EQ(file->size(), 3U);
    EXPECT_EQ(file->commit(), 0);
    file.reset();
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

// --- When something fails

TEST_F(LinuxReplacingFile, RemovesItsTemporaryAtOnceWhenAWriteFails) {
    auto file = openToReplace(a());
    EXPECT_EQ(put(*file, kLong), 1);
    {
        SystemCalls calls;
        calls.fail(SystemCall::kWrite, ENOSPC);
        EXPECT_EQ(put(*file, kLong), 0);
        expectUntouched();
    }
    // The disk has room again, but the content has a gap.
    EXPECT_EQ(put(*file, "more"), 0);
    EXPECT_EQ(file->commit(), 0);
    EXPECT_EQ(file->commit(), 0);
    file.reset();
    expectUntouched();
}

TEST_F(LinuxReplacingFile, FailsTheWriteThatFindsNoRoomForAnEarlierOne) {
    const auto file = openToReplace(a());
    SystemCalls calls;
    calls.fail(SystemCall::kWrite, ENOSPC);
    int taken = 0;
    while (put(*file, "0123456789") != 0) ASSERT_LT(++taken, 10000);
    expectUntouched();
    EXPECT_EQ(file->commit(), 0);
}

TEST_F(LinuxReplacingFile, FailsTheCommitThatCannotWriteSyncOrRename) {
    for (const SystemCall call : {SystemCall::kWrite, SystemCall::kSync, SystemCall::kRename}) {
        const auto file = openToReplace(a());
        EXPECT_EQ(put(*file, "new"), 1);
        SystemCalls calls;
        calls.fail(call, EIO, 1);
        EXPECT_EQ(file->commit(), 0);
        expectUntouched();
        EXPECT_EQ(file->commit(), 0) << "for good";
        EXPECT_EQ(put(*file, "x"), 0);
    }
    expectUntouched();
}

TEST_F(LinuxReplacingFile, KeepsTheOldFileWhenTheLastHandleCannotFinish) {
    for (const SystemCall call : {SystemCall::kWrite, SystemCall::kSync, SystemCall::kRename}) {
        auto file = openToReplace(a());
        EXPECT_EQ(put(*file, "new"), 1);
        SystemCalls calls;
        calls.fail(call, EIO, 1);
        file.reset();
        expectUntouched();
    }
}

TEST_F(LinuxReplacingFile, TellsWhenOnlyTheFolderCannotBeSynced) {
    const auto file = openToReplace(a());
    EXPECT_EQ(put(*file, "new"), 1);
    SystemCalls calls;
    calls.fail(SystemCall::kSync, EIO, 1, 1);
    EXPECT_EQ(file->commit(), 0);
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

TEST_F(LinuxReplacingFile, IsContentWithAFileSystemThatCannotSync) {
    SystemCalls calls;
    calls.fail(SystemCall::kSync, EINVAL);
    EXPECT_TRUE(replace(a(), "new"));
    EXPECT_EQ(content(), "new");
}

TEST_F(LinuxReplacingFile, KeepsTheOldFileWhenAFileMayGrowNoFurther) {
    ChildProcess child([&] {
        const rlimit limit = {50000, 50000};
        std::signal(SIGXFSZ, SIG_IGN);
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
        const auto file = openToReplace(a());
        if (!file || put(*file, kLong) != 0) return 2;
        if (folder_.names() != Names{"a"}) return 3; // removed at once, not on release
        return file->commit() == 0 ? 0 : 4;
    });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
    expectUntouched();
}

TEST_F(LinuxReplacingFile, DestroysNothingWhereNotEvenAnEmptyFileFits) {
    for (const int error : {ENOSPC, EDQUOT, EMFILE, ENFILE, EIO}) {
        SystemCalls calls;
        calls.fail(SystemCall::kOpen, error, 1, 1); // the folder opens, the temporary does not
        EXPECT_FALSE(openToReplace(a())) << error;
        expectUntouched();
    }
}

TEST_F(LinuxReplacingFile, KeepsTheOldFileWhenTheProcessIsKilled) {
    {
        Shared<std::atomic<bool>> hasWritten;
        ChildProcess child([&] {
            const auto file = openToReplace(a());
            put(*file, kLong);
            *hasWritten = true;
            for (;;) pause();
            return 0;
        });
        for (int patience = 30000; !*hasWritten && patience > 0; --patience) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_TRUE(*hasWritten);
    } // killed here
    EXPECT_EQ(content(), "old");

    Names names = folder_.names();
    ASSERT_EQ(names.size(), 2U);
    names.erase("a");
    const std::string left = *names.begin();
    EXPECT_TRUE(left.starts_with(".vq-") && left.ends_with(".tmp")) << left;
    EXPECT_EQ(permissionsOf(folder_ / left), permissionsOf(a()));

    EXPECT_TRUE(replace(a(), "new")) << "what was left stands in nobody's way";
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(folder_.content(left), kLong) << "and is nobody's to change";
    EXPECT_EQ(folder_.names().size(), 2U);
}

TEST_F(LinuxReplacingFile, NeverTakesOverAFileOfTheNameItWouldUse) {
    SystemCalls calls;
    calls.fail(SystemCall::kOpen, EEXIST, 2, 1);
    EXPECT_TRUE(replace(a(), "new"));
    EXPECT_EQ(calls.count(SystemCall::kOpen), 5) << "two folders, three names";
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

TEST_F(LinuxReplacingFile, FailsWhenAFolderHasTakenThePlaceMeanwhile) {
    const auto file = openToReplace(a());
    EXPECT_EQ(put(*file, "new"), 1);
    fs::remove(a());
    fs::create_directory(a());
    EXPECT_EQ(file->commit(), 0);
    EXPECT_TRUE(fs::is_directory(a()));
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

// --- Permissions and owners

TEST_F(LinuxReplacingFile, KeepsThePermissionBits) {
    for (const mode_t mode : {0600U, 0640U, 0666U, 0755U, 0777U, 0200U}) {
        ASSERT_EQ(chmod(a().c_str(), mode), 0);
        EXPECT_TRUE(replace(a(), "new"));
        EXPECT_EQ(permissionsOf(a()), mode);
    }
}

TEST_F(LinuxReplacingFile, DropsTheBitsThatWouldRunItAsAnother) {
    ASSERT_EQ(chmod(a().c_str(), 06755), 0);
    EXPECT_TRUE(replace(a(), "new"));
    EXPECT_EQ(permissionsOf(a()), 0755U);
}

TEST_F(LinuxReplacingFile, MakesNewFilesAsTheMaskWantsThem) {
    for (const mode_t mask : {0022U, 0077U, 0U}) {
        const mode_t before = umask(mask);
        EXPECT_TRUE(replace(folder_ / "new", "new"));
        umask(before);
        EXPECT_EQ(permissionsOf(folder_ / "new"), 0666U & ~mask);
        fs::remove(folder_ / "new");
    }
}

TEST_F(LinuxReplacingFile, IsNobodyElsesToReadWhileItIsWritten) {
    ASSERT_EQ(chmod(a().c_str(), 0600), 0);
    const mode_t before = umask(0);
    const SystemCalls calls;
    const auto file = openToReplace(a());
    umask(before);
    EXPECT_EQ(calls.creationMode(), 0600U) << "from the very first moment";
    for (const std::string& name : folder_.names()) {
        EXPECT_EQ(permissionsOf(folder_ / name), 0600U) << name;
    }
    EXPECT_EQ(folder_.names().size(), 2U);
}

TEST_F(LinuxReplacingFile, KeepsOwnerAndGroupWhereItMay) {
    const bool mayGiveAway = geteuid() == 0;
    const uid_t owner = mayGiveAway ? 12345 : geteuid();
    const gid_t group = mayGiveAway ? 23456 : getegid();
    ASSERT_EQ(chown(a().c_str(), owner, group), 0);
    EXPECT_TRUE(replace(a(), "new"));
    EXPECT_EQ(statusOf(a()).st_uid, owner);
    EXPECT_EQ(statusOf(a()).st_gid, group);
}

/// What `body()` returns in a child with the rights of an ordinary user; -1 when that cannot be
/// had.
template <class Body> int asOrdinaryUser(Body body) {
    constexpr unsigned kNobody = 65534;
    ChildProcess child([&] {
        if (geteuid() == 0 &&
            (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
            return 100;
        }
        return body();
    });
    return child.endsWithin(60s) ? child.exitCode() : -1;
}

TEST_F(LinuxReplacingFile, IsNotOpenedWhereTheOldOneIsWriteProtected) {
    ASSERT_EQ(chmod(a().c_str(), 0444), 0);
    EXPECT_EQ(asOrdinaryUser([&] { return openToReplace(a()) ? 1 : 0; }), 0);
    expectUntouched();
}

TEST_F(LinuxReplacingFile, ReplacesInAFolderThatCannotBeListed) {
    ASSERT_EQ(chmod(a().c_str(), 0666), 0);
    ASSERT_EQ(chmod(folder_.path().c_str(), 0333), 0);
    const ino_t before = statusOf(a()).st_ino;
    EXPECT_EQ(asOrdinaryUser([&] { return replace(a(), "new") ? 0 : 1; }), 0);
    EXPECT_NE(statusOf(a()).st_ino, before) << "replaced, not written in place";
    EXPECT_EQ(content(), "new");
    ASSERT_EQ(chmod(folder_.path().c_str(), 0777), 0);
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

// --- Links and places

TEST_F(LinuxReplacingFile, FollowsLinksToTheFileAndKeepsThem) {
    fs::create_directory(folder_ / "sub");
    fs::create_directory_symlink("sub", folder_ / "folder");
    fs::create_symlink("../a", folder_ / "sub" / "relative");
    fs::create_symlink(folder_ / "sub" / "relative", folder_ / "absolute");
    fs::create_symlink("folder/../absolute", folder_ / "chain");
    int version = 0;
    for (const char* name : {"sub/relative", "folder/relative", "absolute", "chain"}) {
        const std::string text = "version " + std::to_string(++version);
        EXPECT_TRUE(replace(folder_ / name, text));
        EXPECT_EQ(content(), text) << name;
        EXPECT_TRUE(fs::is_symlink(folder_ / name)) << name;
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(a())));
    }
    EXPECT_EQ(folder_.names(), (Names{"a", "absolute", "chain", "folder", "sub"}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "sub"), fs::directory_iterator()), 1);
}

TEST_F(LinuxReplacingFile, UsesTheFolderOfTheTargetForItsTemporary) {
    const TemporaryFolder elsewhere;
    fs::create_symlink(a(), elsewhere / "link");
    const auto file = openToReplace(elsewhere / "link");
    EXPECT_EQ(elsewhere.names(), (Names{"link"}));
    EXPECT_EQ(folder_.names().size(), 2U);
}

TEST_F(LinuxReplacingFile, CreatesWhatADanglingLinkNames) {
    fs::create_symlink("nothing", folder_ / "link");
    fs::create_symlink("link", folder_ / "chain");
    const auto file = openToReplace(folder_ / "chain");
    ASSERT_TRUE(file);
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_FALSE(fs::exists(folder_ / "nothing"));
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(folder_.content("nothing"), "new");
    EXPECT_TRUE(fs::is_symlink(folder_ / "link") && fs::is_symlink(folder_ / "chain"));
    EXPECT_EQ(folder_.names(), (Names{"a", "chain", "link", "nothing"}));
}

TEST_F(LinuxReplacingFile, RefusesLinksThatLeadToNoFile) {
    fs::create_symlink("loop2", folder_ / "loop1");
    fs::create_symlink("loop1", folder_ / "loop2");
    fs::create_symlink("missing/file", folder_ / "deep");
    fs::create_symlink("missing/", folder_ / "slash");
    fs::create_symlink(".", folder_ / "here");
    for (const char* name : {"loop1", "deep", "slash", "here"}) {
        EXPECT_FALSE(openToReplace(folder_ / name)) << name;
    }
    EXPECT_EQ(folder_.names(), (Names{"a", "deep", "here", "loop1", "loop2", "slash"}));
}

TEST_F(LinuxReplacingFile, RefusesFoldersAndWhatIsBelowNone) {
    for (const char* name : {"", ".", "..", "a/", "a/b", "missing/b", "b/", "b/."}) {
        EXPECT_FALSE(openToReplace(folder_.path() / name)) << name;
    }
    expectUntouched();
}

TEST_F(LinuxReplacingFile, LeavesOtherNamesOfTheOldFileWithTheOldContent) {
    fs::create_hard_link(a(), folder_ / "other");
    EXPECT_TRUE(replace(a(), "new"));
    EXPECT_EQ(folder_.content("other"), "old");
}

TEST_F(LinuxReplacingFile, TakesTheLongestNamesThereAre) {
    const std::string name(255, 'n');
    EXPECT_TRUE(replace(folder_ / name, "new"));
    EXPECT_EQ(folder_.content(name), "new");
    EXPECT_FALSE(replace(folder_ / (name + "n"), "new"));
    EXPECT_EQ(folder_.names(), (Names{"a", name}));
}

TEST_F(LinuxReplacingFile, TakesNamesBeyondAscii) {
    EXPECT_TRUE(replace(folder_ / "\xC3\xA4 \xF0\x9F\x98\x80", "new"));
    EXPECT_EQ(folder_.names(), (Names{"a", "\xC3\xA4 \xF0\x9F\x98\x80"}));
}

TEST_F(LinuxReplacingFile, IsNotInheritedByOtherPrograms) {
    const auto file = openToReplace(a());
    int found = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string path = fs::read_symlink(entry, gone).string();
        if (!path.starts_with(folder_.path().string())) continue;
        ++found;
        const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
        EXPECT_NE(flags & FD_CLOEXEC, 0) << path;
    }
    EXPECT_EQ(found, 2) << "the temporary and its folder";
}

TEST_F(LinuxReplacingFile, LeavesNoDescriptorOpen) {
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = descriptors();
    EXPECT_TRUE(replace(a(), "new"));
    openToReplace(a());
    EXPECT_FALSE(openToReplace(folder_.path()));
    EXPECT_FALSE(openToReplace(folder_ / "missing" / "b"));
    SystemCalls calls;
    calls.fail(SystemCall::kWrite, ENOSPC);
    EXPECT_FALSE(replace(a(), kLong));
    EXPECT_EQ(descriptors(), before);
}

} // namespace
