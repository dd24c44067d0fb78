// What the operations of a namespace do. Errors, locks, the index: their own files.
#include "Vq/VqNamedObjects.h"

#include "Vq/System.h"
#include "support/RegistryTest.h"
#include "support/StartGate.h"

#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::NamedObjectsNamespace;

static_assert(!std::is_polymorphic_v<NamedObjectsNamespace>);
static_assert(!std::is_copy_constructible_v<NamedObjectsNamespace>);
static_assert(!std::is_copy_assignable_v<NamedObjectsNamespace>);
static_assert(std::is_nothrow_destructible_v<NamedObjectsNamespace>);
static_assert(!std::is_polymorphic_v<NamedObjectInfo>);
static_assert(!std::is_copy_constructible_v<NamedObjectInfo>);

const std::type_info& kInt = typeid(int);

int gOne = 1;
int gTwo = 2;
long gMade = 0; // calls of the factories below

void* makeOne() {
    ++gMade;
    return &gOne;
}

void* makeNothing() {
    ++gMade;
    return nullptr;
}

unsigned checksumOf(std::string_view text) {
    return Vq::CRC::CalculateCRC32ForBlock(text.data(), text.size());
}

class NamedObjectsTest : public RegistryTest {
protected:
    NamedObjectsTest() { gMade = 0; }
};

using NamedObjectsLayout = NamedObjectsTest;
using NamedObjectsNamespaceItself = NamedObjectsTest;
using NamedObjectsFind = NamedObjectsTest;
using NamedObjectsCreate = NamedObjectsTest;
using NamedObjectsFindOrCreate = NamedObjectsTest;
using NamedObjectsCreateOrReplace = NamedObjectsTest;
using NamedObjectsRemove = NamedObjectsTest;
using NamedObjectsEntry = NamedObjectsTest;
using NamedObjectsByType = NamedObjectsTest;
using NamedObjectsForEach = NamedObjectsTest;

// --- Layout

TEST_F(NamedObjectsLayout, OfAnEntryIsChecksumsObjectLockTypeName) {
    const NamedObjectInfo& entry = *registry().addListEntry_(kInt, "x", &gOne);
    const auto offset = [&entry](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&entry);
    };
    EXPECT_EQ(offset(entry.typeCrc_), 0);
    EXPECT_EQ(offset(entry.nameCrc_), 4);
    EXPECT_EQ(offset(entry.object_), 8);
    EXPECT_EQ(offset(entry.lock_), 16);
    EXPECT_EQ(offset(entry.typeName_), 32);
    EXPECT_EQ(offset(entry.name_), 32 + static_cast<long>(sizeof(entry.typeName_)));
}

TEST_F(NamedObjectsLayout, OfANamespaceIsListLockName) {
    registry().create_(kInt, "x", &gOne);
    // A list's first word leads to its first node, whose third word is what it holds.
    const void* const* node = nullptr;
    std::memcpy(&node, static_cast<const void*>(&registry()), sizeof(node));
    EXPECT_EQ(node[2], registry().findInfo_(kInt, "x"));
    const auto made = callsOf([&] { registry().findInfo_(kInt, "x"); });
    ASSERT_EQ(made.front().call, kAcquire);
    EXPECT_EQ(made.front(), callsOf([&] { guardOf(registry()).enter(); }).front());
    guardOf(registry()).leave();
    EXPECT_EQ(nameOf(registry()), "test");
}

// --- Namespaces

TEST_F(NamedObjectsNamespaceItself, IsEmptyAtFirstAndHasALockOfItsOwnAndACopyOfItsName) {
    char name[] = "mine";
    const Counts made = countsOf([&] {
        NamedObjectsNamespace space(name);
        name[0] = 'X';
        EXPECT_EQ(nameOf(space), "mine");
        space.forEach([](const char*, const char*, bool) { ADD_FAILURE(); });
    });
    EXPECT_EQ(made[kCreateCriticalSection], 1);
    EXPECT_EQ(made[kDestroyCriticalSection], 1);
    EXPECT_EQ(made[kAllocate], made[kDeallocate]);
}

TEST_F(NamedObjectsNamespaceItself, TakesNullOrNothingForAnEmptyName) {
    for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
        const NamedObjectsNamespace space(nothing);
        EXPECT_TRUE(nameOf(space).empty());
    }
}

TEST_F(NamedObjectsNamespaceItself, KnowsNothingOfOthersAndMayBearTheSameName) {
    NamedObjectsNamespace other("test");
    registry().create_(kInt, "x", &gOne);
    EXPECT_EQ(other.find_(kInt, "x"), nullptr);
    other.create_(kInt, "x", &gTwo);
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    willLeave(other);
}

TEST_F(NamedObjectsNamespaceItself, LeavesEntriesAndTheirLocksWhenItIsDestroyed) {
    struct Object {
        ~Object() { ADD_FAILURE() << "the registry owns nothing"; }
    };
    auto* const object = static_cast<Object*>(::operator new(sizeof(Object)));
    registry().create("object", object);
    registry().lock<Object>("lock", true);
    NamedObjectInfo* const full = registry().findInfo_(typeid(Object), "object");
    NamedObjectInfo* const held = registry().findInfo_(typeid(Object), "lock");
    destroyRegistry();
    EXPECT_EQ(full->object_, object);
    EXPECT_EQ(full->name_, "object");
    EXPECT_EQ(held->typeName_, typeid(Object).name());
    EXPECT_TRUE(isFreeElsewhere(full->lock_));
    EXPECT_FALSE(isFreeElsewhere(held->lock_));
    held->lock_.leave();
    EXPECT_TRUE(isFreeElsewhere(held->lock_));
    ::operator delete(object);
}

TEST_F(NamedObjectsNamespaceItself, FreesItsOwnBlocksAndNoneOfItsEntries) {
    constexpr int kEntries = 100;
    auto* const space = new NamedObjectsNamespace("freed");
    std::vector<NamedObjectInfo*> entries;
    for (int i = 0; i < kEntries; ++i) {
        entries.push_back(space->addListEntry_(kInt, std::to_string(i).c_str(), &gOne));
    }
    willLeave(*space);
    const Counts made = countsOf([&] { delete space; });
    // Itself, its name, its lock's two blocks, a node for each entry, the grown table.
    EXPECT_EQ(made[kDeallocate], 4 + kEntries + 1);
    EXPECT_EQ(made[kDestroyCriticalSection], 1);
    for (int i = 0; i < kEntries; ++i) {
        EXPECT_EQ(entries[static_cast<std::size_t>(i)]->name_, std::to_string(i).c_str());
    }
}

TEST_F(NamedObjectsNamespaceItself, MayBeDestroyedTogetherWithOthers) {
    constexpr int kThreads = 4;
    constexpr int kEntries = 50;
    StartGate gate(kThreads);
    std::vector<NamedObjectInfo*> entries(kThreads * kEntries);
    std::vector<NamedObjectsNamespace*> spaces;
    for (int i = 0; i < kThreads; ++i) {
        spaces.push_back(new NamedObjectsNamespace("many"));
        for (int k = 0; k < kEntries; ++k) {
            entries[static_cast<std::size_t>(i * kEntries + k)] =
                spaces.back()->addListEntry_(kInt, std::to_string(k).c_str(), &gOne);
        }
        willLeave(*spaces.back());
    }
    std::vector<std::thread> threads;
    for (NamedObjectsNamespace* space : spaces) {
        threads.emplace_back([&gate, space] {
            gate.wait();
            delete space;
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (NamedObjectInfo* entry : entries) {
        EXPECT_EQ(entry->object_, &gOne);
        EXPECT_EQ(entry->lock_.attemptEntry(), 0);
        entry->lock_.leave();
    }
}

// --- Single operations

TEST_F(NamedObjectsFind, GivesNullThenTheObjectThenNullAgain) {
    EXPECT_EQ(registry().find_(kInt, "x"), nullptr);
    registry().create_(kInt, "x", &gOne);
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    registry().remove_(kInt, "x");
    EXPECT_EQ(registry().find_(kInt, "x"), nullptr);
}

TEST_F(NamedObjectsFind, MakesNoEntryAndNoAllocation) {
    const Counts made = countsOf([&] {
        registry().find_(kInt, "x");
        registry().findInfo_(kInt, "x");
        registry().remove_(kInt, "x");
    });
    EXPECT_EQ(made[kAllocate], 0);
    EXPECT_EQ(listing(), Listing{});
}

TEST_F(NamedObjectsFind, TellsOneNameUnderTwoTypesApart) {
    registry().create_(kInt, "x", &gOne);
    EXPECT_EQ(registry().find_(typeid(long), "x"), nullptr);
    registry().create_(typeid(long), "x", &gTwo);
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    EXPECT_EQ(registry().find_(typeid(long), "x"), &gTwo);
    registry().remove_(kInt, "x");
    EXPECT_EQ(registry().find_(typeid(long), "x"), &gTwo);
}

TEST_F(NamedObjectsCreate, RegistersInANewEntryAndInOneWithoutObject) {
    registry().create_(kInt, "new", &gOne);
    registry().lock_(kInt, "locked", true);
    registry().unlock_(kInt, "locked");
    NamedObjectInfo* const entry = registry().findInfo_(kInt, "locked");
    EXPECT_EQ(entry->object_, nullptr);
    registry().create_(kInt, "locked", &gTwo);
    EXPECT_EQ(entry->object_, &gTwo);
    EXPECT_EQ(listing(), (Listing{{"i", "new", true}, {"i", "locked", true}}));
}

TEST_F(NamedObjectsCreate, WorksAgainAfterRemove) {
    registry().create_(kInt, "x", &gOne);
    NamedObjectInfo* const entry = registry().findInfo_(kInt, "x");
    registry().remove_(kInt, "x");
    registry().create_(kInt, "x", &gTwo);
    EXPECT_EQ(registry().find_(kInt, "x"), &gTwo);
    EXPECT_EQ(registry().findInfo_(kInt, "x"), entry);
}

TEST_F(NamedObjectsFindOrCreate, CallsTheFactoryForANewKeyOnceAndRegistersItsResult) {
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOne), &gOne);
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOne), &gOne);
    EXPECT_EQ(gMade, 1);
    EXPECT_EQ(registry().find_(kInt, "x"), &gOne);
    EXPECT_EQ(listing(), (Listing{{"i", "x", true}}));
}

TEST_F(NamedObjectsFindOrCreate, DoesNotCallTheFactoryForAnObjectThatIsThere) {
    registry().create_(kInt, "x", &gTwo);
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOne), &gTwo);
    EXPECT_EQ(gMade, 0);
}

TEST_F(NamedObjectsFindOrCreate, FillsAnEntryThatWasOnlyLockedOrWasEmptied) {
    registry().lock_(kInt, "locked", true);
    EXPECT_EQ(registry().findOrCreate_(kInt, "locked", makeOne), &gOne);
    registry().unlock_(kInt, "locked");
    registry().create_(kInt, "emptied", &gTwo);
    registry().remove_(kInt, "emptied");
    EXPECT_EQ(registry().findOrCreate_(kInt, "emptied", makeOne), &gOne);
    EXPECT_EQ(gMade, 2);
    EXPECT_EQ(registry().find_(kInt, "emptied"), &gOne);
}

TEST_F(NamedObjectsFindOrCreate, KeepsAnEntryForNullAndCallsTheFactoryAgain) {
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeNothing), nullptr);
    EXPECT_EQ(listing(), (Listing{{"i", "x", false}}));
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeNothing), nullptr);
    EXPECT_EQ(gMade, 2);
    EXPECT_EQ(registry().findOrCreate_(kInt, "x", makeOne), &gOne);
    EXPECT_EQ(gMade, 3);
    EXPECT_EQ(listing(), (Listing{{"i", "x", true}}));
}

TEST_F(NamedObjectsCreateOrReplace, RegistersAndForgetsTheOldObject) {
    registry().createOrReplace_(kInt, "x", &gOne);
    NamedObjectInfo* const entry = registry().findInfo_(kInt, "x");
    EXPECT_EQ(entry->object_, &gOne);
    registry().createOrReplace_(kInt, "x", &gTwo);
    EXPECT_EQ(entry->object_, &gTwo);
    registry().remove_(kInt, "x");
    registry().createOrReplace_(kInt, "x", &gOne);
    EXPECT_EQ(entry->object_, &gOne);
    EXPECT_EQ(listing(), (Listing{{"i", "x", true}}));
}

TEST_F(NamedObjectsRemove, ClearsTheObjectAndKeepsTheEntry) {
    registry().create_(kInt, "x", &gOne);
    NamedObjectInfo* const entry = registry().findInfo_(kInt, "x");
    EXPECT_EQ(countsOf([&] { registry().remove_(kInt, "x"); })[kDeallocate], 0);
    EXPECT_EQ(entry->object_, nullptr);
    EXPECT_EQ(registry().findInfo_(kInt, "x"), entry);
    registry().remove_(kInt, "x");
    registry().remove_(kInt, "never there");
    EXPECT_EQ(listing(), (Listing{{"i", "x", false}}));
}

// --- Entries

TEST_F(NamedObjectsEntry, HoldsCopiesOfBothNamesWithTheirChecksums) {
    char name[] = "some name";
    const NamedObjectInfo& entry =
        *registry().addListEntry_(typeid(NamedObjectsNamespace), name, &gOne);
    name[0] = 'X';
    EXPECT_EQ(entry.name_, "some name");
    EXPECT_EQ(entry.typeName_, typeid(NamedObjectsNamespace).name());
    EXPECT_EQ(entry.nameCrc_, checksumOf("some name"));
    EXPECT_EQ(entry.typeCrc_, checksumOf(typeid(NamedObjectsNamespace).name()));
    EXPECT_EQ(entry.object_, &gOne);
    CriticalSection lock = entry.lock_;
    EXPECT_EQ(lock.owner(), 0u);
    EXPECT_TRUE(lock.name().empty());
}

TEST_F(NamedObjectsEntry, IsMadeTheSameWayByEveryOperationThatMakesOne) {
    registry().create_(kInt, "create", &gOne);
    registry().createOrReplace_(kInt, "replace", &gOne);
    registry().findOrCreate_(kInt, "factory", makeOne);
    registry().lock_(kInt, "lock", false);
    registry().unlock_(kInt, "lock");
    for (const char* name : {"create", "replace", "factory", "lock"}) {
        const NamedObjectInfo* const entry = registry().findInfo_(kInt, name);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->name_, name);
        EXPECT_EQ(entry->typeName_, "i");
        EXPECT_EQ(entry->nameCrc_, checksumOf(name));
        EXPECT_EQ(entry->typeCrc_, checksumOf("i"));
    }
}

TEST_F(NamedObjectsEntry, TakesSixBlocksOneOfThemTheNamespaces) {
    const Counts made = countsOf([&] { registry().create_(kInt, "x", &gOne); });
    EXPECT_EQ(made[kAllocate], blocksOfEntry("i", "x") + 1);
    EXPECT_EQ(made[kCreateCriticalSection], 1);
}

TEST_F(NamedObjectsEntry, IsAppendedWithoutLookingForOneOfTheSameKeyAndTheOldestIsFound) {
    NamedObjectInfo* const oldest = registry().addListEntry_(kInt, "x", nullptr);
    NamedObjectInfo* const second = registry().addListEntry_(kInt, "x", &gTwo);
    EXPECT_NE(oldest, second);
    EXPECT_EQ(listing(), (Listing{{"i", "x", false}, {"i", "x", true}}));
    EXPECT_EQ(registry().findInfo_(kInt, "x"), oldest);
    EXPECT_EQ(registry().find_(kInt, "x"), nullptr);
    registry().create_(kInt, "x", &gOne);
    EXPECT_EQ(oldest->object_, &gOne);
    registry().remove_(kInt, "x");
    EXPECT_EQ(registry().find_(kInt, "x"), nullptr);
    EXPECT_EQ(second->object_, &gTwo);
}

TEST_F(NamedObjectsEntry, OfANullNameIsThatOfTheEmptyOne) {
    EXPECT_EQ(registry().findInfo_(kInt, nullptr), nullptr);
    NamedObjectInfo* const entry = registry().addListEntry_(kInt, nullptr, &gOne);
    EXPECT_TRUE(entry->name_.empty());
    EXPECT_EQ(entry->nameCrc_, 0u);
    EXPECT_EQ(registry().findInfo_(kInt, nullptr), entry);
    EXPECT_EQ(registry().findInfo_(kInt, ""), entry);
    EXPECT_EQ(registry().find_(kInt, ""), &gOne);
}

// --- By type

TEST_F(NamedObjectsByType, IsTheSameAsByTypeInformation) {
    struct Thing {
        int value;
    };
    Thing thing{5};
    Thing other{6};
    EXPECT_EQ(registry().find<Thing>("x"), nullptr);
    registry().create<Thing>("x", &thing);
    EXPECT_EQ(registry().find<Thing>("x"), &thing);
    EXPECT_EQ(registry().find_(typeid(Thing), "x"), &thing);
    EXPECT_EQ(registry().find<int>("x"), nullptr);
    registry().createOrReplace<Thing>("x", &other);
    EXPECT_EQ(registry().find<Thing>("x"), &other);
    registry().remove<Thing>("x");
    EXPECT_EQ(registry().find<Thing>("x"), nullptr);
    EXPECT_TRUE(registry().lock<Thing>("x", false));
    EXPECT_FALSE(isFreeElsewhere(registry().findInfo_(typeid(Thing), "x")->lock_));
    registry().unlock<Thing>("x");
    EXPECT_TRUE(isFreeElsewhere(registry().findInfo_(typeid(Thing), "x")->lock_));
}

TEST_F(NamedObjectsByType, FindOrCreateMakesAValueInitialisedObject) {
    struct Thing {
        long value;
    };
    Thing* const thing = registry().findOrCreate<Thing>("x");
    EXPECT_EQ(thing->value, 0);
    EXPECT_EQ(registry().findOrCreate<Thing>("x"), thing);
    delete thing;
}

TEST_F(NamedObjectsByType, FindOrCreateMakesNamedLocks) {
    CriticalSection* const guard = registry().findOrCreate<CriticalSection>("file lock");
    EXPECT_EQ(guard->owner(), 0u);
    EXPECT_EQ(registry().find<CriticalSection>("file lock"), guard);
    delete guard;
}

// --- Listing

TEST_F(NamedObjectsForEach, IsInTheOrderOfCreation) {
    registry().create_(kInt, "b", &gOne);
    registry().lock_(typeid(long), "a", true);
    registry().unlock_(typeid(long), "a");
    registry().findOrCreate_(kInt, "c", makeNothing);
    registry().createOrReplace_(typeid(char), "", &gOne);
    registry().create_(typeid(long), "a", &gTwo);
    registry().remove_(kInt, "b");
    EXPECT_EQ(listing(),
              (Listing{{"i", "b", false}, {"l", "a", true}, {"i", "c", false}, {"c", "", true}}));
}

TEST_F(NamedObjectsForEach, LetsItsFunctionUseTheNamespaceAndShowsTheEntriesOfTheCall) {
    registry().create_(kInt, "a", &gOne);
    registry().create_(kInt, "b", &gOne);
    std::string seen;
    registry().forEach([&](const char*, const char* name, bool hasObject) {
        seen += std::string(name) + (hasObject ? "+" : "-");
        EXPECT_EQ(guardOf(registry()).owner(), 0u);
        registry().createOrReplace_(kInt, (std::string(name) + "2").c_str(), &gTwo);
        registry().remove_(kInt, "b");
        elsewhere([&] { EXPECT_EQ(registry().find_(kInt, "a"), &gOne); });
    });
    EXPECT_EQ(seen, "a+b-");
    EXPECT_EQ(listing().size(), 4u);
}

} // namespace
