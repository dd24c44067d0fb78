// A namespace between many threads that create, find, lock, remove and list at once.
#include "Vq/VqCheck.h"
#include "Vq/VqNamedObjects.h"
#include "stress/Stress.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <map>
#include <string>

namespace {

using namespace vqtest;
using Vq::NamedObjectsNamespace;

constexpr int kSharedNames = 16;

/// An object of the tests. The names of the shared ones stay the same, those of the others grow
/// with the factor.
struct Thing {
    long plain = 0; // changed under the lock of its name, by nothing else
};

std::string numbered(const char* kind, long number) {
    return kind + std::to_string(number);
}

/// A number that threads count up together. It orders nothing that the registry should.
class Tally {
public:
    void add(long number = 1) { number_.fetch_add(number, std::memory_order_relaxed); }
    operator long() const { return number_.load(std::memory_order_relaxed); }

private:
    std::atomic<long> number_{0};
};

/// What went on, and what must not have.
struct Account {
    Tally operations;
    Tally violations;

    void expect(bool holds) {
        if (!holds) violations.add();
    }
};

/// Creates `thing`; false when the name had an object.
bool creates(NamedObjectsNamespace& space, const std::string& name, Thing& thing) {
    try {
        space.create(name.c_str(), &thing);
        return true;
    } catch (const Vq::Exception::RuntimeError& error) {
        return error.line_ != 175;
    }
}

/// How often each name is listed.
std::map<std::string, int> namesOf(NamedObjectsNamespace& space) {
    std::map<std::string, int> names;
    space.forEach([&](const char*, const char* name, bool) { ++names[name]; });
    return names;
}

TEST(RegistryStress, KeepsItsPromisesToThoseWhoDoEverythingAtOnce) {
    constexpr int kThreadsOfAKind = 2;
    const long rounds = 200 * stressFactor();
    NamedObjectsNamespace space("stress");
    Account account;
    std::array<Thing, kSharedNames> things;
    std::array<Thing, kThreadsOfAKind> contenders;
    std::array<Thing, kSharedNames> permanent;
    std::array<Tally, kSharedNames> locked;
    Tally created;
    Tally refused;
    for (int i = 0; i < kSharedNames; ++i) {
        space.create(numbered("permanent ", i).c_str(), &permanent[static_cast<std::size_t>(i)]);
    }

    // All of these at once create the same new names: one succeeds.
    const auto create = [&](int self) {
        for (long round = 0; round < rounds; ++round) {
            const std::string name = numbered("new ", round);
            const bool isFirst = creates(space, name, contenders[static_cast<std::size_t>(self)]);
            (isFirst ? created : refused).add();
            const Thing* const found = space.find<Thing>(name.c_str());
            account.expect(found == &contenders[0] || found == &contenders[1]);
            account.operations.add(2);
        }
    };
    // What was there before is always found, what is shared is the right one if any.
    const auto find = [&](int) {
        for (long round = 0; round < 4 * rounds; ++round) {
            const auto i = static_cast<std::size_t>(round % kSharedNames);
            const std::string number = std::to_string(i);
            account.expect(space.find<Thing>(("permanent " + number).c_str()) == &permanent[i]);
            account.expect(!space.find<Thing>(("never there " + number).c_str()));
            const Thing* const found = space.find<Thing>(("shared " + number).c_str());
            account.expect(!found || found == &things[i]);
            account.operations.add(3);
        }
    };
    // Who holds a name may count plainly, and nobody else changes its object meanwhile.
    const auto lock = [&](int self) {
        for (long round = 0; round < 2 * rounds; ++round) {
            const auto i = static_cast<std::size_t>((round + self) % kSharedNames);
            const std::string name = "shared " + std::to_string(i);
            account.operations.add();
            if (!space.lock<Thing>(name.c_str(), round % 2 == 0)) continue;
            ++things[i].plain;
            locked[i].add();
            space.remove<Thing>(name.c_str());
            account.expect(!space.find<Thing>(name.c_str()));
            account.expect(creates(space, name, things[i]));
            account.expect(space.find<Thing>(name.c_str()) == &things[i]);
            if (round % 3 == 0) space.remove<Thing>(name.c_str());
            space.unlock<Thing>(name.c_str());
            account.operations.add(5);
        }
    };
    // A thread's own names are as if there were no other threads; the shared ones come and go.
    const auto remove = [&](int self) {
        Thing mine;
        Thing other;
        for (long round = 0; round < rounds; ++round) {
            const std::string name = numbered("private ", self) + numbered(" ", round);
            space.create(name.c_str(), &mine);
            account.expect(space.find<Thing>(name.c_str()) == &mine);
            space.createOrReplace(name.c_str(), &other);
            account.expect(space.find<Thing>(name.c_str()) == &other);
            space.remove<Thing>(name.c_str());
            account.expect(!space.find<Thing>(name.c_str()));
            space.remove<Thing>(numbered("permanently empty ", round % kSharedNames).c_str());
            account.operations.add(7);
        }
    };
    // A list only grows at its end. Not more often with every factor, since it gets longer, too.
    const long listings = std::min(rounds / 10, 400L);
    const auto list = [&](int) {
        std::size_t last = 0;
        for (long round = 0; round < listings; ++round) {
            std::size_t count = 0;
            space.forEach([&](const char* type, const char* name, bool hasObject) {
                if (count < kSharedNames) {
                    account.expect(name == numbered("permanent ", static_cast<long>(count)));
                    account.expect(hasObject);
                }
                account.expect(std::strcmp(type, typeid(Thing).name()) == 0);
                ++count;
            });
            account.expect(count >= last);
            last = count;
            account.operations.add();
        }
    };
    onThreads(5 * kThreadsOfAKind, [&](int thread) {
        const int self = thread / 5;
        switch (thread % 5) {
        case 0:
            create(self);
            break;
        case 1:
            find(self);
            break;
        case 2:
            lock(self);
            break;
        case 3:
            remove(self);
            break;
        default:
            list(self);
            break;
        }
    });

    EXPECT_EQ(account.violations, 0L);
    EXPECT_EQ(created, rounds);
    EXPECT_EQ(refused, (kThreadsOfAKind - 1) * rounds);
    for (std::size_t i = 0; i < kSharedNames; ++i) EXPECT_EQ(things[i].plain, locked[i]);
    const std::map<std::string, int> names = namesOf(space);
    EXPECT_EQ(static_cast<long>(names.size()),
              2 * kSharedNames + rounds + kThreadsOfAKind * rounds);
    for (const auto& [name, times] : names) EXPECT_EQ(times, 1) << name;
    report("operations", account.operations);
}

std::atomic<long> gMade{0};
Thing gThing;

TEST(RegistryStress, RunsAFactoryOncePerName) {
    constexpr int kThreads = 4;
    const long names = 1'000 * stressFactor();
    NamedObjectsNamespace space("factories");
    Account account;
    gMade = 0;
    onThreads(kThreads, [&](int) {
        for (long i = 0; i < names; ++i) {
            const auto make = []() -> void* {
                gMade.fetch_add(1, std::memory_order_relaxed);
                return &gThing;
            };
            account.expect(space.findOrCreate_(typeid(Thing), numbered("", i).c_str(), make) ==
                           &gThing);
        }
    });
    EXPECT_EQ(account.violations, 0L);
    EXPECT_EQ(gMade, names);
    EXPECT_EQ(static_cast<long>(namesOf(space).size()), names);
    report("operations", kThreads * names);
}

TEST(RegistryStress, LocksOneNameForOneThreadAtATime) {
    constexpr int kThreads = 4;
    const long rounds = 2'000 * stressFactor();
    NamedObjectsNamespace space("locks");
    Thing thing;
    Tally entered;
    onThreads(kThreads, [&](int thread) {
        for (long round = 0; round < rounds; ++round) {
            // Two threads wait, two ask until they get it; all of them nest.
            while (!space.lock<Thing>("the one", thread % 2 == 0)) std::this_thread::yield();
            space.lock<Thing>("the one", true);
            ++thing.plain;
            space.unlock<Thing>("the one");
            space.unlock<Thing>("the one");
            entered.add();
        }
    });
    EXPECT_EQ(thing.plain, kThreads * rounds);
    EXPECT_EQ(entered, kThreads * rounds);
    EXPECT_TRUE(space.lock<Thing>("the one", false)) << "free at the end";
    space.unlock<Thing>("the one");
    report("operations", 4 * kThreads * rounds);
}

TEST(RegistryStress, LeavesTheEntriesOfNamespacesThatComeAndGo) {
    constexpr int kThreads = 4;
    constexpr int kEntries = 20;
    const long rounds = 50 * stressFactor();
    Account account;
    onThreads(kThreads, [&](int) {
        Thing thing;
        for (long round = 0; round < rounds; ++round) {
            std::array<NamedObjectInfo*, kEntries> left{};
            {
                NamedObjectsNamespace space("brief");
                for (int i = 0; i < kEntries; ++i) {
                    const std::string name = numbered("", i);
                    space.create(name.c_str(), &thing);
                    left[static_cast<std::size_t>(i)] =
                        space.findInfo_(typeid(Thing), name.c_str());
                }
            }
            for (std::size_t i = 0; i < kEntries; ++i) {
                account.expect(left[i]->object_ == &thing);
                account.expect(left[i]->name_ == std::to_string(i).c_str());
                account.expect(left[i]->lock_.attemptEntry() == 0);
                left[i]->lock_.leave();
            }
        }
    });
    EXPECT_EQ(account.violations, 0L);
    report("namespaces", kThreads * rounds);
}

} // namespace
