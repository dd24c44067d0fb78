/// A platform for tests. A program that links it replaces `OS()` for every call that libVq makes.
///
/// Left alone it behaves like a machine: memory from malloc, true UTF-8 conversion, recursive
/// locks, files in memory, a clock that stands still until moved. A test counts what the library
/// asks, changes the answers and makes operations fail:
///
///     vqtest::platform().utils()->setNow(1500);
///     vqtest::platform().fileSystem()->put(L"/settings.ini", "[Video]\r\nWidth=1920\r\n");
///     vqtest::platform().calls().fail(Call::kRead);
///     EXPECT_FALSE(ini.load(path, '\n'));
///
/// It works before the first and after the last static object of the program, because every
/// `operator new` ends in it. ScriptedTest.h resets it around each test.
///
/// Thread rule: the services are safe; scripting is for one thread while no other uses the
/// platform.
#pragma once

#include "Vq/Platform.h"
#include "VqTest/CallScript.h"
#include "VqTest/MemoryFiles.h"
#include "VqTest/ScriptedMemory.h"
#include "VqTest/ScriptedSync.h"
#include "VqTest/ScriptedUtils.h"

#include <utility>

namespace vqtest {

/// Atomic operations, counted. Safe.
class ScriptedAtomics final : public iAtomics {
public:
    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit ScriptedAtomics(CallScript& calls) : calls_(calls) {}

    int atomicIncrement(int* counter) override;
    int atomicDecrement(int* counter) override;
    /// One that is to fail stores nothing and returns a value that was not there.
    long compareAndSwap(long* target, long newValue, long expected) override;

private:
    CallScript& calls_;
};

/// A number of processors that a test sets.
class ScriptedCPU final : public iCPUInfo {
public:
    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit ScriptedCPU(CallScript& calls) : calls_(calls) {}

    /// 4 at first.
    void setProcessorCount(int count) { count_ = count; }

    void reset() { count_ = 4; } ///< back to the first answer

    int processorCount() override;

private:
    CallScript& calls_;
    int count_ = 4;
};

/// A folder that a test sets.
class ScriptedFolders final : public iFolders {
public:
    /// Notes its calls in `calls`, which is borrowed for good.
    constexpr explicit ScriptedFolders(CallScript& calls) : calls_(calls) {}

    /// The answer for every kind. L"/scripted/" at first.
    void setFolder(std::wstring_view path) { path_.set(path); }

    void reset() { path_.reset(); } ///< back to the first answer

    LightweightString<wchar_t> getFolder(int kind) override;

private:
    CallScript& calls_;
    MallocAnswer path_{L"/scripted/"};
};

/// The services, each with what a test asks of it, and the account of all their calls.
///
/// \copydetails ScriptedPlatform.h
class ScriptedPlatform final : public iPlatform {
public:
    constexpr ScriptedPlatform() = default; ///< in its first state

    /// Counts, failures, records of all operations.
    CallScript& calls() { return calls_; }

    /// Back to the first state; what is alive (blocks, locks, open files) stays so and stays
    /// counted.
    void reset();

    ScriptedMemory* memory() override { return &memory_; }
    ScriptedUtils* utils() override { return &utils_; }
    MemoryFiles* fileSystem() override { return &files_; }
    ScriptedSync* sync() override { return &sync_; }
    ScriptedAtomics* atomics() override { return &atomics_; }
    ScriptedCPU* cpu() override { return &cpu_; }
    ScriptedFolders* folders() override { return &folders_; }

private:
    CallScript calls_;
    ScriptedMemory memory_{calls_};
    ScriptedUtils utils_{calls_};
    MemoryFiles files_{calls_};
    ScriptedSync sync_{calls_};
    ScriptedAtomics atomics_{calls_};
    ScriptedCPU cpu_{calls_};
    ScriptedFolders folders_{calls_};
};

/// The platform of this program.
ScriptedPlatform& platform();

/// The calls that `operation()` makes, by number.
template <class Operation> Counts countsOf(Operation&& operation) {
    const Counts before = platform().calls().counts();
    std::forward<Operation>(operation)();
    return platform().calls().counts() - before;
}

/// The calls that `operation()` makes, one by one.
template <class Operation> RecordedCalls callsOf(Operation&& operation) {
    platform().calls().startRecording();
    std::forward<Operation>(operation)();
    return platform().calls().stopRecording();
}

} // namespace vqtest
