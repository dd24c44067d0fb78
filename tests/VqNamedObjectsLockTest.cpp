// Named locks, and the two levels of locks that the operations of a namespace enter.
#include "Vq/VqNamedObjects.h"

#include "Vq/VqCheck.h"
#include "support/FreshProcess.h"
#include "support/RegistryTest.h"
#include "support/Threads.h"

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::NamedObjectsNamespace;

const std::type_info& kInt = typeid(int);

int gOne = 1;
int gTwo = 2;
NamedObjectsNamespace* gSpace = nullptr; // what the factories below use
std::atomic<int> gMade{0};

/// Shows in a record of calls, as a question for the number of processors.
void* makeOne() {
    OS()->cpu()->processorCount();
    ++gMade;
    return &gOne;
}

void* makeTwo() {
    return &gTwo;
}

void* refuse() {
    throw std::string("refused");
}

void* makeOneWithAnotherOfTheSameKeyInside() {
    EXPECT_EQ(gSpace->findOrCreate_(kInt, "x", makeTwo), &gTwo);
    return &gOne;
}

void* makeOneWithOthersInside() {
    gSpace->create_(kInt, "created", &gTwo);
    EXPECT_EQ(gSpace->findOrCreate_(kInt, "found", makeTwo), &gTwo);
    EXPECT_TRUE(gSpace->lock_(kInt, "locked", true));
    gSpace->unlock_(kInt, "locked");
    return &gOne;
}

void* refuseInside() {
    return gSpace->findOrCreate_(kInt, "inner", refuse);
}

class NamedObjectsLockTest : public RegistryTest {
protected:
    NamedObjectsLockTest() {
        gSpace = &registry();
        gMade = 0;
    }

    /// The locks that `operation()` takes: 'N' and 'n' where the namespace's is taken and given
    /// back, not counting entries nested in another; 'E' and 'e' likewise for the entry of "x";
    /// 't' for an attempt at it, 'F' for the factory. Every other lock is '?'.
    template <class Operation> std::string locksOf(Operation operation) {
        const RecordedCalls calls = callsOf(operation);
        const void* const ofSpace = addressOf(guardOf(registry()));
        NamedObjectInfo* const entry = registry().findInfo_(kInt, "x");
        const void* const ofEntry = entry ? addressOf(entry->lock_) : nullptr;
        std::map<const void*, int> depths;
        std::string taken;
        for (const RecordedCall& call : calls) {
            const char name = call.address == ofSpace ? 'N' : call.address == ofEntry ? 'E' : '?';
            if (call.call == kAcquire && depths[call.address]++ == 0) taken += name;
            if (call.call == kRelease && --depths[call.address] == 0) {
                taken += static_cast<char>(name | 0x20);
            }
            if (call.call == kTryAcquire) taken += call.address == ofEntry ? 't' : '?';
            if (call.call == kProcessorCount) taken += 'F';
        }
        return taken;
    }

private:
    static const void* addressOf(CriticalSection& guard) {
        const RecordedCalls calls = callsOf([&] { guard.enter(); });
        guard.leave();
        return calls.front().address;
    }
};

using NamedObjectsLevels = NamedObjectsLockTest;
using NamedObjectsLock = NamedObjectsLockTest;
using NamedObjectsFactory = NamedObjectsLockTest;
using NamedObjectsThreads = NamedObjectsLockTest;

// --- Two levels of locks, never held together

TEST_F(NamedObjectsLevels, OfANewKeyAreTheNamespacesOnly) {
    EXPECT_EQ(locksOf([&] { registry().findInfo_(kInt, "x"); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().find_(kInt, "x"); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().remove_(kInt, "x"); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().create_(kInt, "x", &gOne); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().createOrReplace_(kInt, "y", &gOne); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().addListEntry_(kInt, "x", &gOne); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().forEach([](const char*, const char*, bool) {}); }), "Nn");
}

TEST_F(NamedObjectsLevels, OfAnEntryAreTheNamespacesThenTheEntrys) {
    registry().lock_(kInt, "x", true);
    registry().unlock_(kInt, "x");
    EXPECT_EQ(locksOf([&] { registry().findInfo_(kInt, "x"); }), "Nn");
    EXPECT_EQ(locksOf([&] { registry().create_(kInt, "x", &gOne); }), "NnEe");
    EXPECT_EQ(locksOf([&] { registry().find_(kInt, "x"); }), "NnEe");
    EXPECT_EQ(locksOf([&] { registry().findOrCreate_(kInt, "x", makeOne); }), "NnEe");
    EXPECT_EQ(locksOf([&] { registry().createOrReplace_(kInt, "x", &gTwo); }), "NnEe");
    EXPECT_EQ(locksOf([&] { registry().remove_(kInt, "x"); }), "NnEe");
    EXPECT_EQ(locksOf([&] { registry().forEach([](const char*, const char*, bool) {}); }), "Nn");
}

TEST_F(NamedObjectsLevels, OfANamedLockAreTheNamespacesThenTheEntryKept) {
    EXPECT_EQ(locksOf([&] { registry().lock_(kInt, "x", true); }), "NnE");
    EXPECT_EQ(locksOf([&] { registry().lock_(kInt, "x", false); }), "Nnt");
    EXPECT_EQ(countsOf([&] { registry().unlock_(kInt, "x"); })[kRelease], 2);
    EXPECT_EQ(countsOf([&] { registry().unlock_(kInt, "x"); })[kRelease], 2);
    EXPECT_EQ(locksOf([&] { registry().lock_(kInt, "y", false); }), "Nn?");
    registry().unlock_(kInt, "y");
}

TEST_F(NamedObjectsLevels, CostALookupOneEntryEach) {
    registry().create_(kInt, "x", &gOne);
    const Counts made = countsOf([&] { registry().find_(kInt, "x"); });
    EXPECT_EQ(made[kAcquire], 2);
    EXPECT_EQ(made[kRelease], 2);
    EXPECT_EQ(made[kCurrentThreadId], 2);
    EXPECT_EQ(made.total(), 6) << made;
}

// --- Named locks

TEST_F(NamedObjectsLock, MakesAnEntryWithoutObjectAndHoldsIt) {
    EXPECT_TRUE(registry().lock_(kInt, "x", true));
    EXPECT_EQ(listing(), (Listing{{"i", "x", false}}));
    NamedObjectInfo* const entry = registry().findInfo_(kInt, "x");
    EXPECT_EQ(entry->lock_.owner(), OS()->sync()->currentThreadId());
    registry().unlock_(kInt, "x");
    EXPECT_EQ(entry->lock_.owner(), 0u);
    EXPECT_EQ(listing(), (Listing{{"i", "x", false}}));
}

TEST_F(NamedObjectsLock, IsRefusedToOthersWithoutWaitingAndNestsForItsHolder) {
    for (const bool wait : {true, false}) {
        EXPECT_TRUE(registry().lock_(kInt, "x", wait));
        EXPECT_TRUE(registry().lock_(kInt, "x", false));
        elsewhere([&] { EXPECT_FALSE(registry().lock_(kInt, "x", false)); });
        registry().unlock_(kInt, "x");
        elsewhere([&] { EXPECT_FALSE(registry().lock_(kInt, "x", false)); });
        registry().unlock_(kInt, "x");
        elsewhere([&] {
            EXPECT_TRUE(registry().lock_(kInt, "x", false));
            registry().unlock_(kInt, "x");
        });
    }
}

TEST_F(NamedObjectsLock, WaitsForTheHolder) {
    registry().lock_(kInt, "x", true);
    int plain = 0;
    std::atomic<bool> isInside{false};
    const long acquired = platform().calls().count(kAcquire);
    std::thread other([&] {
        EXPECT_TRUE(registry().lock_(kInt, "x", true));
        isInside = true;
        EXPECT_EQ(plain, 1);
        registry().unlock_(kInt, "x");
    });
    // The namespace's lock twice, then the entry's.
    while (platform().calls().count(kAcquire) < acquired + 3) std::this_thread::yield();
    EXPECT_FALSE(isInside);
    plain = 1;
    registry().unlock_(kInt, "x");
    other.join();
    EXPECT_TRUE(isInside);
}

TEST_F(NamedObjectsLock, OfOneTypeOrNameLeavesTheOthersFree) {
    registry().lock_(kInt, "x", true);
    elsewhere([&] {
        for (const auto& [type, name] : {std::pair{&typeid(long), "x"}, std::pair{&kInt, "X"}}) {
            EXPECT_TRUE(registry().lock_(*type, name, false));
            registry().unlock_(*type, name);
        }
    });
    registry().unlock_(kInt, "x");
}

TEST_F(NamedObjectsLock, ThatIsHeldKeepsNobodyFromOtherNames) {
    registry().lock_(kInt, "x", true);
    elsewhere([&] {
        EXPECT_NE(registry().findInfo_(kInt, "x"), nullptr);
        registry().create_(kInt, "y", &gOne);
        EXPECT_EQ(registry().find_(kInt, "y"), &gOne);
        EXPECT_EQ(registry().findOrCreate_(kInt, "z", makeOne), &gOne);
        EXPECT_FALSE(registry().lock_(kInt, "x", false));
        EXPECT_EQ(listing().size(), 3u);
    });
    registry().unlock_(kInt, "x");
}

TEST_F(NamedObjectsLock, ThatIsHeldMakesLookupsOfTheNameWaitAndLetsItsHolderChangeIt) {
    registry().lock_(kInt, "x", true);
    const long acquired = platform().calls().count(kAcquire);
    void* found = nullptr;
    std::thread other([&] { found = registry().find_(kInt, "x"); });
    while (platform().calls().count(kAcquire) < acquired + 2) std::this_thread::yield();
    registry().create_(kInt, "x", &gOne);
    registry().createOrReplace_(kInt, "x", &gTwo);
    EXPECT_EQ(registry().find_(kInt, "x"), &gTwo);
    registry().unlock_(kInt, "x");
    other.join();
    EXPECT_EQ(found, &gTwo);
}

// --- Factories

TEST_F(NamedObjectsFactory, RunsUnderTheNamespacesLockForANewKey) {
    EXPECT_EQ(locksOf([&] { registry().findOrCreate_(kInt, "x", makeOne); }), "NFn");
}

TEST_F(NamedObjectsFactory, RunsUnderTheEntrysLockAloneForAnEntryWithoutObject) {
    registry().addListEntry_(kInt, "x", nullptr);
    EXPECT_EQ(locksOf([&] { registry().findOrCreate_(kInt, "x", makeOne); }), "NnEFe");
}

TEST_F(NamedObjectsFactory, MayUseTheNamespace) {
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOneWithOthersInside), &gOne);
    EXPECT_EQ(listing(), (Listing{{"i", "created", true},
                                  {"i", "found", true},
                                  {"i", "locked", false},
                                  {"i", "x", true}}));
    EXPECT_TRUE(isFreeElsewhere(guardOf(registry())));
}

TEST_F(NamedObjectsFactory, ThatRegistersItsOwnKeyIsHiddenByWhatItRegistered) {
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOneWithAnotherOfTheSameKeyInside), &gOne);
    EXPECT_EQ(listing(), (Listing{{"i", "x", true}, {"i", "x", true}}));
    EXPECT_EQ(registry().find_(kInt, "x"), &gTwo) << "the older entry";
}

TEST_F(NamedObjectsFactory, ThatFillsItsOwnEntryReplacesWhatItFilledItWith) {
    registry().addListEntry_(kInt, "x", nullptr);
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOneWithAnotherOfTheSameKeyInside), &gOne);
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    EXPECT_EQ(listing(), (Listing{{"i", "x", true}}));
    EXPECT_TRUE(isFreeElsewhere(registry().findInfo_(kInt, "x")->lock_));
}

TEST_F(NamedObjectsFactory, ThatThrowsForANewKeyLeavesTheNamespaceEnteredOnceAndNoEntry) {
    const long blocks = platform().memory()->liveBlocks();
    const long locks = platform().sync()->liveLocks();
    EXPECT_THROW(registry().findOrCreate_(kInt, "x", refuse), std::string);
    CriticalSection& guard = guardOf(registry());
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
    EXPECT_EQ(platform().sync()->liveLocks(), locks);
    EXPECT_FALSE(isFreeElsewhere(guard));
    EXPECT_EQ(guard.owner(), OS()->sync()->currentThreadId());
    EXPECT_EQ(registry().findInfo_(kInt, "x"), nullptr);
    guard.leave();
    EXPECT_TRUE(isFreeElsewhere(guard));
    EXPECT_EQ(listing(), Listing{});
}

TEST_F(NamedObjectsFactory, ThatThrowsForAnEntryWithoutObjectLeavesTheEntryEnteredOnceAndEmpty) {
    NamedObjectInfo* const entry = registry().addListEntry_(kInt, "x", nullptr);
    EXPECT_THROW(registry().findOrCreate_(kInt, "x", refuse), std::string);
    EXPECT_EQ(entry->object_, nullptr);
    EXPECT_TRUE(isFreeElsewhere(guardOf(registry())));
    EXPECT_FALSE(isFreeElsewhere(entry->lock_));
    registry().unlock_(kInt, "x");
    EXPECT_TRUE(isFreeElsewhere(entry->lock_));
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOne), &gOne);
}

TEST_F(NamedObjectsFactory, ThatThrowsThroughAnotherLeavesOneEntryForEach) {
    EXPECT_THROW(registry().findOrCreate_(kInt, "x", refuseInside), std::string);
    CriticalSection& guard = guardOf(registry());
    guard.leave();
    EXPECT_FALSE(isFreeElsewhere(guard));
    guard.leave();
    EXPECT_TRUE(isFreeElsewhere(guard));
    EXPECT_EQ(listing(), Listing{});
}

// --- Threads

TEST_F(NamedObjectsThreads, ThatAskForOneNewNameGetOneObjectMadeOnce) {
    constexpr int kNames = 100;
    std::atomic<int> same{0};
    onThreads(4, [&](int) {
        for (int i = 0; i < kNames; ++i) {
            same += registry().findOrCreate_(kInt, std::to_string(i).c_str(), makeOne) == &gOne;
        }
    });
    EXPECT_EQ(same, 4 * kNames);
    EXPECT_EQ(gMade, kNames);
    EXPECT_EQ(listing().size(), static_cast<std::size_t>(kNames));
}

TEST_F(NamedObjectsThreads, ThatLockOneNameExcludeEachOther) {
    constexpr int kRounds = 300;
    int plain = 0;
    onThreads(4, [&](int) {
        for (int i = 0; i < kRounds; ++i) {
            registry().lock_(kInt, "x", true);
            ++plain;
            registry().unlock_(kInt, "x");
        }
    });
    EXPECT_EQ(plain, 4 * kRounds);
}

TEST_F(NamedObjectsThreads, ThatCreateOneNameSucceedOnceAndFailElse) {
    constexpr int kNames = 50;
    std::atomic<int> created{0};
    std::atomic<int> refused{0};
    onThreads(4, [&](int) {
        for (int i = 0; i < kNames; ++i) {
            try {
                registry().create_(kInt, std::to_string(i).c_str(), &gOne);
                ++created;
            } catch (const Vq::Exception::RuntimeError&) {
                ++refused;
            }
        }
    });
    EXPECT_EQ(created, kNames);
    EXPECT_EQ(refused, 3 * kNames);
    EXPECT_EQ(listing().size(), static_cast<std::size_t>(kNames));
}

// --- The namespace of the process. It is made once, so each test has a process of its own.

TEST(NamedObjectsGlobal, IsMadeAtTheFirstCallAndTakenWithoutALockLater) {
    inFreshProcess([] {
        NamedObjectsNamespace* space = nullptr;
        const Counts first =
            countsOf([&] { space = NamedObjectsNamespace::getGlobalNamespaceInstance(); });
        EXPECT_EQ(first[kCreateCriticalSection], 2) << "its own and the one for making it";
        EXPECT_EQ(first[kAcquire], 1);
        EXPECT_EQ(first[kRelease], 1);
        const Counts later = countsOf(
            [&] { EXPECT_EQ(NamedObjectsNamespace::getGlobalNamespaceInstance(), space); });
        EXPECT_EQ(later.total(), 0) << later;
        const auto* const name = reinterpret_cast<const LightweightString<char>*>(
            reinterpret_cast<const char*>(space) + 40);
        EXPECT_EQ(*name, "GLOBAL");
        space->forEach([](const char*, const char*, bool) { ADD_FAILURE(); });
    });
}

TEST(NamedObjectsGlobal, IsTheSameToThreadsThatAskFirstTogether) {
    inFreshProcess([] {
        constexpr int kThreads = 8;
        std::vector<NamedObjectsNamespace*> answers(kThreads);
        const Counts made = countsOf([&] {
            onThreads(kThreads, [&](int i) {
                answers[static_cast<std::size_t>(i)] =
                    NamedObjectsNamespace::getGlobalNamespaceInstance();
            });
        });
        EXPECT_NE(answers[0], nullptr);
        EXPECT_EQ(answers, std::vector(kThreads, answers[0]));
        EXPECT_EQ(made[kCreateCriticalSection], 2) << "made once";
    });
}

TEST(NamedObjectsGlobal, IsMadeAtALaterCallWhenTheFirstHadNoMemory) {
    inFreshProcess([] {
        int failures = 0;
        for (bool made = false; !made; ++failures) {
            platform().calls().fail(kAllocate, failures + 1);
            try {
                NamedObjectsNamespace::getGlobalNamespaceInstance();
                made = true;
            } catch (const std::bad_alloc&) {
                ASSERT_LT(failures, 100);
            }
            platform().calls().succeed(kAllocate);
        }
        EXPECT_GE(failures, 4);
        const Counts later =
            countsOf([] { NamedObjectsNamespace::getGlobalNamespaceInstance()->find_(kInt, "x"); });
        EXPECT_EQ(later[kAcquire], 1);
    });
}

} // namespace
