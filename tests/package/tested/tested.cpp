// Tests of a client's code, on an installed library and its platform for tests.
#include "Vq/CriticalSection.h"
#include "Vq/VqCheck.h"
#include "Vq/VqIniFile.h"
#include "VqTest/CapturedOutput.h"
#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"

#include <string>

namespace {

using vqtest::platform;
using enum vqtest::Call;

/// The code under test: the width that the settings ask for, 1280 where they say nothing.
int widthOf(const LightweightString<wchar_t>& path) {
    VqIniFile settings(/*caseSensitive*/ true);
    if (!settings.load(path, '\n')) return 1280;
    for (const Vq::AttribValuePair& pair : settings["Video"]) {
        if (pair.name() == "Width") return std::stoi(pair.value().c_str());
    }
    return 1280;
}

using Client = vqtest::ScriptedTest;

TEST_F(Client, ReadsAFileInMemory) {
    mayLeaveBlocks(); // the first load makes the name of the anonymous section, for good
    platform().fileSystem()->put(L"/settings.ini", "[Video]\nWidth=1920\n");
    EXPECT_EQ(widthOf(L"/settings.ini"), 1920);
    ASSERT_EQ(platform().fileSystem()->requests().size(), 1u);
}

TEST_F(Client, MeetsAFileThatCannotBeRead) {
    platform().fileSystem()->put(L"/settings.ini", "[Video]\nWidth=1920\n");
    platform().calls().fail(kRead);
    EXPECT_EQ(widthOf(L"/settings.ini"), 1280);
    EXPECT_TRUE(platform().calls().hasFailed(kRead));
}

TEST_F(Client, MeetsEveryRefusedAllocation) {
    platform().fileSystem()->put(L"/settings.ini", "[Video]\nWidth=1920\n");
    const LightweightString<wchar_t> path = L"/settings.ini";
    const int blocks = vqtest::forEachFailingAllocation([&] { return widthOf(path); }, [] {});
    EXPECT_GT(blocks, 0);
}

TEST_F(Client, CountsWhatIsAskedOfTheMachine) {
    const LightweightString<char> text = "Harbour";
    const vqtest::Counts made =
        vqtest::countsOf([&] { const LightweightString<char> copy = text; });
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made[kAtomicDecrement], 1);
    EXPECT_EQ(made.total(), 2);
}

TEST_F(Client, SeesTheTimeInLogLines) {
    vqtest::CapturedOutput output;
    platform().utils()->setNow(1500);
    Vq::LogTimed("first\n");
    platform().utils()->advance(250);
    Vq::LogTimed("second\n");
    EXPECT_NE(output.text().find("\n0.250    : second\n"), std::string::npos);
}

TEST_F(Client, LocksAreGoneAtTheEnd) {
    const long before = platform().sync()->liveLocks();
    {
        CriticalSection lock;
        EXPECT_EQ(platform().sync()->liveLocks(), before + 1);
    }
    EXPECT_EQ(platform().sync()->liveLocks(), before);
}

} // namespace
