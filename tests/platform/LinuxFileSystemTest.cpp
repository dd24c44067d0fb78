#include "OS/LinuxPlatform.h"
#include "Vq/Platform.h"
#include "platform/NoMoreAddressSpace.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Wide = LightweightString<wchar_t>;

Wide wide(std::string_view text) {
    return OS()->utils()->fromUTF8(text.data(), static_cast<int>(text.size()));
}

bool opens(const Wide& path, int access, int disposition, int sharing, int options) {
    return static_cast<bool>(
        OS()->fileSystem()->openFile(path, access, disposition, sharing, options));
}

// --- Opening

TEST(LinuxOpenFile, RefusesEveryOtherCombinationOfFlags) {
    const vqtest::TemporaryFolder folder;
    folder.put("a", "old");
    const Wide path = wide((folder / "a").string());
    const int combinations[][4] = {{0, 0, 0, 0}, {1, 0, 0, 0}, {1, 0, 1, 1},    {1, 1, 1, 0},
                                   {2, 0, 1, 0}, {2, 3, 1, 0}, {2, 3, 0, 1},    {2, 2, 0, 0},
                                   {1, 3, 0, 0}, {3, 3, 0, 0}, {-1, -1, -1, -1}};
    for (const auto& flags : combinations) {
        EXPECT_FALSE(opens(path, flags[0], flags[1], flags[2], flags[3])) << flags[0] << flags[1];
    }
    EXPECT_TRUE(opens(path, 1, 0, 1, 0));
    EXPECT_EQ(folder.content("a"), "old");
}

TEST(LinuxOpenFile, RefusesThePathThatIsEmptyOrHoldsAZeroCharacter) {
    const vqtest::TemporaryFolder folder;
    folder.put("a", "old");
    const std::string start = (folder / "a").string();
    for (const Wide& path : {Wide(), wide(start + "\0.ini"s), wide(start + "\0"s), wide("\0"sv)}) {
        EXPECT_FALSE(opens(path, 1, 0, 1, 0));
        EXPECT_FALSE(opens(path, 2, 3, 0, 0));
    }
    EXPECT_EQ(folder.content("a"), "old");
    EXPECT_EQ(folder.names().size(), 1U);
}

TEST(LinuxOpenFile, TakesPathsFromTheCurrentFolder) {
    const vqtest::TemporaryFolder folder;
    vqtest::ChildProcess child([&] {
        if (chdir(folder.path().c_str()) != 0) return 1;
        if (!opens(L"new", 2, 3, 0, 0)) return 2;
        if (!opens(L"new", 1, 0, 1, 0)) return 3;
        return opens(L"./new", 2, 3, 0, 0) ? 0 : 4;
    });
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"new"}));
}

TEST(LinuxPathSeparator, IsASlash) {
    EXPECT_EQ(OS()->fileSystem()->pathSeparator(), L'/');
}

// --- The application's name

class LinuxApplicationName : public ::testing::Test {
protected:
    ~LinuxApplicationName() override { setApplicationName(nullptr); }

    static Wide name() { return OS()->fileSystem()->applicationName(); }
};

TEST_F(LinuxApplicationName, IsThatOfTheExecutable) {
    EXPECT_EQ(name(), fs::read_symlink("/proc/self/exe").filename().wstring().c_str());
}

TEST_F(LinuxApplicationName, IsWhatWasSetLast) {
    setApplicationName("Marlin Cut");
    EXPECT_EQ(name(), L"Marlin Cut");
    setApplicationName("\xC3\x84hm");
    EXPECT_EQ(name(), L"\u00C4hm");
}

TEST_F(LinuxApplicationName, ReturnsToTheDefaultWithNullAndTheEmptyText) {
    const Wide before = name();
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        setApplicationName("other");
        setApplicationName(none);
        EXPECT_EQ(name(), before);
    }
}

TEST_F(LinuxApplicationName, IsCopiedFromTheCallersText) {
    std::string text = "mine";
    setApplicationName(text.c_str());
    text = "xxxx";
    EXPECT_EQ(name(), L"mine");
}

TEST_F(LinuxApplicationName, StaysAsItWasWhereMemoryRunsOut) {
    setApplicationName("before");
    const std::string text(std::size_t{64} << 20, 'n');
    {
        const vqtest::NoMoreAddressSpace limit;
        EXPECT_THROW(setApplicationName(text.c_str()), std::bad_alloc);
    }
    EXPECT_EQ(name(), L"before");
}

/// For a copy of this program that is started under another name: tells whether it knows that name.
constexpr char kNameProbe[] = "VQ_PLATFORM_TESTS_NAME_PROBE";

[[gnu::constructor]] void answerNameProbe() {
    if (const char* expected = std::getenv(kNameProbe)) {
        unlink(fs::read_symlink("/proc/self/exe").c_str());
        _exit(OS()->fileSystem()->applicationName() == wide(expected) ? 0 : 1);
    }
}

TEST_F(LinuxApplicationName, SurvivesTheRemovalOfTheExecutable) {
    const vqtest::TemporaryFolder folder;
    for (const char* program : {"program", "program (deleted)"}) {
        fs::copy_file("/proc/self/exe", folder / program);
        vqtest::ChildProcess child([&] {
            setenv(kNameProbe, program, 1);
            execl((folder / program).c_str(), "other", static_cast<char*>(nullptr));
            return 2;
        });
        ASSERT_TRUE(child.endsWithin(60s));
        EXPECT_EQ(child.exitCode(), 0) << program;
        EXPECT_TRUE(folder.names().empty());
    }
}

} // namespace
