// Everything that the library makes when it is first asked for, asked for by many threads at once,
// each time in a process where nobody has asked before.

#include "OS/LinuxPlatform.h"
#include "Vq/PoolLog.h"
#include "Vq/System.h"
#include "Vq/VqCheck.h"
#include "Vq/VqIniFile.h"
#include "Vq/VqNamedObjects.h"

#include "VqTest/CapturedOutput.h"
#include "VqTest/ScriptedTest.h"
#include "support/FreshProcess.h"
#include "support/PoolLogTest.h"
#include "support/Threads.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace vqtest;

constexpr int kThreads = 8;

// What `ask()` gives each of the threads, which begin together.
template <class Ask> auto answersOf(Ask ask) {
    std::vector<decltype(ask())> answers(kThreads);
    onThreads(kThreads, [&](int i) { answers[static_cast<std::size_t>(i)] = ask(); });
    return answers;
}

template <class Answers> bool areAllTheSame(const Answers& answers) {
    return std::adjacent_find(answers.begin(), answers.end(), std::not_equal_to<>()) ==
           answers.end();
}

TEST(FirstUse, OfTheGlobalNamespaceMakesOne) {
    inFreshProcess([] {
        const auto answers =
            answersOf([] { return Vq::NamedObjectsNamespace::getGlobalNamespaceInstance(); });
        EXPECT_TRUE(areAllTheSame(answers));
        EXPECT_NE(answers[0], nullptr);
        // The lock that guards the making, and that of the namespace.
        EXPECT_EQ(platform().sync()->liveLocks(), 2);
    });
}

TEST(FirstUse, OfANameMakesOneObject) {
    inFreshProcess([] {
        const auto answers = answersOf([] {
            auto* const registry = Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
            return registry->findOrCreate<CriticalSection>("first use");
        });
        EXPECT_TRUE(areAllTheSame(answers));
    });
}

TEST(FirstUse, OfTheAnonymousSectionsNameMakesOne) {
    inFreshProcess([] {
        const auto answers = answersOf([] { return VqIniFile::kAnonymousSection().c_str(); });
        EXPECT_TRUE(areAllTheSame(answers));
        EXPECT_STREQ(answers[0], "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@");
    });
}

TEST(FirstUse, OfAMissingSectionMakesOneEmptyOne) {
    inFreshProcess([] {
        const VqIniFile ini(true);
        const auto answers = answersOf([&] { return &ini.getSection("missing"); });
        EXPECT_TRUE(areAllTheSame(answers));
        EXPECT_TRUE(answers[0]->empty());
    });
}

TEST(FirstUse, OfWhatModelsShareLastsThroughExitHandlersOfBefore) {
    inFreshProcess([] {
        std::atexit([] {
            const VqIniFile ini(true);
            const bool isThere =
                VqIniFile::kAnonymousSection() == "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@" &&
                ini.getSection("missing").empty();
            if (!isThere) std::_Exit(1);
        });
        const VqIniFile ini(true);
        ini.getSection(VqIniFile::kAnonymousSection());
        std::exit(0); // through the handlers: what was made last is destroyed first
    });
}

TEST(FirstUse, OfTheProcessorCountGivesAllTheSame) {
    inFreshProcess([] {
        platform().cpu()->setProcessorCount(6);
        EXPECT_EQ(answersOf([] { return Vq::CPUInfo::getNumProcessors(); }),
                  std::vector<int>(kThreads, 6));
        const Counts later = countsOf([] { Vq::CPUInfo::getNumProcessors(); });
        EXPECT_EQ(later.total(), 0);
    });
}

TEST(FirstUse, OfTimedLinesSetsTheZeroPoint) {
    inFreshProcess([] {
        platform().utils()->setNow(5000);
        CapturedOutput output;
        answersOf([] {
            Vq::LogTimed("line\n");
            return 0;
        });
        platform().utils()->advance(1500);
        Vq::LogTimed("later\n");
        std::string expected;
        for (int i = 0; i < kThreads; ++i) expected += "0.000    : line\n";
        EXPECT_EQ(output.text(), expected + "1.500    : later\n");
    });
}

TEST(FirstUse, OfThePoolLogWritesOneHeader) {
    inFreshProcess([] {
        const PoolLogFolder file;
        answersOf([] {
            Vq::PooledObjectDebug::LoggingTraitsBase("pool").dump(); // and once more when it goes
            return 0;
        });
        const std::string text = file.text();
        EXPECT_EQ(text.find(kPoolLogDashes), 0u);
        EXPECT_EQ(text.rfind(kPoolLogDashes), 0u);
        std::string lines;
        for (int i = 0; i < 2 * kThreads; ++i) lines += quietLine("pool", 0);
        EXPECT_EQ(text.substr(kPoolLogHeaderSize), lines);
    });
}

TEST(FirstUse, OfThePlatformTellsTheThreadsApart) {
    inFreshProcess([] {
        StartGate allHaveAsked(kThreads); // so that no thread takes the number of one that is gone
        std::vector<unsigned int> ids(kThreads);
        onThreads(kThreads, [&](int i) {
            ids[static_cast<std::size_t>(i)] = linuxPlatform()->sync()->currentThreadId();
            allHaveAsked.wait();
        });
        std::sort(ids.begin(), ids.end());
        EXPECT_NE(ids.front(), 0u);
        EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
    });
}

} // namespace
