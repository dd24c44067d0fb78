#include "OS/LinuxPlatform.h"
#include "Vq/Platform.h"
#include "support/ChildProcess.h"

#include <chrono>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

/// One round through every service; true when all of them answer as they should.
bool everyServiceWorks() {
    iPlatform* os = OS();
    void* block = os->memory()->allocate(100);
    os->memory()->deallocate(block);
    int counter = 0;
    os->atomics()->atomicIncrement(&counter);
    Vq::Ptr<iCriticalSection> lock = os->sync()->createCriticalSection(0);
    lock->acquire();
    lock->release();
    const Vq::Ptr<iFile> null = os->fileSystem()->openFile(L"/dev/null", 1, 0, 1, 0);
    return counter == 1 && null && os->utils()->fromUTF8("ab", 2) == L"ab" &&
           os->utils()->now() > 0 && os->sync()->currentThreadId() != 0 &&
           os->cpu()->processorCount() > 0 && !os->folders()->getFolder(4).empty() &&
           !os->fileSystem()->applicationName().empty();
}

struct WorkedDuringStaticConstruction {
    WorkedDuringStaticConstruction() : value(everyServiceWorks()) {}
    bool value;
} workedDuringStaticConstruction;

// --- The outermost moments of a process. A copy of this program that finds kProbe in its
// environment tells through its exit code what it met: libraries are initialised after
// `.preinit_array` and their static objects destroyed before the program's own `destructor`
// functions.

constexpr char kProbe[] = "VQ_PLATFORM_TESTS_PROBE";

bool workedBeforeEverything = false;

void beforeEverything(int, char**, char** environment) {
    // No getenv here: a library that is not initialised yet may stand before it.
    for (char** variable = environment; *variable; ++variable) {
        if (std::string_view(*variable).starts_with(kProbe)) {
            workedBeforeEverything = everyServiceWorks();
        }
    }
}

[[gnu::section(".preinit_array"),
  gnu::used]] void (*const runBeforeEverything)(int, char**, char**) = beforeEverything;

[[gnu::destructor]] void afterEverything() {
    if (!std::getenv(kProbe)) return;
    _exit((workedBeforeEverything ? 1 : 0) + (workedDuringStaticConstruction.value ? 2 : 0) +
          (everyServiceWorks() ? 4 : 0));
}

int runProbe() {
    setenv(kProbe, "1", 1);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    execl("/proc/self/exe", "probe", "--gtest_list_tests", static_cast<char*>(nullptr));
    return 100;
}

TEST(LinuxPlatform, IsWhatOSReturns) {
    EXPECT_EQ(OS(), linuxPlatform());
    EXPECT_EQ(linuxPlatform(), linuxPlatform());
}

TEST(LinuxPlatform, HandsOutTheSameServicesEveryTime) {
    iPlatform* os = OS();
    EXPECT_TRUE(os->memory() && os->memory() == os->memory());
    EXPECT_TRUE(os->utils() && os->utils() == os->utils());
    EXPECT_TRUE(os->fileSystem() && os->fileSystem() == os->fileSystem());
    EXPECT_TRUE(os->sync() && os->sync() == os->sync());
    EXPECT_TRUE(os->atomics() && os->atomics() == os->atomics());
    EXPECT_TRUE(os->cpu() && os->cpu() == os->cpu());
    EXPECT_TRUE(os->folders() && os->folders() == os->folders());
}

TEST(LinuxPlatform, WorksDuringStaticConstruction) {
    EXPECT_TRUE(workedDuringStaticConstruction.value);
}

TEST(LinuxPlatform, WorksBeforeTheFirstAndAfterTheLastStaticObject) {
    vqtest::ChildProcess child(runProbe);
    ASSERT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 1 + 2 + 4);
}

TEST(LinuxPlatform, CountsAtLeastOneProcessorAndAsManyAsTheSystem) {
    EXPECT_GE(OS()->cpu()->processorCount(), 1);
    EXPECT_EQ(OS()->cpu()->processorCount(), sysconf(_SC_NPROCESSORS_ONLN));
}

} // namespace
