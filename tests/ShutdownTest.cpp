// Exit callbacks: registration, order, removal, what is shared, what remains when one throws.
#include "Vq/Shutdown.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/NotingCallback.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using Shutdown::Callback;
using Shutdown::CallbackItem;
using Shutdown::eExitType;
using enum vqtest::Call;

using CallbackPtr = Vq::Ptr<Callback>;

constexpr eExitType kExit{3};

static_assert(std::is_same_v<std::underlying_type_t<eExitType>, int>);
static_assert(std::is_same_v<Callback, iCallbackBase<void, eExitType>>);
static_assert(std::is_base_of_v<iObject, Callback> && std::is_convertible_v<Callback*, iObject*>);
static_assert(std::is_abstract_v<Callback> && std::has_virtual_destructor_v<Callback>);
static_assert(std::is_base_of_v<Callback, Shutdown::FunctionCallback>);
static_assert(std::is_same_v<
              decltype(CallbackItem::callback_),
              Vq::Ptr<iCallbackBase<void, eExitType>, Vq::DtorTraits, Vq::InternalRefCountTraits>>);
static_assert(std::is_same_v<decltype(CallbackItem::priority_), unsigned int>);
static_assert(std::is_same_v<decltype(CallbackItem::sequence_), unsigned int>);
static_assert(offsetof(CallbackItem, callback_) == 0);
static_assert(offsetof(CallbackItem, priority_) == 16);
static_assert(offsetof(CallbackItem, sequence_) == 20);
static_assert(std::is_same_v<decltype(Shutdown::exiting), bool>);

/// Where the plain functions of these tests note their calls.
Notes* functionNotes = nullptr;

void one(eExitType type) {
    functionNotes->push_back("one " + std::to_string(type));
}

void two(eExitType type) {
    functionNotes->push_back("two " + std::to_string(type));
}

/// The process's list, empty before and after.
class ShutdownCallbacks : public ScriptedTest {
protected:
    ShutdownCallbacks() { functionNotes = &notes_; }
    ~ShutdownCallbacks() override {
        Shutdown::shutdownCallbacks_.clear();
        functionNotes = nullptr;
    }

    CallbackPtr noting(const char* name) { return vqtest::noting(notes_, name); }

    Notes notes_;
};

// --- Order

TEST_F(ShutdownCallbacks, RunByPriorityAndThenAsRegistered) {
    const CallbackPtr a = noting("first 5");
    const CallbackPtr b = noting("0");
    const CallbackPtr c = noting("second 5");
    const CallbackPtr d = noting("2");
    Shutdown::addCallback(a, 5);
    Shutdown::addCallback(b, 0);
    Shutdown::addCallback(c, 5);
    Shutdown::addCallback(d, 2);
    EXPECT_EQ(notes_, Notes{}) << "nothing runs yet";
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"0", "2", "first 5", "second 5"}));
}

TEST_F(ShutdownCallbacks, MixFunctionsAndObjectsInOneOrder) {
    const CallbackPtr object = noting("object");
    Shutdown::addCallback(one, 1);
    Shutdown::addCallback(object, 1);
    Shutdown::addCallback(two, 1);
    Shutdown::addCallback(one, 0);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"one 3", "one 3", "object", "two 3"}));
}

TEST_F(ShutdownCallbacks, TakePrioritiesAsUnsigned) {
    const CallbackPtr last = noting("last");
    const CallbackPtr middle = noting("middle");
    const CallbackPtr first = noting("first");
    Shutdown::addCallback(last, 0xFFFFFFFFu);
    Shutdown::addCallback(middle, 0x80000000u);
    Shutdown::addCallback(first, 0x7FFFFFFFu);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "middle", "last"}));
}

TEST_F(ShutdownCallbacks, RunInStableOrderOfAnyPriorities) {
    std::mt19937 random(11);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::pair<unsigned int, std::string>> expected;
        std::vector<CallbackPtr> held;
        for (int i = 0; i < 60; ++i) {
            const auto priority = static_cast<unsigned int>(random() % 7);
            expected.emplace_back(priority, std::to_string(i));
            held.push_back(noting(expected.back().second.c_str()));
            Shutdown::addCallback(held.back(), priority);
        }
        std::ranges::stable_sort(expected, {}, [](const auto& entry) { return entry.first; });
        notes_.clear();
        Shutdown::executeCallbacks(kExit);
        Notes inOrder;
        for (const auto& entry : expected) inOrder.push_back(entry.second);
        ASSERT_EQ(notes_, inOrder);
    }
}

// --- What runs

TEST_F(ShutdownCallbacks, GetTheExitTypeUnchanged) {
    for (const int number :
         {0, 1, -1, 12345, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        int seen = 99;
        const CallbackPtr object =
            vqtest::noting(notes_, "", [&seen](eExitType type) { seen = type; });
        Shutdown::addCallback(object, 0);
        Shutdown::addCallback(one, 1);
        Shutdown::executeCallbacks(eExitType(number));
        EXPECT_EQ(seen, number);
        EXPECT_EQ(notes_.back(), "one " + std::to_string(number));
    }
}

TEST_F(ShutdownCallbacks, RunOnceAndAreForgotten) {
    const CallbackPtr a = noting("a");
    const CallbackPtr b = noting("b");
    Shutdown::addCallback(a, 5);
    Shutdown::executeCallbacks(kExit);
    Shutdown::addCallback(b, 5);
    Shutdown::executeCallbacks(kExit);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"a", "b"}));
}

TEST_F(ShutdownCallbacks, RunAsOftenAsTheyAreRegistered) {
    const CallbackPtr a = noting("a");
    Shutdown::addCallback(a, 1);
    Shutdown::addCallback(a, 1);
    Shutdown::addCallback(a, 0);
    Shutdown::addCallback(one, 2);
    Shutdown::addCallback(one, 2);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"a", "a", "a", "one 3", "one 3"}));
}

TEST_F(ShutdownCallbacks, ThatAreNullAreIgnored) {
    void (*const noFunction)(eExitType) = nullptr;
    const Counts made = countsOf([&] {
        Shutdown::addCallback(noFunction, 1);
        Shutdown::addCallback(CallbackPtr(), 1);
        Shutdown::removeCallback(CallbackPtr());
    });
    EXPECT_EQ(made.total(), 0) << made;
    Shutdown::addCallback(one, 2);
    Shutdown::removeCallback(CallbackPtr());
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"one 3"}));
}

TEST_F(ShutdownCallbacks, CostThePlatformNothingWhileThereAreNone) {
    const Counts made = countsOf([] {
        Shutdown::executeCallbacks(kExit);
        EXPECT_TRUE(Shutdown::isExiting());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

// --- Sharing

TEST_F(ShutdownCallbacks, AreSharedUntilTheyHaveRun) {
    const CallbackPtr a = noting("a");
    Shutdown::addCallback(a, 1);
    EXPECT_EQ(a.useCount(), 2);
    Shutdown::addCallback(a, 2);
    EXPECT_EQ(a.useCount(), 3);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(a.useCount(), 1);
}

TEST_F(ShutdownCallbacks, AreDestroyedAfterTheirRunAndBeforeTheNext) {
    Shutdown::addCallback(noting("a"), 1);
    Shutdown::addCallback(noting("b"), 2);
    const CallbackPtr kept = noting("kept");
    Shutdown::addCallback(kept, 3);
    Shutdown::addCallback(noting("c"), 4);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"a", "~a", "b", "~b", "kept", "c", "~c"}));
}

TEST_F(ShutdownCallbacks, OfFunctionsLeaveNothingBehind) {
    const long blocks = platform().memory()->liveBlocks();
    notes_.reserve(8);
    const long blocksOfNotes = platform().memory()->liveBlocks() - blocks;
    Shutdown::addCallback(one, 1);
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks + blocksOfNotes + 2) << "wrapper and item";
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"one 3"}));
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks + blocksOfNotes);
}

// --- Removal

TEST_F(ShutdownCallbacks, DoNotRunOnceRemoved) {
    const CallbackPtr a = noting("a");
    const CallbackPtr b = noting("b");
    Shutdown::addCallback(a, 1);
    Shutdown::addCallback(b, 1);
    Shutdown::removeCallback(a);
    EXPECT_EQ(a.useCount(), 1);
    EXPECT_EQ(b.useCount(), 2);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"b"}));
}

TEST_F(ShutdownCallbacks, AreRemovedByObjectThroughAnyHandle) {
    const Vq::Ptr<NotingCallback> a = new NotingCallback(notes_, "a", {});
    Shutdown::addCallback(CallbackPtr(a), 1);
    Shutdown::removeCallback(CallbackPtr(a.get()));
    EXPECT_EQ(a.useCount(), 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, Notes{});
}

TEST_F(ShutdownCallbacks, AddedTwiceLoseTheOneThatWouldRunFirst) {
    const CallbackPtr a = noting("a");
    const CallbackPtr between = noting("between");
    // The later registration would run first.
    Shutdown::addCallback(a, 3);
    Shutdown::addCallback(between, 2);
    Shutdown::addCallback(a, 1);
    Shutdown::removeCallback(a);
    EXPECT_EQ(a.useCount(), 2);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"between", "a"}));
}

TEST_F(ShutdownCallbacks, AddedTwiceAtOnePriorityLoseTheEarlier) {
    const CallbackPtr a = noting("a");
    const CallbackPtr between = noting("between");
    Shutdown::addCallback(a, 1);
    Shutdown::addCallback(between, 1);
    Shutdown::addCallback(a, 1);
    Shutdown::removeCallback(a);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"between", "a"}));
}

TEST_F(ShutdownCallbacks, AreLeftAloneByTheRemovalOfAnother) {
    const CallbackPtr a = noting("a");
    const CallbackPtr stranger = noting("stranger");
    Shutdown::addCallback(a, 1);
    Shutdown::removeCallback(stranger);
    Shutdown::removeCallback(stranger);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"a"}));
    Shutdown::removeCallback(a);
    EXPECT_EQ(a.useCount(), 1);
}

TEST_F(ShutdownCallbacks, OfFunctionsCannotBeRemoved) {
    Shutdown::addCallback(one, 1);
    const CallbackPtr same = new Shutdown::FunctionCallback(one);
    Shutdown::removeCallback(same);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"one 3"}));
}

// --- Exceptions

TEST_F(ShutdownCallbacks, BehindOneThatThrowsWaitForTheNextTime) {
    Shutdown::addCallback(noting("before"), 1);
    Shutdown::addCallback(
        vqtest::noting(notes_, "throws", [](eExitType) { throw std::runtime_error("no"); }), 2);
    const CallbackPtr behind = noting("behind");
    Shutdown::addCallback(behind, 3);
    Shutdown::addCallback(one, 4);
    EXPECT_THROW(Shutdown::executeCallbacks(kExit), std::runtime_error);
    EXPECT_EQ(notes_, (Notes{"before", "~before", "throws", "~throws"}));
    EXPECT_EQ(behind.useCount(), 2);
    EXPECT_TRUE(Shutdown::isExiting());

    notes_.clear();
    Shutdown::addCallback(two, 0);
    Shutdown::executeCallbacks(eExitType(4));
    EXPECT_EQ(notes_, (Notes{"two 4", "behind", "one 4"}));
}

TEST_F(ShutdownCallbacks, LetOutWhateverIsThrown) {
    Shutdown::addCallback(
        +[](eExitType type) { throw static_cast<int>(type); }, 1);
    try {
        Shutdown::executeCallbacks(kExit);
        ADD_FAILURE() << "nothing came out";
    } catch (int thrown) {
        EXPECT_EQ(thrown, 3);
    }
}

// --- Memory

TEST_F(ShutdownCallbacks, AreAsTheyWereWhereMemoryRunsOut) {
    const CallbackPtr waiting = noting("waiting");
    const CallbackPtr added = noting("added");
    Shutdown::addCallback(waiting, 2);
    EXPECT_EQ(forEachFailingAllocation([&] { Shutdown::addCallback(added, 1); },
                                       [&] {
                                           EXPECT_EQ(added.useCount(), 1);
                                           EXPECT_EQ(waiting.useCount(), 2);
                                       }),
              1);
    EXPECT_EQ(forEachFailingAllocation([] { Shutdown::addCallback(one, 3); },
                                       [&] { EXPECT_EQ(waiting.useCount(), 2); }),
              2);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"added", "waiting", "one 3"}));
}

TEST_F(ShutdownCallbacks, AreAsTheyWereWhereCountingFails) {
    const CallbackPtr added = noting("added");
    for (int nth = 1; nth <= 2; ++nth) {
        const long blocks = platform().memory()->liveBlocks();
        platform().calls().fail(kAtomicIncrement, nth);
        EXPECT_THROW(Shutdown::addCallback(added, 1), std::bad_alloc) << nth;
        platform().calls().succeed(kAtomicIncrement);
        EXPECT_EQ(added.useCount(), 1);
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
    }
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, Notes{});
}

} // namespace
