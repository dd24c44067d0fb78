#include "Vq/Platform.h"
#include "platform/SystemCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vqtest;
namespace fs = std::filesystem;
using Names = std::set<std::string>;

LightweightString<wchar_t> wide(const fs::path& path) {
    const std::string& text = path.native();
    return OS()->utils()->fromUTF8(text.data(), static_cast<int>(text.size()));
}

Vq::Ptr<iFile> openToWrite(const fs::path& path) {
    return OS()->fileSystem()->openFile(wide(path), 2, 3, 0, 0);
}

int put(iFile& file, std::string_view text) {
    return file.write(text.data(), static_cast<unsigned int>(text.size()));
}

const std::string kLong(100000, 'l');

/// The tests run with all rights as well, for which no folder is closed: so the second open, that
/// of the temporary, is made to fail as it does for others.
class LinuxInPlaceFile : public ::testing::Test {
protected:
    LinuxInPlaceFile() { folder_.put("a", "old content"); }

    Vq::Ptr<iFile> openWhere(int error) {
        SystemCalls calls;
        calls.fail(SystemCall::kOpen, error, 1, 1);
        return openToWrite(folder_ / "a");
    }

    std::string content() const { return folder_.content("a"); }

    TemporaryFolder folder_;
};

TEST_F(LinuxInPlaceFile, IsWhatAFolderThatTakesNoNewFileGets) {
    for (const int error : {EACCES, EPERM, EROFS, ENOENT}) {
        folder_.put("a", "old content");
        const fs::path path = folder_ / "a";
        struct stat before;
        struct stat after;
        ASSERT_EQ(stat(path.c_str(), &before), 0);
        auto file = openWhere(error);
        ASSERT_TRUE(file) << error;
        EXPECT_EQ(folder_.names(), (Names{"a"}));
        EXPECT_EQ(put(*file, "new"), 1);
        EXPECT_EQ(put(*file, kLong), 1);
        EXPECT_EQ(file->size(), 3 + kLong.size());
        EXPECT_EQ(file->commit(), 1);
        EXPECT_EQ(content(), "new" + kLong);
        ASSERT_EQ(stat(path.c_str(), &after), 0);
        EXPECT_EQ(after.st_ino, before.st_ino);
    }
}

TEST_F(LinuxInPlaceFile, IsFinishedByTheLastHandle) {
    auto file = openWhere(EACCES);
    EXPECT_EQ(put(*file, "new"), 1);
    file.reset();
    EXPECT_EQ(content(), "new");
}

TEST_F(LinuxInPlaceFile, IsEmptyWhenNothingIsWritten) {
    openWhere(EACCES);
    EXPECT_EQ(content(), "");
}

TEST_F(LinuxInPlaceFile, IsEmptiedAlsoWhenThatIsInterrupted) {
    SystemCalls calls;
    calls.fail(SystemCall::kOpen, EACCES, 1, 1);
    calls.fail(SystemCall::kTruncate, EINTR, 3);
    const auto file = openToWrite(folder_ / "a");
    ASSERT_TRUE(file);
    EXPECT_EQ(calls.count(SystemCall::kTruncate), 4);
    EXPECT_EQ(content(), "");
}

TEST_F(LinuxInPlaceFile, IsNotOpenedWhereItCannotBeEmptied) {
    SystemCalls calls;
    calls.fail(SystemCall::kOpen, EACCES, 1, 1);
    calls.fail(SystemCall::kTruncate, EPERM);
    EXPECT_FALSE(openToWrite(folder_ / "a"));
    EXPECT_EQ(calls.count(SystemCall::kTruncate), 1);
    EXPECT_EQ(content(), "old content");
}

TEST_F(LinuxInPlaceFile, IsSyncedByTheCommit) {
    const auto file = openWhere(EACCES);
    const SystemCalls calls;
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(file->commit(), 1);
    EXPECT_EQ(calls.order(), "ws");
}

TEST_F(LinuxInPlaceFile, HasTheSameStates) {
    const auto committed = openWhere(EACCES);
    EXPECT_EQ(committed->commit(), 1);
    EXPECT_EQ(put(*committed, "more"), 0);
    EXPECT_EQ(committed->commit(), 0);
    char byte = 'x';
    EXPECT_EQ(committed->read(&byte, 1), 0);

    const auto failed = openWhere(EACCES);
    EXPECT_EQ(put(*failed, "new"), 1);
    {
        SystemCalls calls;
        calls.fail(SystemCall::kWrite, ENOSPC);
        EXPECT_EQ(put(*failed, kLong), 0);
    }
    EXPECT_EQ(put(*failed, "x"), 0);
    EXPECT_EQ(failed->commit(), 0);
}

TEST_F(LinuxInPlaceFile, IsNothingNewInAFolderThatTakesNone) {
    SystemCalls calls;
    calls.fail(SystemCall::kOpen, EACCES, 1, 1);
    EXPECT_FALSE(openToWrite(folder_ / "new"));
    EXPECT_EQ(folder_.names(), (Names{"a"}));
}

TEST_F(LinuxInPlaceFile, IsWhatProcGets) {
    // The name of this thread: a regular file whose folder takes no other from anyone.
    const std::string path = "/proc/thread-self/comm";
    std::string before;
    std::getline(std::ifstream(path), before);
    auto file = openToWrite(path);
    ASSERT_TRUE(file);
    EXPECT_EQ(put(*file, "vqtest-name"), 1);
    EXPECT_EQ(file->commit(), 1);
    std::string after;
    std::getline(std::ifstream(path), after);
    EXPECT_EQ(after, "vqtest-name");
    std::ofstream(path) << before;
}

TEST_F(LinuxInPlaceFile, IsAnOpenFileReachedThroughProc) {
    // The text of such a link names a file that is gone.
    const std::string path = (folder_ / "a").string();
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    fs::remove(path);
    const auto file = openToWrite("/proc/self/fd/" + std::to_string(descriptor));
    ASSERT_TRUE(file);
    EXPECT_EQ(put(*file, "new"), 1);
    EXPECT_EQ(file->commit(), 1);
    char bytes[20];
    EXPECT_EQ(pread(descriptor, bytes, sizeof bytes, 0), 3);
    EXPECT_EQ(std::string_view(bytes, 3), "new");
    EXPECT_TRUE(folder_.names().empty());
    close(descriptor);
}

// --- Devices and pipes

TEST(LinuxInPlaceDevice, TakesEverythingThatNullTakes) {
    const auto file = openToWrite("/dev/null");
    ASSERT_TRUE(file);
    EXPECT_EQ(put(*file, "abc"), 1);
    EXPECT_EQ(put(*file, kLong), 1);
    EXPECT_EQ(file->size(), 3 + kLong.size());
    EXPECT_EQ(file->commit(), 1);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(LinuxInPlaceDevice, TellsOfAFullDeviceAtTheFirstWrite) {
    const auto file = openToWrite("/dev/full");
    ASSERT_TRUE(file);
    EXPECT_EQ(put(*file, "a"), 0);
    EXPECT_EQ(file->commit(), 0);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST(LinuxInPlaceDevice, IsReachedThroughALinkWhichStays) {
    const TemporaryFolder folder;
    fs::create_symlink("/dev/null", folder / "link");
    const auto file = openToWrite(folder / "link");
    ASSERT_TRUE(file);
    EXPECT_EQ(put(*file, "a"), 1);
    EXPECT_EQ(file->commit(), 1);
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(folder.names(), (Names{"link"}));
}

TEST(LinuxInPlacePipe, PassesEveryWriteOnAtOnce) {
    const TemporaryFolder folder;
    const std::string path = (folder / "pipe").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int end = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const auto file = openToWrite(path);
    ASSERT_TRUE(file);
    char bytes[10];
    EXPECT_EQ(put(*file, "ab"), 1);
    EXPECT_EQ(read(end, bytes, sizeof bytes), 2);
    EXPECT_EQ(put(*file, "cde"), 1);
    EXPECT_EQ(read(end, bytes, sizeof bytes), 3);
    EXPECT_EQ(file->commit(), 1) << "a pipe has nothing to sync";
    EXPECT_TRUE(fs::is_fifo(path));
    EXPECT_EQ(folder.names(), (Names{"pipe"}));
    close(end);
}

TEST(LinuxInPlacePipe, IsAnOpenOneReachedThroughProc) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    {
        const auto file = openToWrite("/proc/self/fd/" + std::to_string(ends[1]));
        ASSERT_TRUE(file);
        EXPECT_EQ(put(*file, "abc"), 1);
    }
    char bytes[10];
    EXPECT_EQ(read(ends[0], bytes, sizeof bytes), 3);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
