// A program that replaces the platform and the two basic allocation operators. Both must win over
// the libraries' own definitions for every call that libVq makes, whatever the compiler could
// inline or bind when it built the libraries.
#include "OS/LinuxPlatform.h"
#include "Vq/Allocation.h"
#include "Vq/Platform.h"
#include "Vq/String.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

// Atomic because compilers may take it that an allocation changes no variable of the program's own.
std::atomic<int> newCalls = 0;
std::atomic<int> deleteCalls = 0;
std::atomic<int> platformCalls = 0;
int failures = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    std::printf("does not hold: %s\n", what);
    ++failures;
}

// How often `action` raises `counter`.
template <class Action> int raised(std::atomic<int>& counter, Action action) {
    const int before = counter;
    action();
    return counter - before;
}

struct alignas(64) Wide {
    char bytes[64];
};

// Keeps the compiler from leaving out a pair of new and delete.
void* volatile sink;
template <class T> T* kept(T* block) {
    sink = block;
    return block;
}

} // namespace

iPlatform* OS() {
    ++platformCalls;
    return linuxPlatform();
}

// Declared by the language only where sized deallocation is on, but libVq has them for all.
void operator delete(void* block, std::size_t bytes) noexcept;
void operator delete[](void* block, std::size_t bytes) noexcept;
void operator delete(void* block, std::size_t bytes, std::align_val_t alignment) noexcept;
void operator delete[](void* block, std::size_t bytes, std::align_val_t alignment) noexcept;

void* operator new(std::size_t bytes) {
    ++newCalls;
    if (void* block = std::malloc(bytes == 0 ? 1 : bytes)) return block;
    throw std::bad_alloc();
}

// The sized form is left to libVq on purpose: it has to end in this one.
#ifndef __clang__ // which knows no such warning
#pragma GCC diagnostic ignored "-Wsized-deallocation"
#endif
void operator delete(void* block) noexcept {
    ++deleteCalls;
    std::free(block);
}

#define EXPECT_ONE_PAIR(name, ...)                                                                 \
    do {                                                                                           \
        const int deletes = deleteCalls;                                                           \
        expect(raised(newCalls, [&] { __VA_ARGS__; }) == 1, name ": one operator new");            \
        expect(deleteCalls - deletes == 1, name ": one operator delete");                          \
    } while (false)

int main() {
    EXPECT_ONE_PAIR("plain", delete kept(new int(0)));
    EXPECT_ONE_PAIR("array", delete[] kept(new int[4]()));
    EXPECT_ONE_PAIR("nothrow", delete kept(new (std::nothrow) int(0)));
    EXPECT_ONE_PAIR("nothrow array", delete[] kept(new (std::nothrow) int[4]()));
    EXPECT_ONE_PAIR("aligned", delete kept(new Wide()));
    EXPECT_ONE_PAIR("aligned array", delete[] kept(new Wide[4]()));
    EXPECT_ONE_PAIR("aligned nothrow", delete kept(new (std::nothrow) Wide()));
    EXPECT_ONE_PAIR("aligned nothrow array", delete[] kept(new (std::nothrow) Wide[4]()));
    EXPECT_ONE_PAIR("sized", ::operator delete (kept(::operator new(8)), std::size_t{8}));
    EXPECT_ONE_PAIR("CPUAlignedNew", CPUAlignedDelete(kept(CPUAlignedNew(8))));

    // The forms of delete that no expression above calls.
    constexpr auto kAligned = std::align_val_t(64);
    // By way of `sink`, so that the compiler does not tell the forms apart that are one to libVq.
    const auto plain = [] {
        sink = ::operator new(8);
        return static_cast<void*>(sink);
    };
    const auto aligned = [] {
        sink = ::operator new(8, std::align_val_t(64));
        return static_cast<void*>(sink);
    };
    EXPECT_ONE_PAIR("sized array", ::operator delete[](plain(), std::size_t{8}));
    EXPECT_ONE_PAIR("nothrow delete", ::operator delete(plain(), std::nothrow));
    EXPECT_ONE_PAIR("nothrow array delete", ::operator delete[](plain(), std::nothrow));
    EXPECT_ONE_PAIR("aligned delete", ::operator delete(aligned(), kAligned));
    EXPECT_ONE_PAIR("aligned array delete", ::operator delete[](aligned(), kAligned));
    EXPECT_ONE_PAIR("sized aligned", ::operator delete(aligned(), 64, kAligned));
    EXPECT_ONE_PAIR("sized aligned array", ::operator delete[](aligned(), 64, kAligned));
    EXPECT_ONE_PAIR("aligned nothrow delete", ::operator delete(aligned(), kAligned, std::nothrow));
    EXPECT_ONE_PAIR("aligned nothrow array delete",
                    ::operator delete[](aligned(), kAligned, std::nothrow));

    expect(raised(newCalls, [] { LightweightString<char> block("a block"); }) == 0,
           "blocks of strings come straight from the platform");

    const LightweightString<char> text("a text");
    expect(raised(platformCalls, [&] { LightweightString<char> copy = text; }) == 2,
           "copying a string: one increment and one decrement through this program's OS()");
    expect(raised(platformCalls, [] { toUTF8(LightweightString<wchar_t>(L"w")); }) >= 3,
           "libVq's own code goes through this program's OS()");
    return failures == 0 ? 0 : 1;
}
