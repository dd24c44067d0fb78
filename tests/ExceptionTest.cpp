// The exceptions of Vq/VqCheck.h and the functions that throw them.
#include "Vq/VqCheck.h"

#include "VqTest/FailingAllocations.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;
using namespace Vq::Check::Private;
using Vq::Exception::Base;
using Vq::Exception::LogicError;
using Vq::Exception::RuntimeError;
using enum vqtest::Call;

static_assert(!std::is_base_of_v<std::exception, Base>);
static_assert(std::is_base_of_v<Base, RuntimeError> && std::is_base_of_v<Base, LogicError>);
static_assert(std::is_convertible_v<RuntimeError*, Base*>);
static_assert(std::is_convertible_v<LogicError*, Base*>);
static_assert(std::has_virtual_destructor_v<Base>);
static_assert(sizeof(RuntimeError) == sizeof(Base) && sizeof(LogicError) == sizeof(Base));
static_assert(
    std::is_same_v<decltype(Base::callStack_),
                   std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>>);

class ExceptionRuntime : public ScriptedTest {};
class ExceptionLogic : public ScriptedTest {};
class ExceptionThrow : public ScriptedTest {};

constexpr char kMessage[] = "it failed";
constexpr char kFile[] = "ole/Vq/Demo";

/// Frees the message of a thrown exception, which the library leaves to the process.
void freeMessage(const Base& thrown) {
    delete[] thrown.message_;
}

/// What `work()` throws, caught as `Caught`, is given to `look`.
template <class Caught, class Work, class Look> void lookAt(Work work, Look look) {
    try {
        work();
    } catch (const Caught& caught) {
        look(caught);
        return;
    }
    ADD_FAILURE() << "nothing was thrown";
}

// --- RuntimeError

TEST_F(ExceptionRuntime, KeepsItsTextsByAddress) {
    const RuntimeError error(kMessage, kFile, 42);
    EXPECT_STREQ(error.typeName_, "RuntimeError");
    EXPECT_EQ(error.message_, kMessage);
    EXPECT_EQ(error.file_, kFile);
    EXPECT_EQ(error.line_, 42);
}

TEST_F(ExceptionRuntime, HasItsFieldsInTheirOrder) {
    const RuntimeError error(kMessage, kFile, 42);
    const auto* const start = reinterpret_cast<const char*>(static_cast<const Base*>(&error));
    const auto offset = [start](const auto& field) {
        return reinterpret_cast<const char*>(&field) - start;
    };
    EXPECT_EQ(offset(error.typeName_), 8) << "behind the virtual table";
    EXPECT_EQ(offset(error.message_), 16);
    EXPECT_EQ(offset(error.file_), 24);
    EXPECT_EQ(offset(error.line_), 32);
    EXPECT_EQ(offset(error.callStack_), 40);
}

TEST_F(ExceptionRuntime, HasThePlatformFillItsOwnEmptyCallStackOnce) {
    platform().utils()->setCallStack({"inner", "outer", "main"});
    platform().calls().startRecording();
    const RuntimeError error(kMessage, kFile, 42);
    const RecordedCalls calls = platform().calls().stopRecording();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls[0], (RecordedCall{kGetCallStack, &error.callStack_}));
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                            [](const RecordedCall& made) { return made.call == kGetCallStack; }),
              1);
    ASSERT_EQ(error.callStack_.size(), 3u);
    EXPECT_EQ(error.callStack_[0], "inner");
    EXPECT_EQ(error.callStack_[1], "outer");
    EXPECT_EQ(error.callStack_[2], "main");
}

TEST_F(ExceptionRuntime, HasAnEmptyCallStackWhereThePlatformKnowsNone) {
    platform().utils()->setCallStack({});
    const Counts made = countsOf([] { EXPECT_TRUE(RuntimeError("m", "f", 1).callStack_.empty()); });
    EXPECT_EQ(made[kGetCallStack], 1);
    EXPECT_EQ(made.total(), 1) << made;
}

TEST_F(ExceptionRuntime, GivesWayToWhatTheCaptureThrows) {
    const long blocks = platform().memory()->liveBlocks();
    platform().calls().fail(kGetCallStack);
    EXPECT_THROW(throw RuntimeError(kMessage, kFile, 42), std::bad_alloc);
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
}

TEST_F(ExceptionRuntime, LeavesNoLineOfACallStackThatWasCutShort) {
    platform().utils()->setCallStack({"inner", "outer", "main"});
    const Counts whole = countsOf([] { RuntimeError(kMessage, kFile, 42); });
    ASSERT_GE(whole[kAllocate], 4);
    for (long nth = 1; nth <= whole[kAllocate]; ++nth) {
        const long blocks = platform().memory()->liveBlocks();
        platform().calls().fail(kAllocate, nth);
        bool gaveWay = false;
        try {
            throw RuntimeError(kMessage, kFile, 42);
        } catch (const std::bad_alloc&) {
            gaveWay = true;
        } catch (const Base&) {
        }
        EXPECT_TRUE(gaveWay) << nth;
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks) << nth;
    }
}

TEST_F(ExceptionRuntime, IsCaughtAsItselfAndAsBaseButNotAsLogicError) {
    lookAt<RuntimeError>([] { throw RuntimeError(kMessage, kFile, 42); },
                         [](const RuntimeError& caught) { EXPECT_EQ(caught.line_, 42); });
    lookAt<Base>([] { throw RuntimeError(kMessage, kFile, 42); },
                 [](const Base& caught) {
                     EXPECT_STREQ(caught.typeName_, "RuntimeError");
                     EXPECT_NE(dynamic_cast<const RuntimeError*>(&caught), nullptr);
                     EXPECT_EQ(dynamic_cast<const LogicError*>(&caught), nullptr);
                     EXPECT_EQ(caught.callStack_.size(), 2u);
                 });
    EXPECT_THROW(
        {
            try {
                throw RuntimeError(kMessage, kFile, 42);
            } catch (const LogicError&) {
            }
        },
        RuntimeError);
}

TEST_F(ExceptionRuntime, CopyAsksForNoCallStackAndSharesItsLines) {
    const RuntimeError error(kMessage, kFile, 42);
    const Counts made = countsOf([&] {
        const RuntimeError copy = error;
        EXPECT_EQ(copy.typeName_, error.typeName_);
        EXPECT_EQ(copy.message_, kMessage);
        EXPECT_EQ(copy.file_, kFile);
        EXPECT_EQ(copy.line_, 42);
        ASSERT_EQ(copy.callStack_.size(), 2u);
        EXPECT_EQ(copy.callStack_[0].c_str(), error.callStack_[0].c_str());
        EXPECT_EQ(error.callStack_[0].useCount(), 2u);
    });
    EXPECT_EQ(made[kGetCallStack], 0);
    EXPECT_EQ(made[kAllocate], 1) << "the vector";
    EXPECT_EQ(error.callStack_[0].useCount(), 1u);
}

TEST_F(ExceptionRuntime, AssignmentSharesTheLines) {
    const RuntimeError error(kMessage, kFile, 42);
    RuntimeError other("other", "else", 1);
    other = error;
    EXPECT_EQ(other.message_, kMessage);
    EXPECT_EQ(other.line_, 42);
    EXPECT_EQ(other.callStack_[1].c_str(), error.callStack_[1].c_str());
}

TEST_F(ExceptionRuntime, ReleasesItsLinesOnly) {
    const LightweightString<char> line("kept by the test");
    auto error = std::make_unique<RuntimeError>(kMessage, kFile, 42);
    error->callStack_.push_back(line);
    EXPECT_EQ(line.useCount(), 2u);
    const std::unique_ptr<Base> base = std::move(error);
    EXPECT_EQ(line.useCount(), 2u);
}

TEST_F(ExceptionRuntime, GoesWholeThroughAPointerToItsBase) {
    const LightweightString<char> line("kept by the test");
    auto* const error = new RuntimeError(kMessage, kFile, 42);
    error->callStack_.push_back(line);
    const Base* const base = error;
    delete base; // the fixture sees that every block is gone
    EXPECT_EQ(line.useCount(), 1u);
}

TEST_F(ExceptionRuntime, OutlivesItsHandlerInAnExceptionPointer) {
    std::exception_ptr kept;
    try {
        throw RuntimeError(kMessage, kFile, 42);
    } catch (...) {
        kept = std::current_exception();
    }
    lookAt<Base>([&] { std::rethrow_exception(kept); },
                 [](const Base& caught) {
                     EXPECT_EQ(caught.message_, kMessage);
                     EXPECT_EQ(caught.callStack_[1], "scripted outer frame");
                 });
}

// --- LogicError

TEST_F(ExceptionLogic, CapturesNoCallStackAndAsksForNothing) {
    const Counts made = countsOf([] {
        const LogicError error(kMessage, kFile, 42);
        EXPECT_STREQ(error.typeName_, "LogicError");
        EXPECT_EQ(error.message_, kMessage);
        EXPECT_EQ(error.file_, kFile);
        EXPECT_EQ(error.line_, 42);
        EXPECT_TRUE(error.callStack_.empty());
    });
    EXPECT_EQ(made.total(), 0) << made;
}

TEST_F(ExceptionLogic, IsCaughtAsItselfAndAsBaseButNotAsRuntimeError) {
    lookAt<LogicError>([] { throw LogicError(kMessage, kFile, 42); },
                       [](const LogicError& caught) { EXPECT_EQ(caught.line_, 42); });
    lookAt<Base>([] { throw LogicError(kMessage, kFile, 42); },
                 [](const Base& caught) {
                     EXPECT_STREQ(caught.typeName_, "LogicError");
                     EXPECT_NE(dynamic_cast<const LogicError*>(&caught), nullptr);
                 });
    EXPECT_THROW(
        {
            try {
                throw LogicError(kMessage, kFile, 42);
            } catch (const RuntimeError&) {
            }
        },
        LogicError);
}

// --- throwShort, throwDetailed

TEST_F(ExceptionThrow, ShortNamesPlaceAndCode) {
    const char* const file = "demo";
    lookAt<RuntimeError>([&] { throwShort(file, 12, -2); },
                         [&](const RuntimeError& thrown) {
                             EXPECT_STREQ(thrown.message_,
                                          "VqCheck: demo(12) FAILED with code 0xfffffffe");
                             EXPECT_STREQ(thrown.typeName_, "RuntimeError");
                             EXPECT_EQ(thrown.file_, file);
                             EXPECT_EQ(thrown.line_, 12);
                             EXPECT_EQ(thrown.callStack_.size(), 2u);
                             freeMessage(thrown);
                         });
}

TEST_F(ExceptionThrow, DetailedNamesTheExpressionTooWithoutANewline) {
    const char* const file = "demo";
    lookAt<RuntimeError>([&] { throwDetailed(file, 12, "f(x)", INT_MIN); },
                         [&](const RuntimeError& thrown) {
                             EXPECT_STREQ(thrown.message_, "VqCheck: demo(12) [f(x)] = 0x80000000");
                             EXPECT_EQ(thrown.file_, file);
                             EXPECT_EQ(thrown.line_, 12);
                             EXPECT_EQ(thrown.callStack_.size(), 2u);
                             freeMessage(thrown);
                         });
}

TEST_F(ExceptionThrow, TakesAnyCode) {
    lookAt<Base>([] { throwShort("demo", 12, 0); },
                 [](const Base& thrown) {
                     EXPECT_STREQ(thrown.message_, "VqCheck: demo(12) FAILED with code 0x00000000");
                     freeMessage(thrown);
                 });
}

TEST_F(ExceptionThrow, CutsALongMessageAt255Characters) {
    for (const std::size_t length : {200u, 214u, 215u, 216u, 5000u}) {
        const std::string file(length, 'f');
        const std::string whole = "VqCheck: " + file + "(12) FAILED with code 0xfffffffe";
        lookAt<Base>([&] { throwShort(file.c_str(), 12, -2); },
                     [&](const Base& thrown) {
                         EXPECT_EQ(thrown.message_, whole.substr(0, 255));
                         EXPECT_EQ(thrown.file_, file.c_str());
                         freeMessage(thrown);
                     });
        const std::string detailed = "VqCheck: demo(12) [" + file + "] = 0xfffffffe";
        lookAt<Base>([&] { throwDetailed("demo", 12, file.c_str(), -2); },
                     [&](const Base& thrown) {
                         EXPECT_EQ(thrown.message_, detailed.substr(0, 255));
                         freeMessage(thrown);
                     });
    }
}

TEST_F(ExceptionThrow, PutsTheMessageIntoAnArrayOf256ThatItLeavesAllocated) {
    platform().utils()->setCallStack({});
    const long blocks = platform().memory()->liveBlocks();
    const char* message = nullptr;
    const RecordedCalls calls = callsOf([&] {
        lookAt<Base>([] { throwShort("demo", 12, -2); },
                     [&](const Base& thrown) { message = thrown.message_; });
    });
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0], (RecordedCall{kAllocate, nullptr, 256}));
    EXPECT_EQ(calls[1].call, kGetCallStack);
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks + 1);
    EXPECT_STREQ(message, "VqCheck: demo(12) FAILED with code 0xfffffffe");
    delete[] message;
}

TEST_F(ExceptionThrow, AllocatesTheMessageAndWhatTheCaptureTakesAndCopiesNothing) {
    const Counts direct = countsOf([] { const RuntimeError error("m", "f", 1); });
    const Counts thrown = countsOf([] {
        lookAt<Base>([] { throwDetailed("demo", 12, "x", -2); },
                     [](const Base& caught) {
                         EXPECT_EQ(caught.callStack_.size(), 2u);
                         freeMessage(caught);
                     });
    });
    EXPECT_EQ(thrown[kGetCallStack], 1);
    EXPECT_EQ(thrown[kAllocate], direct[kAllocate] + 1);
    EXPECT_EQ(thrown[kAtomicIncrement], direct[kAtomicIncrement]);
}

TEST_F(ExceptionThrow, SharesTheMessageWithCopies) {
    lookAt<RuntimeError>([] { throwShort("demo", 12, -2); },
                         [](const RuntimeError& thrown) {
                             const RuntimeError copy = thrown;
                             EXPECT_EQ(copy.message_, thrown.message_);
                             freeMessage(thrown);
                         });
}

TEST_F(ExceptionThrow, MakesAMessageOfItsOwnForEveryException) {
    const char* first = nullptr;
    lookAt<Base>([] { throwShort("demo", 1, -2); },
                 [&](const Base& thrown) { first = thrown.message_; });
    lookAt<Base>([] { throwShort("demo", 2, -2); },
                 [&](const Base& thrown) {
                     EXPECT_STREQ(first, "VqCheck: demo(1) FAILED with code 0xfffffffe");
                     EXPECT_STREQ(thrown.message_, "VqCheck: demo(2) FAILED with code 0xfffffffe");
                     freeMessage(thrown);
                 });
    delete[] first;
}

TEST_F(ExceptionThrow, GivesWayToWantOfMemoryForTheMessage) {
    platform().calls().fail(kAllocate);
    EXPECT_THROW(throwShort("demo", 12, -2), std::bad_alloc);
    platform().calls().fail(kAllocate);
    EXPECT_THROW(throwDetailed("demo", 12, "x", -2), std::bad_alloc);
}

TEST_F(ExceptionThrow, GivesWayToWhatTheCaptureThrowsAndKeepsNoMessage) {
    platform().calls().failFrom(kGetCallStack);
    EXPECT_THROW(throwShort("demo", 12, -2), std::bad_alloc);
    EXPECT_THROW(throwDetailed("demo", 12, "x", -2), std::bad_alloc);
}

TEST_F(ExceptionThrow, KeepsNothingWhereMemoryRunsOut) {
    const auto throwAndCatch = [] {
        lookAt<Base>([] { throwShort("demo", 12, -2); }, [](const Base& b) { freeMessage(b); });
    };
    EXPECT_GT(forEachFailingAllocation(throwAndCatch, [] {}), 1);
}

TEST_F(ExceptionThrow, ServesManyThreadsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    std::latch start(kThreads);
    std::vector<int> right(kThreads);
    const auto work = [&](int& good) {
        start.arrive_and_wait();
        for (int i = 0; i < kRounds; ++i) {
            lookAt<Base>([i] { throwShort("demo", i, -2); },
                         [&](const Base& thrown) {
                             if (thrown.line_ == i && thrown.callStack_.size() == 2) ++good;
                             freeMessage(thrown);
                         });
        }
    };
    std::vector<std::thread> threads;
    for (int& good : right) threads.emplace_back(work, std::ref(good));
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, std::vector<int>(kThreads, kRounds));
}

} // namespace
