// Splat callbacks. The list only grows, so each test has a process of its own.
#include "Vq/Shutdown.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/FreshProcess.h"

#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;

using Notes = std::vector<std::string>;

Notes notes;

void one(const char* text) {
    notes.push_back(std::string("one ") + text);
}

void two(const char* text) {
    notes.push_back(std::string("two ") + text);
}

static_assert(std::is_same_v<decltype(&addSplatCallback), void (*)(void (*)(const char*))>);
static_assert(std::is_same_v<decltype(&callSplatCallbacks), void (*)(const char*)>);

TEST(SplatCallbacks, DoNothingWhileThereAreNone) {
    inFreshProcess([] {
        const Counts made = countsOf([] {
            callSplatCallbacks("text");
            callSplatCallbacks(nullptr);
        });
        EXPECT_EQ(made.total(), 0) << made;
    });
}

TEST(SplatCallbacks, GetTheTextInOrderOfRegistration) {
    inFreshProcess([] {
        addSplatCallback(two);
        addSplatCallback(one);
        EXPECT_EQ(notes, Notes{}) << "nothing is called yet";
        callSplatCallbacks("text");
        EXPECT_EQ(notes, (Notes{"two text", "one text"}));
    });
}

TEST(SplatCallbacks, GetTheCallersPointerItself) {
    inFreshProcess([] {
        static const char* seen = nullptr;
        addSplatCallback(+[](const char* text) { seen = text; });
        const char text[] = "text";
        callSplatCallbacks(text);
        EXPECT_EQ(seen, text);
        callSplatCallbacks(nullptr);
        EXPECT_EQ(seen, nullptr);
    });
}

TEST(SplatCallbacks, AreCalledAsOftenAsTheyAreRegistered) {
    inFreshProcess([] {
        addSplatCallback(one);
        addSplatCallback(two);
        addSplatCallback(one);
        callSplatCallbacks("x");
        EXPECT_EQ(notes, (Notes{"one x", "two x", "one x"}));
    });
}

TEST(SplatCallbacks, StayRegistered) {
    inFreshProcess([] {
        addSplatCallback(one);
        callSplatCallbacks("1");
        callSplatCallbacks("2");
        addSplatCallback(two);
        callSplatCallbacks("3");
        EXPECT_EQ(notes, (Notes{"one 1", "one 2", "one 3", "two 3"}));
    });
}

TEST(SplatCallbacks, ThatAreNullAreIgnored) {
    inFreshProcess([] {
        const Counts made = countsOf([] { addSplatCallback(nullptr); });
        EXPECT_EQ(made.total(), 0) << made;
        addSplatCallback(one);
        addSplatCallback(nullptr);
        callSplatCallbacks("x");
        EXPECT_EQ(notes, (Notes{"one x"}));
    });
}

TEST(SplatCallbacks, AppendedDuringTheWalkAreCalledInIt) {
    inFreshProcess([] {
        // Enough of them that the list moves several times under the walk.
        addSplatCallback(+[](const char*) {
            for (int i = 0; i < 100; ++i) addSplatCallback(two);
        });
        addSplatCallback(one);
        callSplatCallbacks("x");
        Notes expected{"one x"};
        expected.insert(expected.end(), 100, "two x");
        EXPECT_EQ(notes, expected);
    });
}

TEST(SplatCallbacks, AppendedByTheLastOneAreCalledToo) {
    inFreshProcess([] {
        static int left = 5;
        static void (*appendsItself)(const char*) = nullptr;
        appendsItself = +[](const char* text) {
            one(text);
            if (--left > 0) addSplatCallback(appendsItself);
        };
        addSplatCallback(appendsItself);
        callSplatCallbacks("x");
        EXPECT_EQ(notes, Notes(5, "one x"));
    });
}

TEST(SplatCallbacks, MayCallThemAllAgain) {
    inFreshProcess([] {
        addSplatCallback(one);
        addSplatCallback(+[](const char* text) {
            if (std::string(text) == "outer") callSplatCallbacks("inner");
        });
        addSplatCallback(two);
        callSplatCallbacks("outer");
        EXPECT_EQ(notes, (Notes{"one outer", "one inner", "two inner", "two outer"}));
    });
}

TEST(SplatCallbacks, BehindOneThatThrowsAreNotCalledThisTime) {
    inFreshProcess([] {
        static bool throws = true;
        addSplatCallback(one);
        addSplatCallback(+[](const char*) {
            if (throws) throw 1;
        });
        addSplatCallback(two);
        EXPECT_THROW(callSplatCallbacks("1"), int);
        EXPECT_EQ(notes, (Notes{"one 1"}));
        throws = false;
        callSplatCallbacks("2");
        EXPECT_EQ(notes, (Notes{"one 1", "one 2", "two 2"}));
    });
}

TEST(SplatCallbacks, AreAsTheyWereWhereMemoryRunsOut) {
    inFreshProcess([] {
        addSplatCallback(one);
        int refused = 0;
        int registered = 1;
        for (int i = 0; i < 40; ++i, ++registered) {
            refused += forEachFailingAllocation([] { addSplatCallback(one); }, [] {});
        }
        EXPECT_GE(refused, 3) << "the list grew in between";
        callSplatCallbacks("x");
        EXPECT_EQ(notes, Notes(static_cast<std::size_t>(registered), "one x"));
    });
}

TEST(SplatCallbacks, HaveNothingToDoWithTheExit) {
    inFreshProcess([] {
        addSplatCallback(one);
        Shutdown::addCallback(
            +[](Shutdown::eExitType) { notes.push_back("exit"); }, 0);
        callSplatCallbacks("x");
        EXPECT_FALSE(Shutdown::isExiting());
        Shutdown::executeCallbacks(Shutdown::eExitType(0));
        EXPECT_EQ(notes, (Notes{"one x", "exit"}));
        callSplatCallbacks("y");
        EXPECT_EQ(notes.back(), "one y");
    });
}

} // namespace
