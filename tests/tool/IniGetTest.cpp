#include "tool/ToolTest.h"

namespace {

using namespace vqtest;
using namespace std::literals;

class IniGet : public ToolTest {};

TEST_F(IniGet, PrintsTheValueWithoutTheBlanksAroundIt) {
    put("[Video]\r\n Width \t=\t 1920 x 1080 \t\r\n");
    EXPECT_EQ(ini("get", {"Video", "Width"}), printed("1920 x 1080\n"));
}

TEST_F(IniGet, LeavesTheFileAsItIs) {
    const std::string bytes = "[Z]\nk = v\n\n[A]\nk=w";
    put(bytes);
    EXPECT_EQ(ini("get", {"A", "k"}), printed("w\n"));
    EXPECT_EQ(content(), bytes);
    EXPECT_EQ(folder_.names(), std::set<std::string>{kName});
}

TEST_F(IniGet, PrintsTheFirstValueOfARepeatedKey) {
    put("[S]\nk=1\nk=2\n[T]\nk=3\n[S]\nk=4\n");
    EXPECT_EQ(ini("get", {"S", "k"}), printed("1\n"));
}

TEST_F(IniGet, PrintsEveryValueInOrderWhenAskedForAll) {
    put("[S]\nk=1\nl=x\n;k=no\nk = 2 \n[T]\nk=3\n[S]\nk=\n");
    EXPECT_EQ(ini("get", {"S", "k", "--all"}), printed("1\n2\n\n"));
    EXPECT_EQ(ini("get", {"--all", "S", "l"}), printed("x\n"));
}

TEST_F(IniGet, PrintsAnEmptyLineForAnEmptyValue) {
    put("[S]\nk=\n");
    EXPECT_EQ(ini("get", {"S", "k"}), printed("\n"));
}

TEST_F(IniGet, PrintsAllThatFollowsTheFirstEqualsSign) {
    put("[S]\nk=a=b = c\n");
    EXPECT_EQ(ini("get", {"S", "k"}), printed("a=b = c\n"));
}

TEST_F(IniGet, TellsKeysApartByCaseEvenWhenSectionsAreNot) {
    put("[S]\nkey=lower\nKEY=upper\n");
    EXPECT_EQ(ini("get", {"S", "KEY"}), printed("upper\n"));
    EXPECT_EQ(ini("get", {"s", "KEY", "--ignore-case"}), printed("upper\n"));
    EXPECT_EQ(ini("get", {"s", "Key", "--ignore-case"}), complained("no key 'Key' in section [s]"));
}

TEST_F(IniGet, ComparesTheWholeKey) {
    put("[S]\nWidth=1\nWid=2\nWidthMax=3\n");
    EXPECT_EQ(ini("get", {"S", "Wid"}), printed("2\n"));
    EXPECT_EQ(ini("get", {"S", "Wi"}).status, 1);
}

TEST_F(IniGet, FindsNeitherCommentsNorLinesWithoutAnEqualsSign) {
    put("[S]\n;k=1\n#k=2\nk\n");
    const ToolRun none = complained("no key 'k' in section [S]");
    EXPECT_EQ(ini("get", {"S", "k"}), none);
    EXPECT_EQ(ini("get", {"S", "k", "--all"}), none);
    EXPECT_EQ(ini("get", {"S", ";k"}), complained("no key ';k' in section [S]"));
}

TEST_F(IniGet, NamesTheMissingSection) {
    put("k=1\n[S]\nk=1\n");
    EXPECT_EQ(ini("get", {"T", "k"}), complained("no section [T]"));
    EXPECT_EQ(ini("get", {"", "k"}), complained("no section []"));
}

TEST_F(IniGet, FindsKeysOutsideAnySection) {
    put("k=out\nk=again\n[]\nk=nameless\n");
    EXPECT_EQ(ini("get", {"--outside", "k"}), printed("out\n"));
    EXPECT_EQ(ini("get", {"k", "--outside", "--all"}), printed("out\nagain\n"));
    EXPECT_EQ(ini("get", {"", "k"}), printed("nameless\n"));
    EXPECT_EQ(ini("get", {"--outside", "l"}), complained("no key 'l' outside the sections"));
}

TEST_F(IniGet, KeepsALetterBeyondAsciiAtTheEndOfAValue) {
    put("[S]\r\nk=Ren\u00E9\r\nk=\u65E5\u672C\r\n\u00FC=\xFF\r\n");
    for (const char* locale : {"C", "C.UTF-8"}) {
        SCOPED_TRACE(locale);
        EXPECT_EQ(ini("get", {"S", "k", "--all"}, {.locale = locale}),
                  printed("Ren\u00E9\n\u65E5\u672C\n"));
        EXPECT_EQ(ini("get", {"S", "\u00FC"}, {.locale = locale}), printed("\xFF\n"));
    }
}

TEST_F(IniGet, DropsControlCharactersAtTheEndsOfALineAndNoOthers) {
    put("[S]\n\x01\tk=a\tb\x02\x7F\r\r\n");
    EXPECT_EQ(ini("get", {"S", "k"}), printed("a\tb\n"));
}

TEST_F(IniGet, TakesAByteOrderMarkForPartOfTheFirstLine) {
    put("\uFEFFk=1\n[S]\nl=2\n");
    EXPECT_EQ(ini("get", {"--outside", "\uFEFFk"}), printed("1\n"));
    EXPECT_EQ(ini("get", {"--outside", "k"}).status, 1);
    EXPECT_EQ(ini("get", {"S", "l"}), printed("2\n"));
}

TEST_F(IniGet, FindsSectionsWhoseNamesHoldBlanksAndBrackets) {
    put("[ a b ]\nk=1\n[[x]]\nk=2\n");
    EXPECT_EQ(ini("get", {" a b ", "k"}), printed("1\n"));
    EXPECT_EQ(ini("get", {"[x]", "k"}), printed("2\n"));
    EXPECT_EQ(ini("get", {"a b", "k"}).status, 1);
}

TEST_F(IniGet, FindsAKeyThatIsANegativeNumber) {
    put("[-1]\n-2=minus two\n");
    EXPECT_EQ(ini("get", {"-1", "-2"}), printed("minus two\n"));
}

} // namespace
