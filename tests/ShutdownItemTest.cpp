// The parts of the exit callbacks: callable objects, items with their numbers, lists of them.
#include "Vq/Shutdown.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedTest.h"
#include "support/NotingCallback.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <set>

namespace {

using namespace vqtest;
using Shutdown::Callback;
using Shutdown::CallbackItem;
using Shutdown::CallbackItemList;
using Shutdown::eExitType;

using CallbackPtr = Vq::Ptr<Callback>;

constexpr eExitType kExit{3};

int lastSeen = 0;

void see(eExitType type) {
    lastSeen = type;
}

class ShutdownItem : public ScriptedTest {
protected:
    Notes notes_;
};

/// A list beside the process's.
class ShutdownList : public ShutdownItem {
protected:
    /// An item with the given keys.
    CallbackItem item(const char* name, unsigned int priority, unsigned int sequence) {
        CallbackItem made(noting(notes_, name), priority);
        made.sequence_ = sequence;
        return made;
    }

    CallbackItemList list_;
};

// --- Callables

/// A pointer to a virtual function is one more than its offset in the table.
template <class Member> unsigned long slotOf(Member member) {
    unsigned long words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
    EXPECT_EQ(words[0] % sizeof(void*), 1u) << "not virtual";
    return words[0] / sizeof(void*);
}

TEST_F(ShutdownItem, ExecuteComesBehindTheTwoDestructorsInTheTable) {
    EXPECT_EQ(slotOf(&Callback::execute), 2u);
    EXPECT_EQ(slotOf(&Shutdown::FunctionCallback::execute), 2u);
}

TEST_F(ShutdownItem, HasAFunctionBehindItsTable) {
    const Shutdown::FunctionCallback callback(see);
    void (*function)(eExitType) = nullptr;
    std::memcpy(&function, reinterpret_cast<const char*>(&callback) + sizeof(void*),
                sizeof function);
    EXPECT_EQ(function, see);
}

TEST_F(ShutdownItem, CallsTheFunctionWithTheExitType) {
    const Vq::Ptr<Shutdown::FunctionCallback> callback = new Shutdown::FunctionCallback(see);
    for (const int number : {0, 7, -7, std::numeric_limits<int>::min()}) {
        lastSeen = 1;
        callback->execute(eExitType(number));
        EXPECT_EQ(lastSeen, number);
    }
    EXPECT_EQ(callback.useCount(), 1);
}

TEST_F(ShutdownItem, OfNoFunctionDoesNothing) {
    Shutdown::FunctionCallback(nullptr).execute(kExit);
    CallbackItem(nullptr, 3).callback_->execute(kExit);
}

TEST_F(ShutdownItem, ServesOtherResultsAndArgumentsToo) {
    struct Doubler : iCallbackBase<long, int> {
        long execute(const int& argument) override { return 2l * argument; }
    };
    const Vq::Ptr<iCallbackBase<long, int>> callback = new Doubler;
    EXPECT_EQ(callback->execute(21), 42);
}

// --- Items

TEST_F(ShutdownItem, SharesItsCallableAndKeepsThePriority) {
    const CallbackPtr callback = noting(notes_, "a");
    const CallbackItem item(callback, 0xFFFFFFF0u);
    EXPECT_EQ(item.callback_, callback);
    EXPECT_EQ(callback.useCount(), 2);
    EXPECT_EQ(item.priority_, 0xFFFFFFF0u);
    const CallbackItem copy(item);
    EXPECT_EQ(callback.useCount(), 3);
    EXPECT_EQ(copy.priority_, item.priority_);
    EXPECT_EQ(copy.sequence_, item.sequence_) << "only a new registration takes a new number";
}

TEST_F(ShutdownItem, WrapsAFunctionInACallableOfItsOwn) {
    const CallbackItem item(see, 9);
    const CallbackItem another(see, 9);
    ASSERT_TRUE(item.callback_);
    EXPECT_EQ(item.callback_.useCount(), 1);
    EXPECT_NE(item.callback_, another.callback_);
    EXPECT_EQ(item.priority_, 9u);
    EXPECT_NE(dynamic_cast<Shutdown::FunctionCallback*>(item.callback_.get()), nullptr);
    item.callback_->execute(eExitType(55));
    EXPECT_EQ(lastSeen, 55);
    EXPECT_EQ(forEachFailingAllocation([] { CallbackItem(see, 9); }, [] {}), 1);
}

TEST_F(ShutdownItem, TakesTheNextNumberOfTheProcess) {
    const CallbackPtr callback = noting(notes_, "a");
    const CallbackItem first(callback, 5);
    const CallbackItem second(see, 1);
    CallbackItem third(callback, 5);
    EXPECT_EQ(second.sequence_, first.sequence_ + 1);
    EXPECT_EQ(third.sequence_, first.sequence_ + 2);
    third.init();
    EXPECT_EQ(third.sequence_, first.sequence_ + 3);
    EXPECT_EQ(third.priority_, 5u);
    EXPECT_EQ(Shutdown::shutdownCallbacks_.nextSequence_, first.sequence_ + 4);
    Shutdown::addCallback(callback, 5);
    EXPECT_EQ(Shutdown::shutdownCallbacks_.nextSequence_, first.sequence_ + 5);
    EXPECT_EQ(CallbackItem(callback, 5).sequence_, first.sequence_ + 5);
    Shutdown::removeCallback(callback);
}

/// Registered while static objects are made, before anything else of this program could be.
const unsigned int firstNumber = CallbackItem(see, 7).sequence_;

TEST_F(ShutdownItem, NumbersStartAtZeroWithTheFirstStaticObject) {
    EXPECT_EQ(firstNumber, 0u);
    EXPECT_EQ(CallbackItemList().nextSequence_, 0u);
}

TEST_F(ShutdownList, HasTheNumberBehindTheItems) {
    const auto* const number = reinterpret_cast<const char*>(&list_.nextSequence_);
    EXPECT_EQ(number - reinterpret_cast<const char*>(&list_),
              static_cast<std::ptrdiff_t>(sizeof(std::set<CallbackItem>)));
}

TEST_F(ShutdownList, OrdersItemsByPriorityAndThenByNumber) {
    const CallbackItem a = item("a", 1, 0xFFFFFFFFu);
    const CallbackItem b = item("b", 2, 5);
    const CallbackItem c = item("c", 2, 6);
    const CallbackItem d = item("d", 0x80000000u, 0);
    const CallbackItem* const inOrder[] = {&a, &b, &c, &d};
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t k = 0; k < 4; ++k) {
            EXPECT_EQ(*inOrder[i] < *inOrder[k], i < k) << i << " and " << k;
        }
    }
    EXPECT_FALSE(b < item("other", 2, 5)) << "the callable does not count";
    EXPECT_FALSE(item("other", 2, 5) < b);
}

// --- Lists

TEST_F(ShutdownList, AddsACopyThatSharesTheCallable) {
    CallbackItem added = item("added", 1, 1);
    const CallbackPtr callback = added.callback_;
    list_.add(added);
    EXPECT_EQ(callback.useCount(), 3);
    added.priority_ = 9;
    added.callback_.reset();
    EXPECT_EQ(callback.useCount(), 2);
    list_.add(item("second", 2, 1));
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"added", "second", "~second"})) << "the copy kept its priority";
}

TEST_F(ShutdownList, AddsNoItemWithBothKeysOfOneThatIsThere) {
    const CallbackItem first = item("first", 1, 7);
    const CallbackItem same = item("same", 1, 7);
    list_.add(first);
    list_.add(same);
    list_.add(first);
    EXPECT_EQ(first.callback_.useCount(), 2);
    EXPECT_EQ(same.callback_.useCount(), 1);
    list_.add(item("other priority", 2, 7));
    list_.add(item("other number", 1, 8));
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "other number", "~other number", "other priority",
                             "~other priority"}));
    notes_.clear();
    list_.add(same);
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"same"})) << "the keys are free again";
}

TEST_F(ShutdownList, AddsNoItemWithoutACallable) {
    const CallbackItem none(CallbackPtr(), 0);
    const Counts made = countsOf([&] { list_.add(none); });
    EXPECT_EQ(made.total(), 0) << made;
    list_.add(item("a", 1, 1));
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"a", "~a"}));
}

TEST_F(ShutdownList, RemovesTheFirstItemOfACallable) {
    const CallbackPtr a = noting(notes_, "a");
    CallbackItem early(a, 1);
    CallbackItem late(a, 8);
    list_.add(late);
    list_.add(item("between", 4, 0));
    list_.add(early);
    list_.remove(a);
    EXPECT_EQ(a.useCount(), 4) << "both items and one copy";
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"between", "~between", "a"}));
    list_.remove(a);
    list_.remove(CallbackPtr());
    EXPECT_EQ(a.useCount(), 3);
}

TEST_F(ShutdownList, IsEmptyAfterItsRunAndTakesMore) {
    list_.add(item("a", 1, 1));
    list_.execute(kExit);
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"a", "~a"}));
    list_.add(item("b", 1, 1));
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"a", "~a", "b", "~b"}));
}

TEST_F(ShutdownList, KeepsTheRestWhereOneThrows) {
    list_.add(CallbackItem(noting(notes_, "throws", [](eExitType) { throw 1; }), 1));
    list_.add(item("rest", 2, 0));
    EXPECT_THROW(list_.execute(kExit), int);
    EXPECT_EQ(notes_, (Notes{"throws", "~throws"}));
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"throws", "~throws", "rest", "~rest"}));
}

TEST_F(ShutdownList, IsAsItWasWhereMemoryRunsOut) {
    const CallbackItem there = item("there", 1, 1);
    const CallbackItem added = item("added", 2, 2);
    list_.add(there);
    const int failures = forEachFailingAllocation([&] { list_.add(added); },
                                                  [&] {
                                                      EXPECT_EQ(there.callback_.useCount(), 2);
                                                      EXPECT_EQ(added.callback_.useCount(), 1);
                                                  });
    EXPECT_EQ(failures, 1);
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"there", "added"}));
}

TEST_F(ShutdownList, ReleasesWithoutRunningWhenItGoes) {
    {
        CallbackItemList local;
        local.add(item("a", 1, 1));
        local.add(item("b", 2, 2));
        EXPECT_EQ(notes_, Notes{});
    }
    EXPECT_EQ(notes_.size(), 2u);
    EXPECT_NE(std::ranges::find(notes_, "~a"), notes_.end());
    EXPECT_NE(std::ranges::find(notes_, "~b"), notes_.end());
}

TEST_F(ShutdownList, ReleasesWithoutRunningWhenCleared) {
    list_.add(item("a", 2, 1));
    list_.add(item("b", 1, 2));
    list_.clear();
    EXPECT_EQ(notes_, (Notes{"~b", "~a"}));
    list_.execute(kExit);
    EXPECT_EQ(notes_.size(), 2u);
}

TEST_F(ShutdownList, IsApartFromTheOneOfTheProcess) {
    list_.add(item("mine", 1, 1));
    Shutdown::addCallback(noting(notes_, "the process's"), 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"the process's", "~the process's"}));
    notes_.clear();
    list_.execute(kExit);
    EXPECT_EQ(notes_, (Notes{"mine", "~mine"}));
}

} // namespace
