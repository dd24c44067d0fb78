/// The fixture of the tests of `CriticalSection`: what a handle holds, and what other threads meet.
#pragma once

#include "Vq/CriticalSection.h"
#include "VqTest/ScriptedTest.h"

#include <array>
#include <cstring>
#include <initializer_list>
#include <thread>
#include <utility>

namespace vqtest {

class LockTest : public ScriptedTest {
protected:
    static const CriticalSection::Rep& repOf(const CriticalSection& guard) {
        return *static_cast<const CriticalSection::Rep*>(words(guard)[1]);
    }

    static int handlesOf(const CriticalSection& guard) {
        return *static_cast<const int*>(words(guard)[0]);
    }

    static unsigned depthOf(const CriticalSection& guard) { return repOf(guard).lockCount_; }

    static unsigned ownId() { return OS()->sync()->currentThreadId(); }

    /// Runs `work()` on a thread of its own to its end.
    template <class Work> static void elsewhere(Work work) {
        std::thread other(work);
        other.join();
    }

    /// What `attemptEntry` answers on another thread, which leaves again if it got in.
    static int attemptElsewhere(CriticalSection& guard) {
        int answer = 1;
        elsewhere([&] {
            answer = guard.attemptEntry();
            if (answer == 0) guard.leave();
        });
        return answer;
    }

    /// These numbers of calls, and none of any other operation.
    static Counts these(std::initializer_list<std::pair<Call, long>> calls) {
        Counts result;
        for (const auto& [call, number] : calls) result[call] = number;
        return result;
    }

private:
    static std::array<void*, 2> words(const CriticalSection& guard) {
        std::array<void*, 2> result;
        std::memcpy(&result, static_cast<const void*>(&guard), sizeof(result));
        return result;
    }
};

} // namespace vqtest
