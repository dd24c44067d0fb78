#include "Vq/Ptr.h"
#include "Vq/StdAllocator.h"
#include "VqTest/ScriptedTest.h"
#include "support/StartGate.h"

#include <array>
#include <cstring>
#include <memory>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

/// Its destructor shows in a record of calls, as a question for the number of processors.
struct MarksItsEnd {
    ~MarksItsEnd() { OS()->cpu()->processorCount(); }
};
constexpr Call kDestructor = kProcessorCount;

struct Counted : iObject, MarksItsEnd {
    Vq::Ptr<Counted> next;
};

struct Derived : Counted {};

struct Plain : MarksItsEnd {
    int value = 1;
};

template <class T> using External = Vq::Ptr<T, Vq::DtorTraits, Vq::ExternalRefCountTraits>;

// The defaults, and what converts.
static_assert(
    std::is_same_v<Vq::Ptr<Counted>, Vq::Ptr<Counted, Vq::DtorTraits, Vq::InternalRefCountTraits>>);
static_assert(sizeof(Vq::Ptr<Counted>) == 2 * sizeof(void*));
static_assert(std::is_convertible_v<Counted*, Vq::Ptr<Counted>>);
static_assert(std::is_convertible_v<std::nullptr_t, Vq::Ptr<Counted>>);
static_assert(std::is_convertible_v<Plain*, External<Plain>>);
static_assert(!std::is_convertible_v<Vq::Ptr<Counted>, bool>, "explicit only");
static_assert(std::is_constructible_v<bool, Vq::Ptr<Counted>>);
static_assert(std::is_convertible_v<Vq::Ptr<Derived>, Vq::Ptr<Counted>>);
static_assert(std::is_convertible_v<const Vq::Ptr<Derived>&, Vq::Ptr<iObject>>);
static_assert(!std::is_convertible_v<Vq::Ptr<Counted>, Vq::Ptr<Derived>>);
static_assert(!std::is_convertible_v<External<Derived>, External<Counted>>,
              "deleting through the base needs the internal count's virtual destructor");
static_assert(std::is_nothrow_move_constructible_v<Vq::Ptr<Counted>>);
static_assert(std::is_nothrow_move_assignable_v<Vq::Ptr<Counted>>);
static_assert(std::is_nothrow_destructible_v<Vq::Ptr<Counted>>);
static_assert(noexcept(Vq::Ptr<Counted>().decRef()), "what throws in a release ends the process");

/// What both policies have in common is tested on both.
template <class Handle> class PtrTest : public ScriptedTest {
protected:
    using Object = std::remove_pointer_t<decltype(Handle().get())>;

    /// Expects that `operation()` asks for this many increments and decrements, and nothing else.
    template <class Operation>
    static void expectAtomics(long increments, long decrements, Operation operation) {
        Counts expected;
        expected[kAtomicIncrement] = increments;
        expected[kAtomicDecrement] = decrements;
        EXPECT_EQ(countsOf(operation), expected);
    }
};
using Policies = ::testing::Types<Vq::Ptr<Counted>, External<Plain>>;
TYPED_TEST_SUITE(PtrTest, Policies);

TYPED_TEST(PtrTest, EmptyCostsNothing) {
    this->expectAtomics(0, 0, [] {
        TypeParam empty;
        TypeParam null(nullptr);
        TypeParam nullObject(static_cast<decltype(empty.get())>(nullptr));
        TypeParam copy(empty);
        copy = null;
        copy = std::move(nullObject);
        copy.incRef();
        copy.decRef();
        copy.reset();
        EXPECT_FALSE(copy);
        EXPECT_TRUE(!copy);
        EXPECT_EQ(copy.get(), nullptr);
        EXPECT_EQ(copy.useCount(), 0);
    });
}

TYPED_TEST(PtrTest, HoldsTheCounterAndThenTheObject) {
    TypeParam handle = new typename TestFixture::Object;
    std::array<void*, 2> words;
    std::memcpy(&words, &handle, sizeof(words));
    EXPECT_EQ(words[1], handle.get());
    EXPECT_EQ(*static_cast<int*>(words[0]), 1);
    handle.reset();
    std::memcpy(&words, &handle, sizeof(words));
    EXPECT_EQ(words, (std::array<void*, 2>{}));
}

TYPED_TEST(PtrTest, CopyIsOneIncrement) {
    TypeParam handle = new typename TestFixture::Object;
    this->expectAtomics(1, 1, [&] {
        const TypeParam copy(handle);
        EXPECT_EQ(copy, handle);
        EXPECT_EQ(handle.useCount(), 2);
    });
    EXPECT_EQ(handle.useCount(), 1);
}

TYPED_TEST(PtrTest, CopyAssignmentOverAnotherObjectIsOneIncrementAndOneDecrement) {
    TypeParam one = new typename TestFixture::Object;
    TypeParam two = new typename TestFixture::Object;
    const TypeParam alsoOne(one);
    this->expectAtomics(1, 1, [&] { one = two; });
    EXPECT_EQ(one, two);
    EXPECT_EQ(two.useCount(), 2);
    EXPECT_EQ(alsoOne.useCount(), 1);
}

TYPED_TEST(PtrTest, CopyAssignmentWithAnEmptySideIsOneOperation) {
    TypeParam full = new typename TestFixture::Object;
    const TypeParam alsoFull(full);
    const TypeParam empty;
    TypeParam target;
    this->expectAtomics(1, 0, [&] { target = full; });
    this->expectAtomics(0, 1, [&] { target = empty; });
    EXPECT_FALSE(target);
    EXPECT_EQ(full.useCount(), 2);
}

TYPED_TEST(PtrTest, SelfAssignmentChangesNothing) {
    TypeParam handle = new typename TestFixture::Object;
    TypeParam& same = handle;
    this->expectAtomics(0, 0, [&] {
        handle = same;
        handle = std::move(same);
    });
    EXPECT_EQ(handle.useCount(), 1);
}

TYPED_TEST(PtrTest, AssignmentOfTheSameObjectKeepsItAlive) {
    TypeParam one = new typename TestFixture::Object;
    TypeParam two(one);
    this->expectAtomics(1, 1, [&] { one = two; });
    EXPECT_EQ(one.useCount(), 2);
}

TYPED_TEST(PtrTest, MoveIsNoOperation) {
    TypeParam source = new typename TestFixture::Object;
    auto* object = source.get();
    TypeParam target;
    this->expectAtomics(0, 0, [&] {
        TypeParam moved(std::move(source));
        EXPECT_FALSE(source);
        EXPECT_EQ(source.useCount(), 0);
        target = std::move(moved);
        EXPECT_FALSE(moved);
    });
    EXPECT_EQ(target, object);
    EXPECT_EQ(target.useCount(), 1);
}

TYPED_TEST(PtrTest, MoveAssignmentOverAnObjectIsOneDecrement) {
    TypeParam one = new typename TestFixture::Object;
    const TypeParam alsoOne(one);
    TypeParam two = new typename TestFixture::Object;
    auto* object = two.get();
    this->expectAtomics(0, 1, [&] { one = std::move(two); });
    EXPECT_EQ(one, object);
    EXPECT_FALSE(two);
}

TYPED_TEST(PtrTest, SwapIsNoOperation) {
    TypeParam one = new typename TestFixture::Object;
    TypeParam two;
    auto* object = one.get();
    this->expectAtomics(0, 0, [&] {
        one.swap(two);
        std::swap(one, two);
        one.swap(two);
    });
    EXPECT_FALSE(one);
    EXPECT_EQ(two, object);
}

TYPED_TEST(PtrTest, DecRefThatDoesNotReachZeroKeepsTheHandle) {
    TypeParam handle = new typename TestFixture::Object;
    auto* object = handle.get();
    handle.incRef();
    EXPECT_EQ(handle.useCount(), 2);
    this->expectAtomics(0, 1, [&] { handle.decRef(); });
    EXPECT_EQ(handle, object);
    EXPECT_EQ(handle.useCount(), 1);
}

TYPED_TEST(PtrTest, DecRefThatReachesZeroDestroysAndEmpties) {
    TypeParam handle = new typename TestFixture::Object;
    const Counts made = countsOf([&] { handle.decRef(); });
    EXPECT_EQ(made[kDestructor], 1);
    EXPECT_FALSE(handle);
    EXPECT_EQ(handle.useCount(), 0);
    EXPECT_EQ(countsOf([&] { handle.decRef(); }).total(), 0);
}

TYPED_TEST(PtrTest, ResetDropsTheReferenceAndEmpties) {
    TypeParam handle = new typename TestFixture::Object;
    TypeParam copy(handle);
    this->expectAtomics(0, 1, [&] { copy.reset(); });
    EXPECT_FALSE(copy);
    EXPECT_EQ(handle.useCount(), 1);
    EXPECT_EQ(countsOf([&] { handle.reset(); })[kDestructor], 1);
}

TYPED_TEST(PtrTest, ComparingAndLookingTouchNoCount) {
    TypeParam one = new typename TestFixture::Object;
    TypeParam two = new typename TestFixture::Object;
    const TypeParam alsoOne(one);
    const auto* object = one.get();
    this->expectAtomics(0, 0, [&] {
        EXPECT_TRUE(one == alsoOne);
        EXPECT_TRUE(one != two);
        EXPECT_TRUE(one == object);
        EXPECT_TRUE(object == one);
        EXPECT_TRUE(two != object);
        EXPECT_TRUE(one != nullptr);
        EXPECT_TRUE(TypeParam() == nullptr);
        EXPECT_EQ(&*one, object);
        EXPECT_EQ(one.operator->(), object);
        EXPECT_TRUE(static_cast<bool>(one));
        EXPECT_FALSE(!one);
        EXPECT_EQ(one.useCount(), 2);
        EXPECT_EQ(std::hash<TypeParam>()(one), std::hash<TypeParam>()(alsoOne));
    });
}

TYPED_TEST(PtrTest, IsCountedExactlyOnManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    TypeParam shared = new typename TestFixture::Object;
    std::vector<TypeParam> kept(kThreads);
    StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&gate, &shared, &mine = kept[static_cast<std::size_t>(i)]] {
            gate.wait();
            for (int round = 0; round < kRounds; ++round) {
                TypeParam copy(shared);
                mine = copy;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(shared.useCount(), 1 + kThreads);
    EXPECT_EQ(platform().calls().count(kDestructor), 0);
}

TYPED_TEST(PtrTest, TheThreadThatDropsTheLastReferenceDestroys) {
    constexpr int kThreads = 4;
    for (int round = 0; round < 50; ++round) {
        const Counts before = platform().calls().counts();
        {
            std::vector<TypeParam> handles(kThreads, TypeParam(new typename TestFixture::Object));
            StartGate gate(kThreads);
            std::vector<std::thread> threads;
            for (TypeParam& handle : handles) {
                threads.emplace_back([&gate, &handle] {
                    gate.wait();
                    handle.reset();
                });
            }
            for (std::thread& thread : threads) thread.join();
        }
        EXPECT_EQ((platform().calls().counts() - before)[kDestructor], 1);
    }
}

class PtrInternal : public ScriptedTest {};
class PtrExternal : public ScriptedTest {};
class PtrFailing : public ScriptedTest {};

TEST_F(PtrInternal, TakingAnObjectIsOneIncrementOfItsOwnCount) {
    auto* object = new Counted;
    Vq::Ptr<Counted> handle;
    const RecordedCalls calls = callsOf([&] { handle = object; });
    EXPECT_EQ(calls, (RecordedCalls{{kAtomicIncrement, object->refCountAddress(), 0}}));
    EXPECT_EQ(object->refCount(), 1);
}

TEST_F(PtrInternal, LastReleaseDestroysTheObjectWithItsCount) {
    auto* object = new Counted;
    const int* count = object->refCountAddress();
    Vq::Ptr<Counted> handle = object;
    const RecordedCalls calls = callsOf([&] { handle.decRef(); });
    EXPECT_EQ(calls, (RecordedCalls{{kAtomicDecrement, count, 0},
                                    {kDestructor, nullptr, 0},
                                    {kDeallocate, object, 0}}));
}

TEST_F(PtrInternal, LastReleaseThroughAnInterfaceDestroysTheWholeObject) {
    Vq::Ptr<iObject> handle = new Derived;
    const Counts made = countsOf([&] { handle.reset(); });
    EXPECT_EQ(made[kDestructor], 1);
    EXPECT_EQ(made[kDeallocate], 1);
}

TEST_F(PtrInternal, HandleOnADerivedClassConvertsForOneIncrement) {
    Vq::Ptr<Derived> derived = new Derived;
    Counts made = countsOf([&] {
        const Vq::Ptr<iObject> base = derived;
        EXPECT_EQ(derived.useCount(), 2);
    });
    EXPECT_EQ(made[kAtomicIncrement], 1);
    EXPECT_EQ(made.total(), 2);
    made = countsOf([&] {
        Vq::Ptr<Counted> base = std::move(derived);
        EXPECT_FALSE(derived);
        EXPECT_EQ(base.useCount(), 1);
        derived = static_cast<Derived*>(base.get());
    });
    EXPECT_EQ(made[kAtomicIncrement], 1) << "for the way back only";
}

TEST_F(PtrInternal, AssignmentFromAMemberOfTheDyingObjectTakesBeforeItDrops) {
    auto* first = new Counted;
    Vq::Ptr<Counted> head = first;
    head->next = new Counted;
    Counted* second = head->next.get();
    const int* firstCount = head->refCountAddress();
    const int* secondCount = second->refCountAddress();
    const RecordedCalls calls = callsOf([&] { head = head->next; });
    EXPECT_EQ(head, second);
    EXPECT_EQ(head.useCount(), 1);
    EXPECT_EQ(calls, (RecordedCalls{{kAtomicIncrement, secondCount, 0},
                                    {kAtomicDecrement, firstCount, 0},
                                    {kAtomicDecrement, secondCount, 0}, // the dying member's
                                    {kDestructor, nullptr, 0},
                                    {kDeallocate, first, 0}}));
}

TEST_F(PtrInternal, MoveFromAMemberOfTheDyingObjectKeepsTheMember) {
    Vq::Ptr<Counted> head = new Counted;
    head->next = new Counted;
    Counted* second = head->next.get();
    head = std::move(head->next);
    EXPECT_EQ(head, second);
    EXPECT_EQ(head.useCount(), 1);
}

TEST_F(PtrInternal, ResetOfAHandleInsideTheObjectItHolds) {
    auto* object = new Counted;
    object->next = object; // a ring of one
    const Counts made = countsOf([&] { object->next.reset(); });
    EXPECT_EQ(made[kDestructor], 1);
}

TEST_F(PtrInternal, WorksInHashedContainers) {
    Vq::Ptr<Counted> one = new Counted;
    std::unordered_set<Vq::Ptr<Counted>> set = {one, one, new Counted};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_EQ(set.count(one), 1u);
}

TEST_F(PtrExternal, TakingAnObjectAllocatesFourBytesForTheCount) {
    auto* object = new Plain;
    External<Plain> handle;
    const RecordedCalls calls = callsOf([&] { handle = object; });
    int* counter = nullptr;
    std::memcpy(&counter, &handle, sizeof(counter));
    EXPECT_EQ(calls, (RecordedCalls{{kAllocate, nullptr, 4}, {kAtomicIncrement, counter, 0}}));
    EXPECT_EQ(*counter, 1);
}

TEST_F(PtrExternal, NullObjectAllocatesNoCounter) {
    Plain* null = nullptr;
    EXPECT_EQ(countsOf([&] { const External<Plain> handle(null); }).total(), 0);
}

TEST_F(PtrExternal, LastReleaseFreesTheCounterAndThenTheObject) {
    auto* object = new Plain;
    External<Plain> handle = object;
    int* counter = nullptr;
    std::memcpy(&counter, &handle, sizeof(counter));
    const RecordedCalls calls = callsOf([&] { handle.decRef(); });
    EXPECT_EQ(calls, (RecordedCalls{{kAtomicDecrement, counter, 0},
                                    {kDeallocate, counter, 0},
                                    {kDestructor, nullptr, 0},
                                    {kDeallocate, object, 0}}));
}

TEST_F(PtrFailing, ObjectIsDestroyedWhenItsCounterCannotBeMade) {
    auto* object = new Plain;
    platform().calls().fail(kAllocate);
    const RecordedCalls calls =
        callsOf([&] { EXPECT_THROW(const External<Plain> handle(object), std::bad_alloc); });
    EXPECT_EQ(calls,
              (RecordedCalls{
                  {kAllocate, nullptr, 4}, {kDestructor, nullptr, 0}, {kDeallocate, object, 0}}));
}

TEST_F(PtrFailing, AssignmentKeepsTheOldObjectWhenTheNewCounterCannotBeMade) {
    auto* old = new Plain;
    External<Plain> handle = old;
    auto* object = new Plain;
    platform().calls().fail(kAllocate);
    EXPECT_THROW(handle = object, std::bad_alloc);
    EXPECT_EQ(handle, old);
    EXPECT_EQ(handle.useCount(), 1);
}

TEST_F(PtrFailing, AssignmentKeepsTheOldObjectWhenTheIncrementThrows) {
    Vq::Ptr<Counted> one = new Counted;
    const Vq::Ptr<Counted> two = new Counted;
    const Counted* old = one.get();
    platform().calls().fail(kAtomicIncrement);
    EXPECT_THROW(one = two, std::bad_alloc);
    EXPECT_EQ(one, old);
    EXPECT_EQ(one.useCount(), 1);
    EXPECT_EQ(two.useCount(), 1);
}

TEST_F(PtrFailing, CopiesOfARangeAreReleasedInOrderWhenAnIncrementThrows) {
    using Handles = std::vector<Vq::Ptr<Counted>, StdAllocator<Vq::Ptr<Counted>>>;
    const Handles handles = {new Counted, new Counted, new Counted};
    const auto count = [&](std::size_t i) { return handles[i]->refCountAddress(); };
    platform().calls().fail(kAtomicIncrement, 3);
    RecordedCalls calls =
        callsOf([&] { EXPECT_THROW(const Handles copies(handles), std::bad_alloc); });
    ASSERT_EQ(calls.size(), 7u);
    const RecordedCalls atomics(calls.begin() + 1, calls.end() - 1);
    EXPECT_EQ(atomics, (RecordedCalls{{kAtomicIncrement, count(0), 0},
                                      {kAtomicIncrement, count(1), 0},
                                      {kAtomicIncrement, count(2), 0},
                                      {kAtomicDecrement, count(0), 0},
                                      {kAtomicDecrement, count(1), 0}}));
    EXPECT_EQ(calls.back().call, kDeallocate);
}

TEST(PtrDeathTest, ADecrementThatThrowsEndsTheProcess) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto release = [] {
        auto refuse = [] { throw 7; };
        platform().calls().intercept(kAtomicDecrement, refuse);
        Vq::Ptr<Counted> handle = new Counted;
    };
    EXPECT_DEATH(release(), "terminate");
}

} // namespace
