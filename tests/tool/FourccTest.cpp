#include "tool/ToolTest.h"

#include "Vq/PlayoutFCC.h"

#include <cstdio>

namespace {

using namespace vqtest;

class FourccCommand : public ToolTest {
protected:
    static ToolRun fourcc(const Words& words) {
        Words all = {"fourcc"};
        all.insert(all.end(), words.begin(), words.end());
        return runTool(all);
    }
};

TEST_F(FourccCommand, PrintsACodeATabAndItsPlayoutCode) {
    EXPECT_EQ(fourcc({"es00"}), printed("es00\tavc1\n"));
    EXPECT_EQ(fourcc({"2vuy"}), printed("2vuy\tUYVY\n"));
    EXPECT_EQ(fourcc({"1235"}), printed("1235\tAVdx\n"));
}

TEST_F(FourccCommand, TakesManyCodesInTheirOrder) {
    EXPECT_EQ(fourcc({"mpeg", "1274", "avc1", "mpeg", "0x4d9"}),
              printed("mpeg\tMMES\n1274\tAVdr\navc1\tavc1\nmpeg\tMMES\n0x4d9\tAVdx\n"));
}

TEST_F(FourccCommand, GivesOtherCodesBackAsTheyAre) {
    EXPECT_EQ(fourcc({"abcd", "ABCD", "es18", "~~~~", "a\"b'"}),
              printed("abcd\tabcd\nABCD\tABCD\nes18\tes18\n~~~~\t~~~~\na\"b'\ta\"b'\n"));
    EXPECT_EQ(fourcc({"0", "1236", "4294967295"}),
              printed("0\t0\n1236\t1236\n4294967295\t4294967295\n"));
}

TEST_F(FourccCommand, TakesBlanksInACode) {
    EXPECT_EQ(fourcc({"dvc ", "dvc", "dvcp"}).status, 2);
    EXPECT_EQ(fourcc({"dvc ", "dvcp", "    ", " a b"}),
              printed("dvc \tdvsd\ndvcp\tdvsd\n    \t    \n a b\t a b\n"));
}

TEST_F(FourccCommand, TakesDigitsAloneForANumber) {
    EXPECT_EQ(fourcc({"1237", "01237", "0000001237", "12", "1"}),
              printed("1237\tAVdn\n01237\tAVdn\n0000001237\tAVdn\n12\t12\n1\t1\n"));
}

TEST_F(FourccCommand, TakesHexadecimalDigitsBehind0xForANumber) {
    EXPECT_EQ(fourcc({"0x4d5", "0X4D5", "0x000004d5", "0x12", "0xFFFFFFFF"}),
              printed("0x4d5\tAVdn\n0X4D5\tAVdn\n0x000004d5\tAVdn\n0x12\t18\n"
                      "0xFFFFFFFF\t4294967295\n"));
    // These are four characters and no digits.
    EXPECT_EQ(fourcc({"0xyz", "0x-1", "12x4", "+123", "1.50", "4d5 "}),
              printed("0xyz\t0xyz\n0x-1\t0x-1\n12x4\t12x4\n+123\t+123\n1.50\t1.50\n4d5 \t4d5 \n"));
}

TEST_F(FourccCommand, TakesNumbersThatAreFourCharacters) {
    // The first character is the lowest byte.
    EXPECT_EQ(fourcc({"0x30307365", "808481637", "0x64636261"}),
              printed("0x30307365\tavc1\n808481637\tavc1\n0x64636261\tabcd\n"));
}

TEST_F(FourccCommand, TakesDigitsForTextWhenToldTo) {
    EXPECT_EQ(fourcc({"--text", "1235", "0x12"}), printed("1235\t1235\n0x12\t0x12\n"));
    EXPECT_EQ(fourcc({"es01", "--text"}), printed("es01\tavc1\n"));
    EXPECT_EQ(fourcc({"--text", "123"}),
              (ToolRun{2, "", "vq: 123: is not four printable ASCII characters\n"}));
    EXPECT_TRUE(isWrongUsage(fourcc({"--text", "0x30307365"})));
}

TEST_F(FourccCommand, PrintsANumberWhenAByteCannotBePrinted) {
    EXPECT_EQ(fourcc({"0x2061611f", "0x20616120", "0x7e616161", "0x7f616161", "0xa0616161"}),
              printed("0x2061611f\t543252767\n0x20616120\t aa \n0x7e616161\taaa~\n"
                      "0x7f616161\t2137088353\n0xa0616161\t2690736481\n"));
}

TEST_F(FourccCommand, AgreesWithTheLibraryOnEveryNumberAroundItsTable) {
    Words words;
    std::string expected;
    for (unsigned int number = 1200; number < 1300; ++number) {
        words.push_back(std::to_string(number));
        const unsigned int code = Vq::lookupPlayoutFCC(number);
        std::string shown = std::to_string(code);
        if (code != number) {
            shown.assign({static_cast<char>(code), static_cast<char>(code >> 8),
                          static_cast<char>(code >> 16), static_cast<char>(code >> 24)});
        }
        expected += words.back() + "\t" + shown + "\n";
    }
    EXPECT_EQ(fourcc(words), printed(expected));
}

TEST_F(FourccCommand, RefusesWhatIsNeitherAndPrintsNothingOfTheOthers) {
    for (const char* word :
         {"", "a", "abc", "abcde", "0x", "0xg", "0x100000000", "4294967296", "-1", "99999999999",
          "\u00E9s0", "es\u00E9", "a\tbc", "a\nbc", "abc\x7F", "abc\xE9", "12 34", "dvc  "}) {
        EXPECT_EQ(fourcc({"es00", word, "es01"}),
                  (ToolRun{2, "",
                           "vq: " + std::string(word) +
                               ": is neither four printable ASCII characters nor a number "
                               "of 32 bits\n"}));
    }
}

TEST_F(FourccCommand, TakesCodesInBracketsAndMarksAsTheyAre) {
    EXPECT_EQ(fourcc({"[ab]", "[,,]", "{ab}", "%%%%", "{}{}", "a,bc"}),
              printed("[ab]\t[ab]\n[,,]\t[,,]\n{ab}\t{ab}\n%%%%\t%%%%\n{}{}\t{}{}\na,bc\ta,bc\n"));
    EXPECT_TRUE(isWrongUsage(fourcc({"[abcd,efgh]"})));
}

TEST_F(FourccCommand, TakesCodesWithADashBehindTwoDashes) {
    EXPECT_EQ(fourcc({"--", "-abc", "----"}), printed("-abc\t-abc\n----\t----\n"));
    EXPECT_TRUE(isWrongUsage(fourcc({"-abc"})));
}

TEST_F(FourccCommand, TakesNamesOfCommands) {
    EXPECT_EQ(fourcc({"meta", "uuid"}), printed("meta\tmeta\nuuid\tuuid\n"));
}

TEST_F(FourccCommand, TakesThousandsOfCodes) {
    Words words;
    std::string expected;
    for (unsigned i = 0; i < 20'000; ++i) {
        words.push_back(std::to_string(i + 10'000));
        expected += words.back() + "\t" + words.back() + "\n";
    }
    EXPECT_EQ(fourcc(words), printed(expected));
}

TEST_F(FourccCommand, FailsWhenTheResultsCannotBeWritten) {
    EXPECT_EQ(runTool({"fourcc", "es00"}, {.standardOutput = "/dev/full"}),
              (ToolRun{1, "", "vq: standard output: could not be written\n"}));
}

TEST_F(FourccCommand, NeedsACode) {
    EXPECT_TRUE(isWrongUsage(fourcc({})));
    EXPECT_TRUE(isWrongUsage(fourcc({"--text"})));
    EXPECT_TRUE(isWrongUsage(fourcc({"--all", "es00"})));
}

TEST_F(FourccCommand, ExplainsItself) {
    const ToolRun help = fourcc({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char* word : {"--text", "0x", "decimal", "tab", "four characters"}) {
        EXPECT_NE(help.out.find(word), std::string::npos) << word;
    }
}

} // namespace
