// Case in the child of a fork that came while another thread was at work on a locale.
#include "Vq/String.h"

#include "support/ChildProcess.h"
#include "support/FreshProcess.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <locale.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace vqtest;
using namespace std::chrono_literals;

using Wide = LightweightString<wchar_t>;

/// The system call in which that thread of this process sleeps; below 0 where it does not.
long sleepsIn(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    long number = -1;
    return file >> number ? number : -1;
}

/// What this thread does while another one holds libc's lock on locales: it loads one from a pipe
/// that nobody has opened at the other end.
template <class Work> void whileALocaleIsLoaded(Work work) {
    const TemporaryFolder folder;
    const std::string pipe = folder / "endless/LC_CTYPE";
    ASSERT_EQ(mkdir((folder / "endless").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(setenv("LOCPATH", folder.path().c_str(), 1), 0);
    std::atomic<pid_t> loader = 0;
    std::thread other([&] {
        loader = gettid();
        loader.notify_one();
        EXPECT_EQ(newlocale(LC_CTYPE_MASK, "endless", locale_t{}), locale_t{});
    });
    loader.wait(0);
    while (sleepsIn(loader) != SYS_openat) std::this_thread::yield();
    work();
    const int end = open(pipe.c_str(), O_WRONLY);
    EXPECT_GE(end, 0);
    close(end);
    other.join();
}

const Wide small{std::wstring_view(std::wstring(100, L'a'))};
const Wide capital{std::wstring_view(std::wstring(100, L'A'))};

/// What changes the case of a long text in a child now.
void expectCaseInAChild() {
    ChildProcess child(
        [] { return Vq::toUpper(small) == capital && Vq::toLower(capital) == small ? 0 : 1; });
    EXPECT_TRUE(child.endsWithin(60s));
    EXPECT_EQ(child.exitCode(), 0);
}

TEST(LocaleFork, LeavesAChildThatChangesCaseAsTheFirstToDoSo) {
    inFreshProcess([] { whileALocaleIsLoaded(expectCaseInAChild); });
}

TEST(LocaleFork, LeavesAChildThatChangesCaseAgain) {
    inFreshProcess([] {
        ASSERT_EQ(Vq::toUpper(small), capital);
        whileALocaleIsLoaded(expectCaseInAChild);
    });
}

} // namespace
