#include "Vq/Platform.h"

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace {

bool allocationFails() {
    constexpr unsigned long kTooMuch = 1UL << 62; // no machine has this
    try {
        OS()->memory()->deallocate(OS()->memory()->allocate(kTooMuch));
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// Adds its name to a journal when asked, and then does what it was given to do.
class NamedCache : public iReclaimable {
public:
    using Action = std::function<void()>;

    NamedCache(std::string& journal, char name, Action action = nullptr)
        : journal_(journal), name_(name), action_(std::move(action)) {
        OS()->memory()->registerReclaimable(this);
    }
    ~NamedCache() override { OS()->memory()->unregisterReclaimable(this); }
    NamedCache(const NamedCache&) = delete;
    NamedCache& operator=(const NamedCache&) = delete;

    unsigned long reclaimableBytes() override { return 1; }

    unsigned long reclaim(unsigned long /*bytesWanted*/) override {
        journal_ += name_;
        // What the action does may be the end of this object.
        const Action action = action_;
        if (action) action();
        return 0;
    }

    const char* reclaimableName() override { return "named cache"; }

private:
    std::string& journal_;
    const char name_;
    const Action action_;
};

/// Cannot even tell how much it holds.
class Unsure : public NamedCache {
public:
    using NamedCache::NamedCache;
    unsigned long reclaimableBytes() override { throw std::runtime_error("cannot tell"); }
};

TEST(ReclaimableOrder, PutsAnObjectRegisteredAnewAtTheEnd) {
    std::string journal;
    NamedCache a(journal, 'a');
    const NamedCache b(journal, 'b');
    OS()->memory()->unregisterReclaimable(&a);
    OS()->memory()->registerReclaimable(&a);
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "ba");
}

TEST(ReclaimableOrder, IsKeptByAnObjectRegisteredTwice) {
    std::string journal;
    NamedCache a(journal, 'a');
    const NamedCache b(journal, 'b');
    OS()->memory()->registerReclaimable(&a);
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "ab");
}

TEST(ReclaimableOrder, GoesOnBehindAnObjectThatDestroysItself) {
    std::string journal;
    const NamedCache a(journal, 'a');
    std::unique_ptr<NamedCache> b;
    b = std::make_unique<NamedCache>(journal, 'b', [&] { b = nullptr; });
    const NamedCache c(journal, 'c');
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "abc");
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "abcac");
}

TEST(ReclaimableOrder, HasAPlaceForAnObjectThatCannotTellWhatItHolds) {
    std::string journal;
    const Unsure a(journal, 'a');
    const NamedCache b(journal, 'b');
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "ab");
}

TEST(ReclaimableOrder, GoesOnBehindWhatIsThrownThatIsNoException) {
    std::string journal;
    const NamedCache a(journal, 'a', [] { throw 5; });
    const NamedCache b(journal, 'b');
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "ab");
}

TEST(ReclaimableThread, IsTheOneThatNeedsMemory) {
    std::string journal;
    std::thread::id asked;
    const NamedCache cache(journal, 'a', [&] { asked = std::this_thread::get_id(); });
    std::thread other([] { EXPECT_TRUE(allocationFails()); });
    const std::thread::id needing = other.get_id();
    other.join();
    EXPECT_EQ(asked, needing);
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(asked, std::this_thread::get_id());
}

TEST(ReclaimableRemoval, OfNullReturns) {
    OS()->memory()->unregisterReclaimable(nullptr);
    std::string journal;
    const NamedCache cache(journal, 'a', [] { OS()->memory()->unregisterReclaimable(nullptr); });
    EXPECT_TRUE(allocationFails());
    EXPECT_EQ(journal, "a");
}

} // namespace
