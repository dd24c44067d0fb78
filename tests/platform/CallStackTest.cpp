#include "Vq/Platform.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using CallStackLines = std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>;

#define VQTEST_EXPORTED [[gnu::visibility("default"), gnu::noinline]]

// Functions whose names the program exports: the build asks for those that begin so. Work after
// each call keeps it a call.

extern "C" {

VQTEST_EXPORTED void vqtestExportedInner(CallStackLines* lines);
VQTEST_EXPORTED void vqtestExportedInner(CallStackLines* lines) {
    OS()->utils()->getCallStack(lines);
    asm volatile("");
}

VQTEST_EXPORTED void vqtestExportedMiddle(CallStackLines* lines);
VQTEST_EXPORTED void vqtestExportedMiddle(CallStackLines* lines) {
    vqtestExportedInner(lines);
    asm volatile("");
}
}

VQTEST_EXPORTED void vqtestExportedOuter(CallStackLines* lines, unsigned int depth);
VQTEST_EXPORTED void vqtestExportedOuter(CallStackLines* lines, unsigned int depth) {
    if (depth > 0) {
        vqtestExportedOuter(lines, depth - 1);
    } else {
        vqtestExportedMiddle(lines);
    }
    asm volatile("");
}

[[noreturn]] VQTEST_EXPORTED void vqtestExportedThrowing(CallStackLines* lines);
[[noreturn]] VQTEST_EXPORTED void vqtestExportedThrowing(CallStackLines* lines) {
    vqtestExportedInner(lines);
    throw 1;
}

// The call is the last instruction; it returns, were it to return, to whatever lies behind.
[[noreturn]] VQTEST_EXPORTED void vqtestExportedEndingInACall(CallStackLines* lines);
[[noreturn]] VQTEST_EXPORTED void vqtestExportedEndingInACall(CallStackLines* lines) {
    vqtestExportedThrowing(lines);
}

namespace {

/// What stands before the offset: the name of the function, if the line knows it.
std::string nameIn(const LightweightString<char>& line) {
    const std::string text{std::string_view(line)};
    return text.substr(0, text.find(" + 0x"));
}

TEST(CallStackNames, AreThoseThatTheProgramExportsNearestFirst) {
    CallStackLines lines;
    vqtestExportedOuter(&lines, 2);
    ASSERT_GT(lines.size(), 6U);
    EXPECT_EQ(nameIn(lines[0]), "vqtestExportedInner");
    EXPECT_EQ(nameIn(lines[1]), "vqtestExportedMiddle");
    for (std::size_t i = 2; i < 5; ++i)
        EXPECT_EQ(nameIn(lines[i]).find("vqtestExportedOuter("), 0U);
    EXPECT_EQ(nameIn(lines[5]).find("vqtestExportedOuter"), std::string::npos);
}

TEST(CallStackNames, AreDemangled) {
    CallStackLines lines;
    vqtestExportedOuter(&lines, 0);
    ASSERT_GT(lines.size(), 3U);
    const std::string name = nameIn(lines[2]);
    EXPECT_EQ(name.find("vqtestExportedOuter(std::vector<LightweightString<char>"), 0U) << name;
    EXPECT_TRUE(name.ends_with("*, unsigned int)")) << name;
}

TEST(CallStackNames, IncludeAFunctionThatEndsInACall) {
    CallStackLines lines;
    EXPECT_THROW(vqtestExportedEndingInACall(&lines), int);
    ASSERT_GT(lines.size(), 3U);
    EXPECT_EQ(nameIn(lines[0]), "vqtestExportedInner");
    EXPECT_EQ(nameIn(lines[1]).find("vqtestExportedThrowing("), 0U);
    EXPECT_EQ(nameIn(lines[2]).find("vqtestExportedEndingInACall("), 0U) << nameIn(lines[2]);
}

TEST(CallStackNames, AreNeverThoseOfThePlatformItself) {
    CallStackLines lines;
    vqtestExportedOuter(&lines, 0);
    const bool found = std::any_of(lines.begin(), lines.end(), [](const auto& line) {
        const std::string_view text(line);
        return text.find("getCallStack") != text.npos || text.find("libOS.so") != text.npos ||
               text.find("backtrace") != text.npos;
    });
    EXPECT_FALSE(found);
}

} // namespace
