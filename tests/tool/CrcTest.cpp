#include "tool/ToolTest.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace {

using namespace vqtest;

class CrcCommand : public ToolTest {
protected:
    std::string pathOf(const std::string& name) const { return (folder_ / name).string(); }
};

/// The same checksum by its definition: the remainder of the file's bits divided by
/// x^32 + x^5 + x^3 + x^2 + 1, the least significant bit of a byte first.
std::string digitsOf(std::string_view bytes) {
    std::uint32_t remainder = 0;
    for (char byte : bytes) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const bool reduce = remainder >> 31 != 0;
            remainder = (remainder << 1) | ((static_cast<unsigned char>(byte) >> bit) & 1);
            if (reduce) remainder ^= 0x2D;
        }
    }
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x", remainder);
    return digits;
}

TEST_F(CrcCommand, PrintsEightDigitsTwoSpacesAndTheName) {
    folder_.put("check", "123456789");
    EXPECT_EQ(runTool({"crc", pathOf("check")}), printed("ecf6681e  " + pathOf("check") + "\n"));
}

TEST_F(CrcCommand, PrintsZerosForAnEmptyFile) {
    folder_.put("empty", "");
    EXPECT_EQ(runTool({"crc", pathOf("empty")}), printed("00000000  " + pathOf("empty") + "\n"));
}

TEST_F(CrcCommand, FillsUpWithZeros) {
    folder_.put("one", "\x80");
    EXPECT_EQ(runTool({"crc", pathOf("one")}), printed("00000001  " + pathOf("one") + "\n"));
}

TEST_F(CrcCommand, TakesManyFilesInTheirOrder) {
    folder_.put("b", "123456789");
    folder_.put("a", "a");
    EXPECT_EQ(runTool({"crc", pathOf("b"), pathOf("a"), pathOf("b")}),
              printed("ecf6681e  " + pathOf("b") + "\n" + digitsOf("a") + "  " + pathOf("a") +
                      "\necf6681e  " + pathOf("b") + "\n"));
}

TEST_F(CrcCommand, GoesOnBehindAFileThatCannotBeRead) {
    folder_.put("good", "123456789");
    const ToolRun run =
        runTool({"crc", pathOf("missing"), pathOf("good"), folder_.path().string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "ecf6681e  " + pathOf("good") + "\n");
    EXPECT_EQ(run.err, "vq: " + pathOf("missing") + ": could not be opened\n" +
                           "vq: " + folder_.path().string() + ": could not be opened\n");
}

TEST_F(CrcCommand, ReadsFilesOfAnySizeWhole) {
    for (std::size_t size : {(1U << 20) - 1, 1U << 20, (1U << 20) + 1, 3'000'000U}) {
        SCOPED_TRACE(size);
        std::string bytes(size, '\0');
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + (i >> 8));
        folder_.put("large", bytes);
        EXPECT_EQ(runTool({"crc", pathOf("large")}),
                  printed(digitsOf(bytes) + "  " + pathOf("large") + "\n"));
    }
}

TEST_F(CrcCommand, FindsFilesWithNamesBeyondAscii) {
    folder_.put("Zo\u00EB \u65E5.bin", "123456789");
    for (const char* locale : {"C", "C.UTF-8"}) {
        EXPECT_EQ(runTool({"crc", pathOf("Zo\u00EB \u65E5.bin")}, {.locale = locale}),
                  printed("ecf6681e  " + pathOf("Zo\u00EB \u65E5.bin") + "\n"));
    }
}

TEST_F(CrcCommand, TakesWordsInBracketsAndMarksForNames) {
    for (const char* name : {"[x]", "[]", "[a,b]", "[[x]]", "{}", "%%", "meta"}) {
        const std::string missing = "vq: " + std::string(name) + ": could not be opened\n";
        EXPECT_EQ(runTool({"crc", name}), (ToolRun{1, "", missing}));
        EXPECT_EQ(runTool({"crc", name, name}), (ToolRun{1, "", missing + missing}));
    }
}

TEST_F(CrcCommand, TakesAWordWithADashForANameBehindTwoDashes) {
    EXPECT_EQ(runTool({"crc", "--", "-x", "--help"}),
              (ToolRun{1, "", "vq: -x: could not be opened\nvq: --help: could not be opened\n"}));
    EXPECT_EQ(runTool({"crc", "-"}), (ToolRun{1, "", "vq: -: could not be opened\n"}));
}

TEST_F(CrcCommand, TakesThousandsOfFiles) {
    folder_.put("check", "123456789");
    Words words = {"crc"};
    std::string lines;
    for (unsigned i = 0; i < 5000; ++i) {
        words.push_back(pathOf("check"));
        lines += "ecf6681e  " + pathOf("check") + "\n";
    }
    EXPECT_EQ(runTool(words), printed(lines));
}

TEST_F(CrcCommand, DoesNotTakeAFileWithoutATrueSizeForAnEmptyOne) {
    EXPECT_EQ(runTool({"crc", "/proc/self/status"}),
              (ToolRun{1, "", "vq: /proc/self/status: holds more than its size says\n"}));
    EXPECT_EQ(runTool({"crc", "/dev/null"}), printed("00000000  /dev/null\n"));
}

TEST_F(CrcCommand, FailsWhenTheResultsCannotBeWritten) {
    folder_.put("check", "123456789");
    const ToolRun run = runTool({"crc", pathOf("check")}, {.standardOutput = "/dev/full"});
    EXPECT_EQ(run, (ToolRun{1, "", "vq: standard output: could not be written\n"}));
}

TEST_F(CrcCommand, NeedsAFile) {
    EXPECT_TRUE(isWrongUsage(runTool({"crc"})));
    EXPECT_TRUE(isWrongUsage(runTool({"crc", "--all", "x"})));
}

} // namespace
