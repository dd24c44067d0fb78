#include "Vq/Platform.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

using Lines = std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>;

Lines callStack() {
    Lines lines;
    OS()->utils()->getCallStack(&lines);
    return lines;
}

std::string_view view(const LightweightString<char>& line) {
    return line;
}

/// Where the address lies in its library, as a line tells it: "0x...".
std::uintptr_t offsetInLibrary(const void* address) {
    Dl_info info;
    EXPECT_NE(dladdr(address, &info), 0);
    return reinterpret_cast<std::uintptr_t>(address) -
           reinterpret_cast<std::uintptr_t>(info.dli_fbase);
}

/// The last number of the line, the offset in the library.
std::uintptr_t lastNumber(const LightweightString<char>& line) {
    const std::string text(view(line));
    return std::strtoul(text.c_str() + text.rfind("0x"), nullptr, 16);
}

struct Frame {
    Lines lines;
    std::uintptr_t returnsTo = 0; ///< offset of the place that `taken` returns to
};

/// Its first line is its own frame, its second its caller's.
[[gnu::noinline]] Frame taken() {
    Frame frame{callStack(), offsetInLibrary(__builtin_return_address(0))};
    return frame;
}

[[gnu::noinline]] Lines takenAtDepth(int depth) {
    if (depth == 0) return callStack();
    Lines lines = takenAtDepth(depth - 1);
    lines.shrink_to_fit(); // work after the call keeps it a call
    return lines;
}

TEST(LinuxCallStack, NamesTheCallersNearestFirst) {
    const Frame frame = taken();
    ASSERT_GE(frame.lines.size(), 3U);
    // The helper that calls the platform may have been made part of `taken`.
    const bool isInlined = lastNumber(frame.lines[1]) == frame.returnsTo;
    EXPECT_EQ(lastNumber(frame.lines[isInlined ? 1 : 2]), frame.returnsTo);
}

TEST(LinuxCallStack, HasNoFrameOfThePlatform) {
    for (const auto& line : takenAtDepth(3)) {
        EXPECT_EQ(view(line).find("libOS"), std::string_view::npos) << line;
        EXPECT_EQ(view(line).find("backtrace"), std::string_view::npos) << line;
    }
}

TEST(LinuxCallStack, HasALineForEveryFrameHoweverMany) {
    const std::size_t shallow = takenAtDepth(0).size();
    for (const int depth : {1, 2, 61, 62, 63, 64, 65, 126, 127, 128, 129, 1000}) {
        EXPECT_EQ(takenAtDepth(depth).size(), shallow + static_cast<std::size_t>(depth)) << depth;
    }
}

/// Takes the call stack from within a library: the stream's `write` ends here.
class StackTakingBuffer : public std::streambuf {
public:
    Lines lines;

protected:
    std::streamsize xsputn(const char*, std::streamsize count) override {
        lines = callStack();
        return count;
    }
};

TEST(LinuxCallStack, ShowsNamesAsTheyStandInTheSource) {
    StackTakingBuffer buffer;
    std::ostream stream(&buffer);
    stream.write("x", 1);
    std::string found;
    for (const auto& line : buffer.lines) {
        if (view(line).starts_with("std::ostream::write(char const*, long) + 0x"))
            found = view(line);
    }
    EXPECT_NE(found.find("libstdc++.so"), std::string::npos);
}

TEST(LinuxCallStack, ShowsALibraryWhereThereIsNoName) {
    // This function has no name outside this file.
    Dl_info info;
    ASSERT_NE(dladdr(reinterpret_cast<const void*>(&offsetInLibrary), &info), 0);
    const Lines lines = callStack();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(view(lines[0]).find(info.dli_fname), std::string_view::npos) << lines[0];
}

TEST(LinuxCallStack, GoesUpToTheStartOfAThread) {
    Lines lines;
    std::thread([&] { lines = callStack(); }).join();
    bool hasStart = false;
    for (const auto& line : lines) {
        hasStart = hasStart || view(line).find("libc.so") != std::string_view::npos;
    }
    EXPECT_TRUE(hasStart);
}

TEST(LinuxCallStack, ReplacesWhatTheListHeld) {
    Lines lines(3, "old");
    OS()->utils()->getCallStack(&lines);
    for (const auto& line : lines) {
        EXPECT_NE(line, "old");
        EXPECT_FALSE(line.empty());
    }
}

TEST(LinuxCallStack, TakesNoListForNothingToDo) {
    OS()->utils()->getCallStack(nullptr);
}

} // namespace
