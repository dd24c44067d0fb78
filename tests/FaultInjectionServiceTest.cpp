// What asks for more than memory under every failure that the platform can give: locks, names,
// folders, conversions, call stacks, identifiers and counts.
#include "Vq/Allocation.h"
#include "Vq/CriticalSection.h"
#include "Vq/PoolLog.h"
#include "Vq/UUID.h"
#include "Vq/Version.h"
#include "Vq/VqCheck.h"
#include "Vq/VqNamedObjects.h"

#include "VqTest/ScriptedTest.h"
#include "support/FaultTable.h"
#include "support/FreshProcess.h"
#include "support/PoolLogTest.h"
#include "support/RegistryTest.h"

#include <optional>
#include <string>

namespace {

using namespace vqtest;
using enum vqtest::Call;
using Vq::NamedObjectsNamespace;
using Vq::Exception::RuntimeError;
using Vq::PooledObjectDebug::LoggingTraitsBase;
using Vq::PooledObjectDebug::LoggingTraitsBase_exit;

// --- Memory, identifiers, versions

using ServiceFaults = ScriptedTest;

struct Cache : Reclaimable {
    unsigned long reclaimableBytes() override { return 0; }
    unsigned long reclaim(unsigned long) override { return 0; }
    const char* reclaimableName() override { return "cache"; }
};

TEST_F(ServiceFaults, OfSmallThingsLeaveNothing) {
    const auto label = [](const wchar_t* application) {
        return [application](const FailEach& failEach) {
            platform().fileSystem()->setApplicationName(application);
            failEach([] { (void)Vq::getVersionLabel(); });
        };
    };
    expectSound({
        {"CPUAlignedNew",
         {kAllocate},
         [](const FailEach& failEach) { failEach([] { CPUAlignedDelete(CPUAlignedNew(1)); }); }},
        {"Reclaimable",
         {kRegisterReclaimable},
         [](const FailEach& failEach) {
             failEach([] { Cache cache; },
                      [] { EXPECT_TRUE(platform().memory()->reclaimables().empty()); });
         }},
        {"a new reclaimable",
         {kAllocate, kRegisterReclaimable},
         [](const FailEach& failEach) { failEach([] { delete new Cache; }); }},
        {"UUID::generate",
         {kGenerateUUID},
         [](const FailEach& failEach) {
             Vq::UUID id("00112233-4455-6677-8899-aabbccddeeff");
             const Vq::UUID before = id;
             failEach([&] { id = Vq::UUID::generate(); }, [&] { EXPECT_EQ(id, before); });
         }},
        {"UUID of text",
         {},
         [](const FailEach& failEach) {
             const LightweightString<wchar_t> text(L"00112233-4455-6677-8899-aabbccddeeff");
             failEach([&] { return Vq::UUID(text).valid(); });
         }},
        {"UUID::asString",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { (void)Vq::UUID().asString(); }); }},
        {"UUID::asWString",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) { failEach([] { (void)Vq::UUID().asWString(); }); }},
        {"getVersionLabel",
         {kAllocate, kAtomicIncrement, kApplicationName, kWideFromAscii, kFromUTF8},
         label(L"Editor")},
        {"getVersionLabel of the variant",
         {kAllocate, kAtomicIncrement, kApplicationName, kWideFromAscii, kFromUTF8},
         label(L"Marlin Cut")},
    });
}

// --- Exceptions

TEST_F(ServiceFaults, OfAnExceptionComeOutInItsPlace) {
    expectSound({
        {"RuntimeError",
         {kAllocate, kAtomicIncrement, kGetCallStack},
         [](const FailEach& failEach) { failEach([] { RuntimeError("m", "f", 1); }); }},
        {"a copy",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const RuntimeError error("m", "f", 1);
             failEach([&] { const RuntimeError copy(error); },
                      [&] { EXPECT_EQ(error.callStack_.size(), 2u); });
         }},
        {"assignment",
         {kAllocate, kAtomicIncrement},
         [](const FailEach& failEach) {
             const RuntimeError error("m", "f", 1);
             failEach(
                 [&] {
                     Vq::Exception::LogicError other("n", "g", 2);
                     static_cast<Vq::Exception::Base&>(other) = error;
                 },
                 [&] { EXPECT_EQ(error.callStack_.size(), 2u); });
         }},
        {"LogicError",
         {},
         [](const FailEach& failEach) {
             failEach([] { Vq::Exception::LogicError("m", "f", 1); });
         }},
        {"throwShort",
         {kAllocate, kAtomicIncrement, kGetCallStack},
         [](const FailEach& failEach) {
             failEach([] {
                 try {
                     Vq::Check::Private::throwShort("f", 1, -1);
                 } catch (const RuntimeError& error) {
                     delete[] error.message_; // which nobody else frees
                 }
             });
         }},
        {"throwDetailed",
         {kAllocate, kAtomicIncrement, kGetCallStack},
         [](const FailEach& failEach) {
             failEach([] {
                 try {
                     VQ_CHECK_THROW(-1);
                 } catch (const RuntimeError& error) {
                     delete[] error.message_;
                 }
             });
         }},
    });
}

// --- Locks

TEST_F(ServiceFaults, OfALockLeaveTheOldOne) {
    const std::vector<Call> all = {kAllocate, kAtomicIncrement, kCreateCriticalSection};
    const auto with = [](auto use) {
        return [use](const FailEach& failEach) {
            CriticalSection guard("old");
            CriticalSection other("other");
            CriticalSection held(guard); // a lock must not go while somebody holds it
            held.enter();
            failEach([&] { use(guard, other); },
                     [&] {
                         EXPECT_EQ(guard.name(), "old");
                         EXPECT_EQ(other.name(), "other");
                         EXPECT_NE(guard.owner(), 0u);
                         EXPECT_EQ(other.owner(), 0u);
                     });
            held.leave();
        };
    };
    using Guard = CriticalSection;
    expectSound({
        {"a new one", all, [](const FailEach& failEach) { failEach([] { Guard guard; }); }},
        {"a tuned one", all, [](const FailEach& failEach) { failEach([] { Guard guard(5u); }); }},
        {"a named one", all, [](const FailEach& failEach) { failEach([] { Guard guard("n"); }); }},
        {"the shared part",
         {kAtomicIncrement, kCreateCriticalSection},
         [](const FailEach& failEach) { failEach([] { Guard::Rep rep(0); }); }},
        {"of the factory", all,
         [](const FailEach& failEach) {
             failEach(
                 [] { delete static_cast<Guard*>(Vq::TypeManip::TemplatedNew<Guard>::new_()); });
         }},
        {"a copy", {kAtomicIncrement}, with([](Guard& guard, Guard&) { Guard copy(guard); })},
        {"assignment", {kAtomicIncrement}, with([](Guard& guard, Guard& other) { other = guard; })},
        {"init", all, with([](Guard&, Guard& other) { other.init(0); })},
        {"setName", {kAllocate, kAtomicIncrement}, with([](Guard& guard, Guard&) {
             guard.setName("another");
         })},
        {"name", {kAtomicIncrement}, with([](Guard& guard, Guard&) { (void)guard.name(); })},
    });
}

// --- The registry

int gObject = 0;

class RegistryFaults : public RegistryTest {
protected:
    /// Uses a namespace with one object, "old", and looks whether it is as it was.
    template <class Use> auto with(Use use) {
        return [this, use](const FailEach& failEach) {
            NamedObjectsNamespace space("space");
            space.create<int>("old", &gObject);
            const Listing before = listingOf(space);
            failEach([&] { return use(space); },
                     [&] {
                         EXPECT_EQ(listingOf(space), before);
                         EXPECT_EQ(guardOf(space).owner(), 0u);
                         EXPECT_EQ(space.findInfo_(typeid(int), "old")->lock_.owner(), 0u);
                         EXPECT_EQ(space.find<int>("old"), &gObject);
                     });
            willLeave(space);
        };
    }
};

TEST_F(RegistryFaults, OfANewNameLeaveTheRegistry) {
    const std::vector<Call> all = {kAllocate, kAtomicIncrement, kCreateCriticalSection};
    using Space = NamedObjectsNamespace;
    expectSound({
        {"a namespace", all,
         [](const FailEach& failEach) { failEach([] { Space space("space"); }); }},
        {"create", all, with([](Space& space) { space.create("new", &gObject); })},
        {"createOrReplace", all,
         with([](Space& space) { space.createOrReplace("new", &gObject); })},
        {"findOrCreate_", all, with([](Space& space) {
             space.findOrCreate_(typeid(int), "new", []() -> void* { return &gObject; });
         })},
        {"addListEntry_", all,
         with([](Space& space) { space.addListEntry_(typeid(int), "new", nullptr); })},
        {"lock", all, with([](Space& space) {
             space.lock<int>("new", true);
             space.unlock<int>("new");
         })},
        {"forEach", {kAllocate}, with([](Space& space) {
             space.forEach([](const char*, const char*, bool) {});
         })},
    });
}

TEST_F(RegistryFaults, DoNotConcernAnOldName) {
    using Space = NamedObjectsNamespace;
    expectSound({
        {"find", {}, with([](Space& space) { return space.find<int>("old") == &gObject; })},
        {"findInfo_", {}, with([](Space& space) {
             return space.findInfo_(typeid(int), "old") != nullptr;
         })},
        {"findOrCreate", {}, with([](Space& space) {
             return space.findOrCreate<int>("old") == &gObject;
         })},
        {"createOrReplace", {}, with([](Space& space) { space.createOrReplace("old", &gObject); })},
        {"remove and create", {}, with([](Space& space) {
             space.remove<int>("old");
             space.create("old", &gObject);
         })},
        {"lock", {}, with([](Space& space) {
             const bool locked = space.lock<int>("old", true);
             space.unlock<int>("old");
             return locked;
         })},
    });
}

TEST_F(RegistryFaults, OfTheCaptureComeOutInPlaceOfAnError) {
    const std::vector<Call> all = {kAllocate, kAtomicIncrement, kGetCallStack};
    const auto error = [this](auto use) {
        return with([use](NamedObjectsNamespace& space) { expectError([&] { use(space); }); });
    };
    using Space = NamedObjectsNamespace;
    expectSound({
        {"find", all, error([](Space& space) { (void)space.find<int>(nullptr); })},
        {"create", all, error([](Space& space) { space.create<int>(nullptr, &gObject); })},
        {"create null", all, error([](Space& space) { space.create<int>("new", nullptr); })},
        {"create twice", all, error([](Space& space) { space.create("old", &gObject); })},
        {"findOrCreate", all, error([](Space& space) { space.findOrCreate<int>(nullptr); })},
        {"createOrReplace", all,
         error([](Space& space) { space.createOrReplace<int>(nullptr, &gObject); })},
        {"createOrReplace by null", all,
         error([](Space& space) { space.createOrReplace<int>("old", nullptr); })},
        {"remove", all, error([](Space& space) { space.remove<int>(nullptr); })},
        {"lock", all, error([](Space& space) { space.lock<int>(nullptr, false); })},
        {"unlock", all, error([](Space& space) { space.unlock<int>(nullptr); })},
        {"unlock what never was", all, error([](Space& space) { space.unlock<int>("new"); })},
    });
}

TEST(GlobalRegistryFaults, LeaveItToTheNextCallToMakeTheRegistry) {
    static Call failing;
    for (const Call call : {kAllocate, kAtomicIncrement, kCreateCriticalSection}) {
        failing = call;
        inFreshProcess([] {
            const long blocks = platform().memory()->liveBlocks();
            const long locks = platform().sync()->liveLocks();
            int refused = 0;
            for (NamedObjectsNamespace* made = nullptr; !made;) {
                if (refused < 2) platform().calls().fail(failing, refused + 1);
                try {
                    made = NamedObjectsNamespace::getGlobalNamespaceInstance();
                } catch (const std::bad_alloc&) {
                    ++refused;
                    platform().calls().succeed(failing);
                }
            }
            EXPECT_EQ(refused, 2) << failing;
            platform().calls().reset();
            EXPECT_EQ(platform().sync()->liveLocks() - locks, 2) << "and the one it is made under";
            EXPECT_EQ(platform().memory()->liveBlocks() - blocks, 6);
        });
    }
}

// --- The pool log

constexpr Call kCallsOfADump[] = {kAllocate,       kAtomicIncrement, kToUTF8,
                                  kNarrowFromWide, kGetFolder,       kApplicationName};

class PoolLogFaults : public PoolLogTest {
protected:
    PoolLogFolder file_;
};

TEST_F(PoolLogFaults, OfADumpLeaveTheLockAndTheFile) {
    LoggingTraitsBase log("pool");
    for (const Call call : kCallsOfADump) {
        const std::string before = file_.exists() ? file_.text() : "";
        EXPECT_GE(forEachFailure(
                      call, [&] { log.dump(); },
                      [&] {
                          EXPECT_EQ(file_.exists() ? file_.text() : "", before);
                          EXPECT_EQ(poolLogLock().owner(), 0u);
                      }),
                  1)
            << call;
        EXPECT_NE(file_.text(), before);
    }
}

TEST_F(PoolLogFaults, AreSwallowedByTheDestructorAndAtExit) {
    for (const Call call : kCallsOfADump) {
        std::optional<LoggingTraitsBase> log("pool");
        platform().calls().failFrom(call);
        EXPECT_NO_THROW(LoggingTraitsBase_exit()) << call;
        EXPECT_TRUE(platform().calls().hasFailed(call)) << call;
        platform().calls().failFrom(call);
        EXPECT_NO_THROW(log.reset()) << call;
        EXPECT_TRUE(platform().calls().hasFailed(call)) << call;
        platform().calls().succeed(call);
        EXPECT_EQ(poolLogLock().owner(), 0u) << call;
    }
    EXPECT_FALSE(file_.exists());
}

TEST_F(PoolLogFaults, OfCountingMakeNoLoggerThatTheExitHandlerMeets) {
    std::optional<LoggingTraitsBase> log;
    const long blocks = platform().memory()->liveBlocks();
    platform().calls().fail(kAtomicIncrement);
    EXPECT_THROW(log.emplace("never"), std::bad_alloc);
    EXPECT_LE(platform().memory()->liveBlocks(), blocks + 1) << "its place in the list";
    LoggingTraitsBase_exit();
    EXPECT_FALSE(file_.exists());
}

TEST_F(PoolLogFaults, OfCountingAPopCountNothing) {
    LoggingTraitsBase log("pool");
    EXPECT_EQ(forEachFailure(
                  kAtomicIncrement, [&] { log.ltb_afterPop(nullptr, 0); },
                  [&] {
                      EXPECT_EQ(log.inUse(), 0);
                      EXPECT_EQ(log.maxInUse(), 0);
                  }),
              1);
    EXPECT_EQ(log.inUse(), 1);
    EXPECT_EQ(log.maxInUse(), 1);
}

} // namespace
