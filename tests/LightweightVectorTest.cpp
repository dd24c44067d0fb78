#include "Vq/LightweightVector.h"

#include "Vq/AttribValuePair.h"
#include "VqTest/FailingAllocations.h"
#include "support/PairTest.h"
#include "support/StartGate.h"

#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vqtest;

using LightweightVectorMaking = ScriptedTest;
using LightweightVectorSharing = ScriptedTest;
using LightweightVectorElements = ScriptedTest;
using LightweightVectorAsObject = ScriptedTest;
using LightweightVectorThreads = ScriptedTest;
using LightweightVectorWithoutMemory = ScriptedTest;

static_assert(std::is_base_of_v<iObject, List>);
static_assert(std::is_base_of_v<Vq::InternalRefCount, List>);
static_assert(std::has_virtual_destructor_v<List>);

/// Counts how many of it there are.
struct Tracked {
    explicit Tracked(int* counter) : alive(counter) { ++*alive; }
    Tracked(const Tracked& other) : alive(other.alive) { ++*alive; }
    ~Tracked() { --*alive; }
    Tracked& operator=(const Tracked&) = delete;

    int* alive;
};

// --- Making

TEST_F(LightweightVectorMaking, GivesAnEmptyVectorAndACountOfItsOwn) {
    unsigned long vectorBytes = 0, counterBytes = 0;
    const Counts made = countsOf([&] {
        const List list;
        vectorBytes = platform().memory()->requestedBytes(1);
        counterBytes = platform().memory()->requestedBytes(0);
        EXPECT_TRUE(list.empty());
        EXPECT_EQ(list.size(), 0U);
        EXPECT_EQ(list.begin(), list.end());
    });
    EXPECT_EQ(vectorBytes, sizeof(std::vector<AttribValuePair>));
    EXPECT_EQ(counterBytes, sizeof(int));
    EXPECT_EQ(made[kAllocate], 2);
    EXPECT_EQ(made[kDeallocate], 2);
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made[kAtomicDecrement], 1);
}

TEST_F(LightweightVectorMaking, SharesWithNobody) {
    List first;
    const List second;
    first.push_back(split("a=1"));
    EXPECT_EQ(first.size(), 1U);
    EXPECT_TRUE(second.empty());
}

// --- Sharing

TEST_F(LightweightVectorSharing, CopiesAreTheSameListInBothDirections) {
    List original;
    original.push_back(split("a=1"));
    List copy = original;
    copy.push_back(split("b=2"));
    original.push_back(split("c=3"));
    ASSERT_EQ(original.size(), 3U);
    ASSERT_EQ(copy.size(), 3U);
    EXPECT_EQ(&original[0], &copy[0]);
    EXPECT_EQ(original[1].name(), "b"sv);
    EXPECT_EQ(copy[2].name(), "c"sv);
}

TEST_F(LightweightVectorSharing, ACopyCostsOneIncrement) {
    List original;
    original.push_back(split("a=1"));
    const Counts made = countsOf([&] { const List copy = original; });
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made[kAtomicDecrement], 1);
    EXPECT_EQ(made.total(), 2) << made;
}

TEST_F(LightweightVectorSharing, AssignmentJoinsTheOtherList) {
    List target;
    const List before = target;
    List source;
    target.push_back(split("old=1"));
    source.push_back(split("new=2"));
    EXPECT_EQ(&(target = source), &target);
    target.push_back(split("more=3"));
    EXPECT_EQ(source.size(), 2U);
    ASSERT_EQ(before.size(), 1U);
    EXPECT_EQ(before[0].name(), "old"sv);
}

TEST_F(LightweightVectorSharing, AssignmentToItselfChangesNothing) {
    List list;
    list.push_back(split("a=1"));
    const List& itself = list;
    const Counts made = countsOf([&] { list = itself; });
    EXPECT_EQ(made.total(), 0) << made;
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].text(), "a=1"sv);
}

TEST_F(LightweightVectorSharing, AssignmentBetweenSharersChangesNothing) {
    List list;
    list.push_back(split("a=1"));
    List sharer = list;
    sharer = list;
    list.push_back(split("b=2"));
    EXPECT_EQ(sharer.size(), 2U);
}

// --- Elements

TEST_F(LightweightVectorElements, ArePushedAsCopiesThatShareTheirStrings) {
    List list;
    AttribValuePair pair = split("name=value");
    list.push_back(pair);
    EXPECT_EQ(list[0].text().c_str(), pair.text().c_str());
    EXPECT_EQ(pair.text().useCount(), 2U);
    pair = split("other=pair");
    EXPECT_EQ(list[0].text(), "name=value"sv);
    EXPECT_EQ(list[0].text().useCount(), 1U);
}

TEST_F(LightweightVectorElements, KeepTheirForms) {
    List list;
    list.push_back(split("a:b"));
    list.push_back(AttribValuePair::fromText("a=b"));
    list.push_back(AttribValuePair::fromParts("a", "b"));
    EXPECT_EQ(list[0].form(), AttribValuePair::kTextAndParts);
    EXPECT_EQ(list[1].form(), AttribValuePair::kTextOnly);
    EXPECT_EQ(list[2].form(), AttribValuePair::kPartsOnly);
}

TEST_F(LightweightVectorElements, StandInTheOrderOfPushing) {
    List list;
    for (const char* text : {"c=1", "a=2", "b=3", "a=2"}) list.push_back(split(text));
    std::string texts;
    for (const AttribValuePair& pair : list) texts += pair.text().c_str();
    EXPECT_EQ(texts, "c=1a=2b=3a=2");
    EXPECT_EQ(list.end() - list.begin(), 4);
    for (std::size_t i = 0; i < list.size(); ++i)
        EXPECT_EQ(&list[i], &*(list.begin() + static_cast<long>(i)));
}

TEST_F(LightweightVectorElements, MayBePushedFromTheListItself) {
    List list;
    list.push_back(split("a=1"));
    for (int i = 0; i < 20; ++i) list.push_back(list[0]);
    EXPECT_EQ(list.size(), 21U);
    EXPECT_EQ(list[20].text(), "a=1"sv);
    EXPECT_EQ(list[0].text().useCount(), 21U);
}

TEST_F(LightweightVectorElements, AreDestroyedWithTheLastOfTheSharers) {
    int alive = 0;
    auto first = new LightweightVector<Tracked>;
    first->push_back(Tracked(&alive));
    first->push_back(Tracked(&alive));
    EXPECT_EQ(alive, 2);
    auto second = new LightweightVector<Tracked>(*first);
    delete first;
    EXPECT_EQ(alive, 2);
    EXPECT_EQ(second->size(), 2U);
    delete second;
    EXPECT_EQ(alive, 0);
}

TEST_F(LightweightVectorElements, AreDestroyedWhenTheLastSharerIsAssigned) {
    int alive = 0;
    LightweightVector<Tracked> list;
    list.push_back(Tracked(&alive));
    list = LightweightVector<Tracked>();
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(list.empty());
}

TEST_F(LightweightVectorElements, GoAfterTheCounter) {
    auto* list = new List;
    list->push_back(split("a=1"));
    const void* const elements = &(*list)[0];
    const RecordedCalls calls = callsOf([&] { delete list; });
    std::vector<const void*> freed;
    for (const RecordedCall& call : calls) {
        if (call.call == kDeallocate) freed.push_back(call.address);
    }
    ASSERT_EQ(freed.size(), 7U) << "counter, three strings, elements, vector, list";
    ASSERT_EQ(calls[0].call, kAtomicDecrement);
    EXPECT_EQ(freed[0], calls[0].address) << "the counter";
    EXPECT_EQ(freed[4], elements);
    EXPECT_EQ(freed[6], list);
}

// --- As a counted object

TEST_F(LightweightVectorAsObject, IsBornUncountedAndHeldByAPtr) {
    Vq::Ptr<List> handle(new List);
    EXPECT_EQ(handle->refCount(), 1);
    handle->push_back(split("a=1"));
    const Vq::Ptr<List> second = handle;
    EXPECT_EQ(handle->refCount(), 2);
    handle.reset();
    EXPECT_EQ(second->size(), 1U);
}

TEST_F(LightweightVectorAsObject, GoesWholeThroughItsRoot) {
    int alive = 0;
    auto* list = new LightweightVector<Tracked>;
    list->push_back(Tracked(&alive));
    Vq::Ptr<iObject> root(list);
    EXPECT_EQ(alive, 1);
    root.reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(LightweightVectorAsObject, DoesNotCopyItsOwnCount) {
    const Vq::Ptr<List> handle(new List);
    List copy = *handle;
    EXPECT_EQ(copy.refCount(), 0);
    copy = *handle;
    EXPECT_EQ(copy.refCount(), 0);
    EXPECT_EQ(handle->refCount(), 1);
}

// --- Threads

TEST_F(LightweightVectorThreads, MayCopyAndDropTheSameListTogether) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    int alive = 0;
    {
        LightweightVector<Tracked> list;
        list.push_back(Tracked(&alive));
        StartGate gate(kThreads);
        const auto work = [&gate](LightweightVector<Tracked> own) {
            gate.wait();
            for (int i = 0; i < kRounds; ++i) {
                const LightweightVector<Tracked> copy = own;
                if (copy.size() != 1) std::abort();
            }
        };
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, list);
        list = LightweightVector<Tracked>();
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(alive, 0) << "whoever was last took the elements along";
}

// --- Without memory

TEST_F(LightweightVectorWithoutMemory, MakingLeavesNothingBehind) {
    EXPECT_EQ(forEachFailingAllocation([] { List list; }, [] {}), 2);
}

TEST_F(LightweightVectorWithoutMemory, PushingLeavesTheListAsItWas) {
    List list;
    const List sharer = list;
    const AttribValuePair pair = split("name=value");
    for (std::size_t size = 0; size < 9; ++size) {
        forEachFailingAllocation([&] { list.push_back(pair); },
                                 [&] {
                                     EXPECT_EQ(sharer.size(), size);
                                     EXPECT_EQ(pair.text().useCount(), size + 1);
                                 });
        EXPECT_EQ(sharer.size(), size + 1);
    }
}

} // namespace
