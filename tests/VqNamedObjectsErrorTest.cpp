// What the operations of a namespace refuse, and what stands when memory or a lock is refused.
#include "Vq/VqNamedObjects.h"

#include "Vq/VqCheck.h"
#include "VqTest/FailingAllocations.h"
#include "support/RegistryTest.h"

#include <array>
#include <new>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::NamedObjectsNamespace;
using Vq::Exception::RuntimeError;

const std::type_info& kInt = typeid(int);

constexpr char kNoName[] = "Invalid object name!";
constexpr char kNoObject[] = "'object' cannot be NULL!";
constexpr char kDuplicate[] = "Attempted to create named objects with duplicate names!";
constexpr char kNotLocked[] =
    "Attempted to unlock a named object that had not previously been locked!";

int gOne = 1;
int gTwo = 2;
long gMade = 0;

void* makeOne() {
    ++gMade;
    return &gOne;
}

class NamedObjectsErrorTest : public RegistryTest {
protected:
    NamedObjectsErrorTest() { gMade = 0; }

    /// Expects that `operation()` throws this error, enters locks so often, leaves every one again
    /// and changes nothing.
    template <class Operation>
    void expectError(const char* message, int line, long locks, Operation operation) {
        const Listing before = listing();
        const Counts made = countsOf([&] {
            try {
                operation();
                ADD_FAILURE() << "nothing was thrown";
            } catch (const RuntimeError& error) {
                EXPECT_STREQ(error.typeName_, "RuntimeError");
                EXPECT_STREQ(error.message_, message);
                EXPECT_STREQ(error.file_, "ole/Vq/VqNamedObjects");
                EXPECT_EQ(error.line_, line);
                EXPECT_FALSE(error.callStack_.empty());
            }
        });
        EXPECT_EQ(made[kAcquire], locks) << message << ' ' << line;
        EXPECT_EQ(made[kRelease], locks) << message << ' ' << line;
        EXPECT_EQ(made[kAllocate], made[kDeallocate]);
        EXPECT_EQ(made[kCreateCriticalSection], 0);
        EXPECT_EQ(listing(), before);
        EXPECT_EQ(gMade, 0);
    }

    void expectErrorWithoutLocks(const char* message, int line, auto operation) {
        expectError(message, line, 0, operation);
    }
};

using NamedObjectsWithoutName = NamedObjectsErrorTest;
using NamedObjectsWithoutObject = NamedObjectsErrorTest;
using NamedObjectsDuplicate = NamedObjectsErrorTest;
using NamedObjectsUnlock = NamedObjectsErrorTest;
using NamedObjectsErrorByType = NamedObjectsErrorTest;
using NamedObjectsWithoutMemory = NamedObjectsErrorTest;
using NamedObjectsWithoutLock = NamedObjectsErrorTest;

// --- No name

TEST_F(NamedObjectsWithoutName, AreRefusedByEveryOperationWithItsOwnLine) {
    auto& space = registry();
    space.create_(kInt, "x", &gTwo);
    expectErrorWithoutLocks(kNoName, 118, [&] { space.find_(kInt, nullptr); });
    expectErrorWithoutLocks(kNoName, 146, [&] { space.create_(kInt, nullptr, &gOne); });
    expectErrorWithoutLocks(kNoName, 198, [&] { space.findOrCreate_(kInt, nullptr, makeOne); });
    expectErrorWithoutLocks(kNoName, 237, [&] { space.createOrReplace_(kInt, nullptr, &gOne); });
    expectErrorWithoutLocks(kNoName, 272, [&] { space.remove_(kInt, nullptr); });
    expectErrorWithoutLocks(kNoName, 295, [&] { space.lock_(kInt, nullptr, true); });
    expectErrorWithoutLocks(kNoName, 295, [&] { space.lock_(kInt, nullptr, false); });
    expectErrorWithoutLocks(kNoName, 330, [&] { space.unlock_(kInt, nullptr); });
}

TEST_F(NamedObjectsWithoutName, AreRefusedEvenWhereTheEmptyNameIsTaken) {
    registry().create_(kInt, "", &gOne);
    expectErrorWithoutLocks(kNoName, 118, [&] { registry().find_(kInt, nullptr); });
    expectErrorWithoutLocks(kNoName, 330, [&] { registry().unlock_(kInt, nullptr); });
}

TEST_F(NamedObjectsWithoutName, AreRefusedForTheNameBeforeTheObject) {
    expectErrorWithoutLocks(kNoName, 146, [&] { registry().create_(kInt, nullptr, nullptr); });
    expectErrorWithoutLocks(kNoName, 237,
                            [&] { registry().createOrReplace_(kInt, nullptr, nullptr); });
}

// --- No object

TEST_F(NamedObjectsWithoutObject, AreRefusedEvenWhenTheNameIsFree) {
    expectErrorWithoutLocks(kNoObject, 151, [&] { registry().create_(kInt, "x", nullptr); });
    expectErrorWithoutLocks(kNoObject, 242,
                            [&] { registry().createOrReplace_(kInt, "x", nullptr); });
    EXPECT_EQ(registry().findInfo_(kInt, "x"), nullptr);
}

TEST_F(NamedObjectsWithoutObject, AreRefusedBeforeTheDuplicateIsNoticed) {
    registry().create_(kInt, "x", &gOne);
    expectErrorWithoutLocks(kNoObject, 151, [&] { registry().create_(kInt, "x", nullptr); });
    expectErrorWithoutLocks(kNoObject, 242,
                            [&] { registry().createOrReplace_(kInt, "x", nullptr); });
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
}

// --- Duplicates

TEST_F(NamedObjectsDuplicate, IsRefusedAndLeavesTheObjectAndTheLocksFree) {
    registry().create_(kInt, "x", &gOne);
    NamedObjectInfo* const entry = registry().findInfo_(kInt, "x");
    // The namespace's lock twice, one inside the other, then the entry's.
    expectError(kDuplicate, 175, 3, [&] { registry().create_(kInt, "x", &gTwo); });
    expectError(kDuplicate, 175, 3, [&] { registry().create_(kInt, "x", &gOne); });
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    EXPECT_EQ(entry->lock_.owner(), 0u);
    EXPECT_TRUE(isFreeElsewhere(entry->lock_));
    EXPECT_TRUE(isFreeElsewhere(guardOf(registry())));
}

TEST_F(NamedObjectsDuplicate, IsRefusedToTheHolderOfTheNameWhoKeepsIt) {
    registry().lock_(kInt, "x", true);
    registry().create_(kInt, "x", &gOne);
    expectError(kDuplicate, 175, 3, [&] { registry().create_(kInt, "x", &gTwo); });
    EXPECT_FALSE(isFreeElsewhere(registry().findInfo_(kInt, "x")->lock_));
    registry().unlock_(kInt, "x");
    EXPECT_TRUE(isFreeElsewhere(registry().findInfo_(kInt, "x")->lock_));
}

// --- Unlocking

TEST_F(NamedObjectsUnlock, OfANameNeverUsedIsRefusedAndMakesNoEntry) {
    expectError(kNotLocked, 340, 1, [&] { registry().unlock_(kInt, "x"); });
    EXPECT_EQ(registry().findInfo_(kInt, "x"), nullptr);
    registry().lock_(typeid(long), "x", true);
    expectError(kNotLocked, 340, 1, [&] { registry().unlock_(kInt, "x"); });
    registry().unlock_(typeid(long), "x");
}

TEST_F(NamedObjectsUnlock, OfALockedNameWorksAfterItsObjectIsRemoved) {
    registry().create_(kInt, "x", &gOne);
    registry().lock_(kInt, "x", true);
    registry().remove_(kInt, "x");
    registry().unlock_(kInt, "x");
    EXPECT_TRUE(isFreeElsewhere(registry().findInfo_(kInt, "x")->lock_));
}

TEST_F(NamedObjectsErrorByType, IsTheSameAsByTypeInformation) {
    auto& space = registry();
    expectErrorWithoutLocks(kNoName, 118, [&] { space.find<int>(nullptr); });
    expectErrorWithoutLocks(kNoName, 146, [&] { space.create<int>(nullptr, &gOne); });
    expectErrorWithoutLocks(kNoObject, 151, [&] { space.create<int>("x", nullptr); });
    expectErrorWithoutLocks(kNoName, 198, [&] { space.findOrCreate<int>(nullptr); });
    expectErrorWithoutLocks(kNoName, 237, [&] { space.createOrReplace<int>(nullptr, &gOne); });
    expectErrorWithoutLocks(kNoObject, 242, [&] { space.createOrReplace<int>("x", nullptr); });
    expectErrorWithoutLocks(kNoName, 272, [&] { space.remove<int>(nullptr); });
    expectErrorWithoutLocks(kNoName, 295, [&] { space.lock<int>(nullptr, true); });
    expectErrorWithoutLocks(kNoName, 330, [&] { space.unlock<int>(nullptr); });
    expectError(kNotLocked, 340, 1, [&] { space.unlock<int>("x"); });
    space.create<int>("x", &gOne);
    expectError(kDuplicate, 175, 3, [&] { space.create<int>("x", &gTwo); });
}

// --- Refused memory

/// The operations that make an entry of the name "x".
struct Making {
    const char* name;
    void (*make)(NamedObjectsNamespace& space);
};
constexpr std::array<Making, 5> kMakings = {{
    {"create_", [](NamedObjectsNamespace& space) { space.create_(kInt, "x", &gOne); }},
    {"createOrReplace_",
     [](NamedObjectsNamespace& space) { space.createOrReplace_(kInt, "x", &gOne); }},
    {"findOrCreate_",
     [](NamedObjectsNamespace& space) { space.findOrCreate_(kInt, "x", makeOne); }},
    {"addListEntry_", [](NamedObjectsNamespace& space) { space.addListEntry_(kInt, "x", &gOne); }},
    {"lock_",
     [](NamedObjectsNamespace& space) {
         space.lock_(kInt, "x", true);
         space.unlock_(kInt, "x");
     }},
}};

TEST_F(NamedObjectsWithoutMemory, AreNotMadeAndEveryLockIsLeft) {
    for (const Making& making : kMakings) {
        gMade = 0;
        NamedObjectsNamespace space("full");
        const long locks = platform().sync()->liveLocks();
        const auto check = [&] {
            EXPECT_EQ(space.findInfo_(kInt, "x"), nullptr);
            EXPECT_EQ(guardOf(space).owner(), 0u);
            EXPECT_EQ(platform().sync()->liveLocks(), locks);
            EXPECT_EQ(gMade, 0);
        };
        const int failures = forEachFailingAllocation([&] { making.make(space); }, check);
        EXPECT_EQ(failures, blocksOfEntry("i", "x") + 1) << making.name;
        EXPECT_EQ(listingOf(space).size(), 1u) << making.name;
        EXPECT_TRUE(isFreeElsewhere(guardOf(space))) << making.name;
        willLeave(space);
    }
}

TEST_F(NamedObjectsWithoutMemory, AreAllKeptWhenOneMoreIsRefused) {
    registry().create_(kInt, "a", &gOne);
    registry().lock_(kInt, "b", true);
    const Listing before = listing();
    forEachFailingAllocation([&] { registry().create_(kInt, "x", &gTwo); },
                             [&] { EXPECT_EQ(listing(), before); });
    EXPECT_EQ(registry().find_(kInt, "a"), &gOne);
    registry().unlock_(kInt, "b");
    EXPECT_EQ(registry().find_(kInt, "x"), &gTwo);
}

TEST_F(NamedObjectsWithoutMemory, AreNoNamespaceEither) {
    const long locks = platform().sync()->liveLocks();
    EXPECT_EQ(forEachFailingAllocation([] { NamedObjectsNamespace space("a name"); },
                                       [&] { EXPECT_EQ(platform().sync()->liveLocks(), locks); }),
              3);
}

TEST_F(NamedObjectsWithoutMemory, AreNotListedAndTheLockIsLeft) {
    registry().create_(kInt, "x", &gOne);
    int seen = 0;
    EXPECT_EQ(forEachFailingAllocation(
                  [&] { registry().forEach([&](const char*, const char*, bool) { ++seen; }); },
                  [&] {
                      EXPECT_EQ(seen, 0);
                      EXPECT_EQ(guardOf(registry()).owner(), 0u);
                  }),
              1);
    EXPECT_EQ(seen, 1);
}

TEST_F(NamedObjectsWithoutMemory, AreStillFoundReplacedLockedAndRemoved) {
    registry().create_(kInt, "x", &gOne);
    platform().calls().failFrom(kAllocate);
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOne), &gOne);
    registry().createOrReplace_(kInt, "x", &gTwo);
    EXPECT_TRUE(registry().lock_(kInt, "x", true));
    registry().unlock_(kInt, "x");
    registry().remove_(kInt, "x");
    registry().create_(kInt, "x", &gTwo);
    EXPECT_FALSE(platform().calls().hasFailed(kAllocate));
    platform().calls().succeed(kAllocate);
    EXPECT_EQ(registry().find_(kInt, "x"), &gTwo);
}

// --- A refused lock

TEST_F(NamedObjectsWithoutLock, AreNotMadeAndNothingIsLeft) {
    for (const Making& making : kMakings) {
        gMade = 0;
        const long blocks = platform().memory()->liveBlocks();
        platform().calls().fail(kCreateCriticalSection);
        EXPECT_THROW(making.make(registry()), std::bad_alloc) << making.name;
        platform().calls().succeed(kCreateCriticalSection);
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks) << making.name;
        EXPECT_EQ(registry().findInfo_(kInt, "x"), nullptr) << making.name;
        EXPECT_TRUE(isFreeElsewhere(guardOf(registry()))) << making.name;
        EXPECT_EQ(gMade, 0);
    }
}

TEST_F(NamedObjectsWithoutLock, AreNoNamespaceEither) {
    const long blocks = platform().memory()->liveBlocks();
    platform().calls().fail(kCreateCriticalSection);
    EXPECT_THROW(NamedObjectsNamespace space("a name"), std::bad_alloc);
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
}

} // namespace
