// Exit callbacks that change the list, or run it, while it runs.
#include "Vq/Shutdown.h"

#include "VqTest/ScriptedTest.h"
#include "support/NotingCallback.h"

#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace vqtest;
using Shutdown::eExitType;

using CallbackPtr = Vq::Ptr<Shutdown::Callback>;

constexpr eExitType kExit{3};

class ShutdownReentry : public ScriptedTest {
protected:
    ~ShutdownReentry() override { Shutdown::shutdownCallbacks_.clear(); }

    CallbackPtr noting(const char* name, NotingCallback::Action action = {}) {
        return vqtest::noting(notes_, name, std::move(action));
    }
    /// One that registers `added` when it runs.
    CallbackPtr adding(const char* name, const CallbackPtr& added, unsigned int priority) {
        return noting(name,
                      [&added, priority](eExitType) { Shutdown::addCallback(added, priority); });
    }

    Notes notes_;
};

// --- Adding

TEST_F(ShutdownReentry, RunsWhatIsAddedWithALowerNumberBeforeAllThatWait) {
    const CallbackPtr added = noting("added");
    const CallbackPtr first = adding("first", added, 0);
    const CallbackPtr second = noting("second");
    const CallbackPtr third = noting("third");
    Shutdown::addCallback(first, 5);
    Shutdown::addCallback(second, 5);
    Shutdown::addCallback(third, 6);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "added", "second", "third"}));
    EXPECT_EQ(added.useCount(), 1);
}

TEST_F(ShutdownReentry, RunsWhatIsAddedWithAnEqualNumberBehindItsEquals) {
    const CallbackPtr added = noting("added");
    const CallbackPtr first = adding("first", added, 5);
    const CallbackPtr second = noting("second");
    const CallbackPtr third = noting("third");
    Shutdown::addCallback(first, 5);
    Shutdown::addCallback(second, 5);
    Shutdown::addCallback(third, 6);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "second", "added", "third"}));
}

TEST_F(ShutdownReentry, RunsWhatIsAddedWithAHigherNumberInItsPlace) {
    const CallbackPtr added = noting("added");
    const CallbackPtr first = adding("first", added, 7);
    const CallbackPtr second = noting("second");
    const CallbackPtr third = noting("third");
    Shutdown::addCallback(first, 5);
    Shutdown::addCallback(second, 7);
    Shutdown::addCallback(third, 8);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "second", "added", "third"}));
}

TEST_F(ShutdownReentry, RunsWhatTheLastOneAdds) {
    const CallbackPtr end = noting("end");
    const CallbackPtr middle = adding("middle", end, 0);
    const CallbackPtr start = adding("start", middle, 9);
    Shutdown::addCallback(start, 5);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"start", "middle", "end"}));
}

TEST_F(ShutdownReentry, RunsOneThatAddsItselfAgain) {
    int runs = 0;
    CallbackPtr again;
    again = noting("again", [&](eExitType) {
        if (++runs < 3) Shutdown::addCallback(again, 5);
    });
    const CallbackPtr other = noting("other");
    Shutdown::addCallback(again, 5);
    Shutdown::addCallback(other, 5);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"again", "other", "again", "again"}));
    EXPECT_EQ(again.useCount(), 1);
    again.reset();
}

TEST_F(ShutdownReentry, RunsAFunctionThatIsAdded) {
    static Notes* seen = nullptr;
    seen = &notes_;
    Shutdown::addCallback(
        +[](eExitType) {
            seen->push_back("first");
            Shutdown::addCallback(
                +[](eExitType type) { seen->push_back("added " + std::to_string(type)); }, 1);
        },
        5);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "added 3"}));
}

// --- Removing

TEST_F(ShutdownReentry, DoesNotRunOneThatWaitedAndWasRemoved) {
    const CallbackPtr waiting = noting("waiting");
    const CallbackPtr first =
        noting("first", [&](eExitType) { Shutdown::removeCallback(waiting); });
    const CallbackPtr last = noting("last");
    Shutdown::addCallback(first, 1);
    Shutdown::addCallback(waiting, 2);
    Shutdown::addCallback(last, 3);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "last"}));
    EXPECT_EQ(waiting.useCount(), 1);
}

TEST_F(ShutdownReentry, EndsWhenAllThatWaitedAreRemoved) {
    std::array<CallbackPtr, 3> waiting{noting("a"), noting("b"), noting("c")};
    const CallbackPtr first = noting("first", [&](eExitType) {
        for (const CallbackPtr& callback : waiting) Shutdown::removeCallback(callback);
    });
    Shutdown::addCallback(first, 1);
    for (const CallbackPtr& callback : waiting) Shutdown::addCallback(callback, 2);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first"}));
}

TEST_F(ShutdownReentry, DestroysOneThatWaitedAtItsRemoval) {
    CallbackPtr waiting = noting("waiting");
    const CallbackPtr first = noting("first", [&](eExitType) {
        const CallbackPtr removed = std::move(waiting);
        Shutdown::removeCallback(removed);
        EXPECT_EQ(removed.useCount(), 1);
    });
    Shutdown::addCallback(first, 1);
    Shutdown::addCallback(waiting, 2);
    Shutdown::addCallback(noting("last"), 3);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "~waiting", "last", "~last"}));
}

TEST_F(ShutdownReentry, TakesOneThatRunsForRemovedAlready) {
    CallbackPtr once;
    once = noting("once", [&](eExitType) { Shutdown::removeCallback(once); });
    const CallbackPtr other = noting("other");
    Shutdown::addCallback(once, 1);
    Shutdown::addCallback(other, 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"once", "other"}));
    // Of two registrations the second is what it can still remove.
    notes_.clear();
    Shutdown::addCallback(once, 1);
    Shutdown::addCallback(once, 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"once"}));
    once.reset();
}

// --- The callable's life

TEST_F(ShutdownReentry, KeepsTheCallableWhileItRuns) {
    CallbackPtr only;
    only = noting("only", [this, &only](eExitType) {
        only.reset();
        notes_.push_back("still there");
    });
    Shutdown::addCallback(only, 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"only", "still there", "~only"}));
}

TEST_F(ShutdownReentry, HoldsOneReferenceOnTheCallableThatRuns) {
    int during = 0;
    CallbackPtr callback;
    callback = noting("callback", [&](eExitType) { during = callback.useCount(); });
    Shutdown::addCallback(callback, 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(during, 2);
    EXPECT_EQ(callback.useCount(), 1);
    callback.reset();
}

/// Registers a callback when it is destroyed.
class AddsAtItsEnd : public Shutdown::Callback {
public:
    AddsAtItsEnd(Notes& notes, CallbackPtr added) : notes_(notes), added_(std::move(added)) {}
    ~AddsAtItsEnd() override {
        notes_.push_back("end");
        Shutdown::addCallback(added_, 0);
    }
    void execute(const eExitType& /*type*/) override { notes_.push_back("run"); }

private:
    Notes& notes_;
    CallbackPtr added_;
};

TEST_F(ShutdownReentry, RunsWhatACallableAddsInItsDestructor) {
    const CallbackPtr added = noting("added");
    Shutdown::addCallback(CallbackPtr(new AddsAtItsEnd(notes_, added)), 5);
    Shutdown::addCallback(noting("last"), 6);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"run", "end", "added", "last", "~last"}));
}

// --- Running

TEST_F(ShutdownReentry, OfARunWithinARunLeavesNothingToTheOuter) {
    std::vector<int> types;
    const CallbackPtr second = noting("second", [&](eExitType type) { types.push_back(type); });
    const CallbackPtr third = noting("third", [&](eExitType type) { types.push_back(type); });
    const CallbackPtr first = noting("first", [&](eExitType type) {
        types.push_back(type);
        Shutdown::executeCallbacks(eExitType(4));
        notes_.push_back("first again");
    });
    Shutdown::addCallback(third, 3);
    Shutdown::addCallback(second, 2);
    Shutdown::addCallback(first, 1);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "second", "third", "first again"}));
    EXPECT_EQ(types, (std::vector<int>{3, 4, 4})) << "each run has its own type";
}

TEST_F(ShutdownReentry, OfARunWithinARunThatFailsLeavesTheRestToTheOuter) {
    const CallbackPtr throws = noting("throws", [](eExitType) { throw std::runtime_error("no"); });
    const CallbackPtr last = noting("last");
    const CallbackPtr first = noting("first", [&](eExitType) {
        EXPECT_THROW(Shutdown::executeCallbacks(kExit), std::runtime_error);
        notes_.push_back("caught");
    });
    Shutdown::addCallback(first, 1);
    Shutdown::addCallback(throws, 2);
    Shutdown::addCallback(last, 3);
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"first", "throws", "caught", "last"}));
}

TEST_F(ShutdownReentry, KeepsWhatWasAddedByOneThatThenThrows) {
    const CallbackPtr added = noting("added");
    const CallbackPtr waiting = noting("waiting");
    const CallbackPtr throws = noting("throws", [&](eExitType) {
        Shutdown::addCallback(added, 0);
        throw std::runtime_error("no");
    });
    Shutdown::addCallback(throws, 1);
    Shutdown::addCallback(waiting, 2);
    EXPECT_THROW(Shutdown::executeCallbacks(kExit), std::runtime_error);
    EXPECT_EQ(notes_, (Notes{"throws"}));
    Shutdown::executeCallbacks(kExit);
    EXPECT_EQ(notes_, (Notes{"throws", "added", "waiting"}));
}

TEST_F(ShutdownReentry, LetsACallbackKnowThatTheProcessIsExiting) {
    bool exiting = false;
    const CallbackPtr asks = noting("asks", [&](eExitType) { exiting = Shutdown::isExiting(); });
    Shutdown::addCallback(asks, 0);
    Shutdown::executeCallbacks(kExit);
    EXPECT_TRUE(exiting);
}

// --- Anything at all, against a plain model

/// What a callback does when it runs for the first time.
struct Step {
    bool adds; ///< or removes
    int callback;
    unsigned int priority;
};
using Script = std::vector<std::vector<Step>>; ///< per callback

/// The order in which a list should run the callbacks of a script: a vector searched for its
/// smallest entry each time.
class Model {
public:
    explicit Model(const Script& script) : script_(script), hasRun_(script.size()) {}

    void add(int callback, unsigned int priority) {
        waiting_.push_back({priority, added_++, callback});
    }

    void remove(int callback) {
        std::ranges::sort(waiting_);
        const auto found = std::ranges::find_if(
            waiting_, [callback](const Entry& entry) { return std::get<2>(entry) == callback; });
        if (found != waiting_.end()) waiting_.erase(found);
    }

    Notes run() {
        Notes order;
        while (!waiting_.empty()) {
            const auto first = std::ranges::min_element(waiting_);
            const int callback = std::get<2>(*first);
            waiting_.erase(first);
            order.push_back(std::to_string(callback));
            const auto index = static_cast<std::size_t>(callback);
            if (hasRun_[index]) continue;
            hasRun_[index] = true;
            for (const Step& step : script_[index]) {
                step.adds ? add(step.callback, step.priority) : remove(step.callback);
            }
        }
        return order;
    }

private:
    using Entry = std::tuple<unsigned int, int, int>; ///< priority, number, callback

    const Script& script_;
    std::vector<bool> hasRun_;
    std::vector<Entry> waiting_;
    int added_ = 0;
};

TEST_F(ShutdownReentry, FollowsAPlainModelThroughRandomScripts) {
    constexpr int kCallbacks = 25;
    std::mt19937 random(5);
    const auto pick = [&random](unsigned int below) {
        return static_cast<unsigned int>(random() % below);
    };
    const auto randomSteps = [&](unsigned int count) {
        std::vector<Step> steps(count);
        for (Step& step : steps) {
            step = {pick(3) != 0, static_cast<int>(pick(kCallbacks)), pick(6)};
        }
        return steps;
    };
    std::size_t runs = 0;
    for (int round = 0; round < 300; ++round) {
        Script script;
        for (int i = 0; i < kCallbacks; ++i) script.push_back(randomSteps(pick(4)));
        std::vector<CallbackPtr> callbacks;
        const auto apply = [&callbacks](const Step& step) {
            const CallbackPtr& callback = callbacks[static_cast<std::size_t>(step.callback)];
            step.adds ? Shutdown::addCallback(callback, step.priority)
                      : Shutdown::removeCallback(callback);
        };
        for (const std::vector<Step>& steps : script) {
            callbacks.push_back(noting(std::to_string(callbacks.size()).c_str(),
                                       [&, hasRun = false](eExitType) mutable {
                                           if (std::exchange(hasRun, true)) return;
                                           for (const Step& step : steps) apply(step);
                                       }));
        }
        Model model(script);
        for (const Step& step : randomSteps(20)) {
            apply(step);
            step.adds ? model.add(step.callback, step.priority) : model.remove(step.callback);
        }
        notes_.clear();
        Shutdown::executeCallbacks(kExit);
        ASSERT_EQ(notes_, model.run()) << "round " << round;
        runs += notes_.size();
        for (const CallbackPtr& callback : callbacks) ASSERT_EQ(callback.useCount(), 1);
    }
    EXPECT_GT(runs, 4000u) << "else the scripts do little";
}

} // namespace
