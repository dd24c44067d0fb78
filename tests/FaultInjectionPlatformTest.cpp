// The services of the Linux platform for a program that builds on them with an `OS()` of its own,
// whose memory and counting fail: the n-th call of each kind refused, for every n, and all later
// ones with it.
#include "OS/LinuxPlatform.h"
#include "Vq/String.h"

#include "VqTest/ScriptedTest.h"
#include "support/FaultTable.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using Lines = std::vector<Narrow, StdAllocator<Narrow>>;

// Longer than what std::string keeps without a block.
constexpr wchar_t kLong[] = L"longer than a string's own room, by far";

using PlatformFaults = ScriptedTest;

TEST_F(PlatformFaults, OfTextLeaveNothing) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    static constexpr auto of = [](auto use) {
        return [use](const FailEach& failEach) {
            const Wide text(kLong);
            failEach([&] { use(*linuxPlatform()->utils(), text); },
                     [&] { EXPECT_EQ(text.useCount(), 1u); });
        };
    };
    expectSound({
        {"wideFromAscii", block,
         of([](iSystemUtils& utils, const Wide&) { (void)utils.wideFromAscii("text"); })},
        {"narrowFromWide", block,
         of([](iSystemUtils& utils, const Wide&) { (void)utils.narrowFromWide(kLong); })},
        {"toUTF8", block,
         of([](iSystemUtils& utils, const Wide& text) { (void)utils.toUTF8(text); })},
        {"fromUTF8", block,
         of([](iSystemUtils& utils, const Wide&) { (void)utils.fromUTF8("text", 4); })},
        {"getCallStack", block,
         [](const FailEach& failEach) {
             Lines lines = {Narrow("old")};
             failEach([&] { linuxPlatform()->utils()->getCallStack(&lines); },
                      [&] {
                          ASSERT_EQ(lines.size(), 1u);
                          EXPECT_EQ(lines[0], "old");
                      });
             EXPECT_NE(lines[0], "old");
         }},
    });
}

TEST_F(PlatformFaults, OfNamesAndLocksLeaveNothing) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    expectSound({
        {"applicationName", block,
         [](const FailEach& failEach) {
             failEach([] { (void)linuxPlatform()->fileSystem()->applicationName(); });
         }},
        {"getFolder", block,
         [](const FailEach& failEach) {
             failEach([] { (void)linuxPlatform()->folders()->getFolder(4); });
         }},
        {"createCriticalSection", block,
         [](const FailEach& failEach) {
             failEach([] { (void)linuxPlatform()->sync()->createCriticalSection(0); });
         }},
    });
}

// --- Files

class PlatformFileFaults : public ScriptedTest {
protected:
    static constexpr char kName[] = "a file with a name longer than a string's own room.ini";

    PlatformFileFaults() { folder_.put(kName, "old"); }

    Wide path(std::string_view name) const { return fromUTF8((folder_ / name).c_str()); }

    static long openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    /// Opens `path`, and expects of each failure that no descriptor, no other file and no change of
    /// the old one is left.
    auto opening(const Wide& path, int access, int disposition, int sharing) const {
        return [=, this](const FailEach& failEach) {
            const long descriptors = openDescriptors();
            const auto names = folder_.names();
            failEach(
                [&] {
                    EXPECT_TRUE(linuxPlatform()->fileSystem()->openFile(path, access, disposition,
                                                                        sharing, 0));
                },
                [&] {
                    EXPECT_EQ(openDescriptors(), descriptors);
                    EXPECT_EQ(folder_.names(), names);
                    EXPECT_EQ(folder_.content(kName), "old");
                });
            EXPECT_EQ(openDescriptors(), descriptors);
            folder_.put(kName, "old");
        };
    }

    TemporaryFolder folder_;
};

TEST_F(PlatformFileFaults, LeaveTheFileAndNoDescriptor) {
    const std::vector<Call> block = {kAllocate, kAtomicIncrement};
    std::filesystem::create_symlink(kName, folder_ / "link");
    expectSound({
        {"to read", block, opening(path(kName), 1, 0, 1)},
        {"to replace", block, opening(path(kName), 2, 3, 0)},
        {"to replace through a link", block, opening(path("link"), 2, 3, 0)},
    });
}

TEST_F(PlatformFileFaults, OfWritingInPlaceLeaveTheOldContent) {
    // An open file that lies in no folder any more: nothing can take its place.
    const int descriptor = open((folder_ / kName).c_str(), O_RDWR | O_CLOEXEC);
    std::filesystem::remove(folder_ / kName);
    const Wide path = fromUTF8(("/proc/self/fd/" + std::to_string(descriptor)).c_str());
    for (const Call call : {kAllocate, kAtomicIncrement}) {
        ASSERT_EQ(pwrite(descriptor, "old", 3, 0), 3);
        const long descriptors = openDescriptors();
        EXPECT_GT(
            forEachFailure(
                call,
                [&] { EXPECT_TRUE(linuxPlatform()->fileSystem()->openFile(path, 2, 3, 0, 0)); },
                [&] {
                    char content[4] = "";
                    EXPECT_EQ(pread(descriptor, content, 3, 0), 3) << call;
                    EXPECT_STREQ(content, "old") << call;
                    EXPECT_EQ(openDescriptors(), descriptors);
                }),
            0);
    }
    close(descriptor);
}

} // namespace
