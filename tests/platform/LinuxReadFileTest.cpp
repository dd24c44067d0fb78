#include "Vq/Platform.h"
#include "platform/SystemCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vqtest;
namespace fs = std::filesystem;

LightweightString<wchar_t> wide(const fs::path& path) {
    const std::string& text = path.native();
    return OS()->utils()->fromUTF8(text.data(), static_cast<int>(text.size()));
}

Vq::Ptr<iFile> openToRead(const fs::path& path) {
    return OS()->fileSystem()->openFile(wide(path), 1, 0, 1, 0);
}

class LinuxReadFile : public ::testing::Test {
protected:
    /// The next bytes of the file, "(failed)" when it does not give that many.
    static std::string next(iFile& file, unsigned int bytes) {
        std::string text(bytes, '?');
        return file.read(text.data(), bytes) != 0 ? text : "(failed)";
    }

    TemporaryFolder folder_;
};

TEST_F(LinuxReadFile, GivesTheBytesInOrder) {
    folder_.put("a", std::string("abc\0\xFF\r\nxyz", 10));
    const auto file = openToRead(folder_ / "a");
    ASSERT_TRUE(file);
    EXPECT_EQ(file.useCount(), 1);
    EXPECT_EQ(file->size(), 10U);
    EXPECT_EQ(next(*file, 4), std::string("abc\0", 4));
    EXPECT_EQ(next(*file, 0), "");
    EXPECT_EQ(next(*file, 6), "\xFF\r\nxyz");
    EXPECT_EQ(next(*file, 0), "");
    EXPECT_EQ(next(*file, 1), "(failed)");
}

TEST_F(LinuxReadFile, FailsWhenThereAreFewerBytesThanWanted) {
    folder_.put("a", "abc");
    EXPECT_EQ(next(*openToRead(folder_ / "a"), 4), "(failed)");
}

TEST_F(LinuxReadFile, SeesAFileGrow) {
    folder_.put("a", "abc");
    const auto file = openToRead(folder_ / "a");
    EXPECT_EQ(file->size(), 3U);
    folder_.put("a", "abcdef");
    EXPECT_EQ(file->size(), 6U);
    EXPECT_EQ(next(*file, 6), "abcdef");
}

TEST_F(LinuxReadFile, TakesInterruptionsAndPieces) {
    folder_.put("a", "abcdefgh");
    const auto file = openToRead(folder_ / "a");
    SystemCalls calls;
    calls.limitPieces(3);
    calls.fail(SystemCall::kRead, EINTR, 2, 1);
    EXPECT_EQ(next(*file, 8), "abcdefgh");
    EXPECT_EQ(calls.order(), "rrrrr");
}

TEST_F(LinuxReadFile, FailsWithTheDisk) {
    folder_.put("a", "abcdefgh");
    const auto file = openToRead(folder_ / "a");
    SystemCalls calls;
    calls.limitPieces(3);
    calls.fail(SystemCall::kRead, EIO, 1, 1);
    EXPECT_EQ(next(*file, 8), "(failed)");
}

TEST_F(LinuxReadFile, IsOpenedInSpiteOfAnInterruption) {
    folder_.put("a", "abc");
    SystemCalls calls;
    calls.fail(SystemCall::kOpen, EINTR, 2);
    EXPECT_TRUE(openToRead(folder_ / "a"));
}

TEST_F(LinuxReadFile, TakesNoWrite) {
    folder_.put("a", "abc");
    const auto file = openToRead(folder_ / "a");
    EXPECT_EQ(file->write("x", 1), 0);
    EXPECT_EQ(file->write("", 0), 0);
    EXPECT_EQ(folder_.content("a"), "abc");
    EXPECT_EQ(next(*file, 3), "abc");
}

TEST_F(LinuxReadFile, FollowsLinks) {
    folder_.put("a", "abc");
    fs::create_symlink("a", folder_ / "link");
    EXPECT_EQ(next(*openToRead(folder_ / "link"), 3), "abc");
}

TEST_F(LinuxReadFile, IsNotThereForWhatDoesNotExistAndForFolders) {
    fs::create_symlink("nothing", folder_ / "link");
    EXPECT_FALSE(openToRead(folder_ / "nothing"));
    EXPECT_FALSE(openToRead(folder_ / "link"));
    EXPECT_FALSE(openToRead(folder_.path()));
    EXPECT_FALSE(openToRead(folder_.path() / ""));
    EXPECT_TRUE(folder_.names().count("nothing") == 0);
}

TEST_F(LinuxReadFile, ReadsDevicesAndPipesWhichHaveNoSize) {
    const auto zeros = openToRead("/dev/zero");
    ASSERT_TRUE(zeros);
    EXPECT_EQ(zeros->size(), 0U);
    EXPECT_EQ(next(*zeros, 5), std::string(5, '\0'));

    ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
    std::thread writer([&] {
        // In pieces, so that the reader has to wait for the rest.
        const int end = open((folder_ / "pipe").c_str(), O_WRONLY | O_CLOEXEC);
        for (const char* piece : {"ab", "cd", "ef"}) EXPECT_EQ(::write(end, piece, 2), 2);
        close(end);
    });
    const auto pipe = openToRead(folder_ / "pipe");
    ASSERT_TRUE(pipe);
    EXPECT_EQ(pipe->size(), 0U);
    EXPECT_EQ(next(*pipe, 5), "abcde");
    EXPECT_EQ(next(*pipe, 5), "(failed)");
    writer.join();
}

TEST_F(LinuxReadFile, IsNotInheritedByOtherPrograms) {
    folder_.put("a", "abc");
    const auto file = openToRead(folder_ / "a");
    bool found = false;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(entry, gone) != folder_ / "a") continue;
        found = true;
        const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
        EXPECT_NE(flags & FD_CLOEXEC, 0);
    }
    EXPECT_TRUE(found);
}

} // namespace
