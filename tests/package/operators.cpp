// A program that replaces the two basic allocation operators and nothing else: the platform is that
// of libOS, and what libVq makes with `new` is this program's all the same.
#include "OS/LinuxPlatform.h"
#include "Vq/AttribValuePair.h"
#include "Vq/VqCheck.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

// Atomic because compilers may take it that an allocation changes no variable of the program's own.
std::atomic<int> newCalls = 0;
std::atomic<int> liveBlocks = 0;
std::atomic<bool> refuses = false;
int failures = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    std::printf("does not hold: %s\n", what);
    ++failures;
}

} // namespace

void* operator new(std::size_t bytes) {
    ++newCalls;
    void* const block = refuses ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
    if (!block) throw std::bad_alloc();
    ++liveBlocks;
    return block;
}

// The sized form is left to libVq on purpose: it has to end in this one.
#ifndef __clang__ // which knows no such warning
#pragma GCC diagnostic ignored "-Wsized-deallocation"
#endif
void operator delete(void* block) noexcept {
    if (block) --liveBlocks;
    std::free(block);
}

int main() {
    using Vq::AttribValuePair;
    expect(OS() == linuxPlatform(), "the platform is libOS's");
    const int blocksBefore = liveBlocks;
    {
        const LightweightString<char> text("a=1,b=2,c=3");
        expect(liveBlocks == blocksBefore, "a string's block is the platform's");
        const auto list = AttribValuePair::vecFromString(text, '=', ',');
        expect(list.size() == 3, "a list is read");
        expect(liveBlocks > blocksBefore, "its memory is this program's");

        refuses = true;
        const int callsBefore = newCalls;
        bool refused = false;
        try {
            AttribValuePair::vecFromString(text, '=', ',');
        } catch (const std::bad_alloc&) {
            refused = true;
        }
        refuses = false;
        expect(refused && newCalls == callsBefore + 1, "what this program throws comes out");
        expect(text.useCount() == 1, "and leaves the text");
    }
    expect(liveBlocks == blocksBefore, "all of it comes back to this program");
    bool caught = false;
    try {
        Vq::Check::Private::throwShort("operators", 1, -1);
    } catch (const Vq::Exception::RuntimeError& failure) {
        caught = failure.line_ == 1;
    }
    expect(caught, "exceptions are caught by type");
    return failures == 0 ? 0 : 1;
}
