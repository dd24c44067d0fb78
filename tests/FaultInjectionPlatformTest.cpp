// The services of the Linux platform for a program that builds on them with an `OS()` of its own,
// whose memory and counting fail: the n-th call of each kind refused, for every n, and all later
// ones with it.
#include "OS/LinuxPlatform.h"
#include "Vq/String.h"

#include "support/FaultTable.h"
#include "support/ScriptedTest.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

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

TEST_F(PlatformFileFaults, OfOpeningLeaveTheFileAndNoDescriptor) {
    expectSound({{"to read", {kAllocate, kAtomicIncrement}, opening(path(kName), 1, 0, 1)}});
    std::filesystem::create_symlink(kName, folder_ / "link");
    for (const char* name : {kName, "link", "new"}) {
        int failures = 0;
        opening(path(name), 2, 3, 0)(FailEach(kAllocate, failures));
        EXPECT_GT(failures, 0) << name;
    }
}

} // namespace
