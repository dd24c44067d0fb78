/// The fixture of the tests of `Vq::NamedObjectsNamespace`: a namespace on a scripted platform.
///
/// Entries outlive their namespace by design. What is checked at the end of a test is that they are
/// all that does: a lock each, and the blocks that an entry has.
#pragma once

#include "Vq/VqNamedObjects.h"
#include "VqTest/ScriptedTest.h"

#include <optional>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

namespace vqtest {

/// A type of any name, for what only type information shows. The standard library drops one leading
/// '*' itself.
class NamedType : public std::type_info {
public:
    explicit NamedType(const char* name) : std::type_info(name) {}
};

class RegistryTest : public ::testing::Test {
protected:
    struct Listed {
        std::string type;
        std::string name;
        bool hasObject;

        friend bool operator==(const Listed&, const Listed&) = default;
        friend std::ostream& operator<<(std::ostream& out, const Listed& entry) {
            return out << entry.type << ':' << entry.name << (entry.hasObject ? " full" : " empty");
        }
    };
    using Listing = std::vector<Listed>;

    RegistryTest() {
        platform().reset();
        makeRoomForTraces();
        blocks_ = platform().memory()->liveBlocks();
        locks_ = platform().sync()->liveLocks();
        registry_.emplace("test");
    }

    ~RegistryTest() override {
        platform().reset();
        if (registry_) destroy(registry_);
        if (HasFailure()) return; // the framework keeps its text
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks_ + blocksLeft_);
        EXPECT_EQ(platform().sync()->liveLocks(), locks_ + entriesLeft_);
    }

    Vq::NamedObjectsNamespace& registry() { return *registry_; }

    /// Destroys the namespace of the fixture ahead of the end.
    void destroyRegistry() { destroy(registry_); }

    /// To be told of another namespace before its end.
    void willLeave(Vq::NamedObjectsNamespace& space) {
        for (const Listed& entry : listingOf(space)) {
            ++entriesLeft_;
            blocksLeft_ += blocksOfEntry(entry.type, entry.name);
        }
    }

    /// The entry, its lock's shared part and count, and the texts.
    static long blocksOfEntry(const std::string& type, const std::string& name) {
        return 3 + !type.empty() + !name.empty();
    }

    static Listing listingOf(Vq::NamedObjectsNamespace& space) {
        Listing listing;
        space.forEach([&](const char* type, const char* name, bool hasObject) {
            listing.push_back({type, name, hasObject});
        });
        return listing;
    }

    Listing listing() { return listingOf(registry()); }

    /// The namespace's own lock, behind the list.
    static CriticalSection& guardOf(Vq::NamedObjectsNamespace& space) {
        return *reinterpret_cast<CriticalSection*>(reinterpret_cast<char*>(&space) + 24);
    }

    /// The namespace's name, behind its lock.
    static const LightweightString<char>& nameOf(const Vq::NamedObjectsNamespace& space) {
        return *reinterpret_cast<const LightweightString<char>*>(
            reinterpret_cast<const char*>(&space) + 40);
    }

    /// Runs `work()` on a thread of its own to its end.
    template <class Work> static void elsewhere(Work work) {
        std::thread other(work);
        other.join();
    }

    /// Could another thread take the lock at this moment?
    static bool isFreeElsewhere(CriticalSection& guard) {
        bool isFree = false;
        elsewhere([&] {
            isFree = guard.attemptEntry() == 0;
            if (isFree) guard.leave();
        });
        return isFree;
    }

private:
    void destroy(std::optional<Vq::NamedObjectsNamespace>& space) {
        willLeave(*space);
        space.reset();
    }

    long blocks_;
    long locks_;
    long blocksLeft_ = 0;
    long entriesLeft_ = 0;
    std::optional<Vq::NamedObjectsNamespace> registry_;
};

} // namespace vqtest
