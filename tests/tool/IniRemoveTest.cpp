#include "tool/ToolTest.h"

namespace {

using namespace vqtest;

class IniRemove : public ToolTest {};

TEST_F(IniRemove, RemovesEveryLineOfTheKeyAndNoOther) {
    put("[S]\r\nk=1\r\n;k=2\r\nkk=3\r\n k = 4\r\nk\r\n\r\n[T]\r\nk=5\r\n[S]\r\nk=6\r\n");
    EXPECT_EQ(ini("remove", {"S", "k"}), printed(""));
    EXPECT_EQ(content(), "[S]\r\n;k=2\r\nkk=3\r\nk\r\n\r\n[T]\r\nk=5\r\n");
}

TEST_F(IniRemove, RemovesAWholeSectionWithItsComments) {
    put("o=1\n[S]\nk=1\n;c\n[T]\nk=2\n[S]\nl=3\n");
    EXPECT_EQ(ini("remove", {"S"}), printed(""));
    EXPECT_EQ(content(), "o=1\r\n\r\n[T]\r\nk=2\r\n");
}

TEST_F(IniRemove, RemovesAKeyOutsideAnySection) {
    put("k=1\nl=2\n[S]\nk=3\n");
    EXPECT_EQ(ini("remove", {"--outside", "k"}), printed(""));
    EXPECT_EQ(content(), "l=2\r\n\r\n[S]\r\nk=3\r\n");
}

TEST_F(IniRemove, LeavesNoBlankLineOfTheLastKeyOutside) {
    put("k=1\n[S]\nk=3\n");
    EXPECT_EQ(ini("remove", {"--outside", "k"}), printed(""));
    EXPECT_EQ(content(), "[S]\r\nk=3\r\n");
}

TEST_F(IniRemove, RemovesEverythingOutsideTheSections) {
    put("k=1\n;c\n[S]\nk=3\n");
    EXPECT_EQ(ini("remove", {"--outside"}), printed(""));
    EXPECT_EQ(content(), "[S]\r\nk=3\r\n");
}

TEST_F(IniRemove, CanLeaveAnEmptyFile) {
    put("[S]\nk=1\n");
    EXPECT_EQ(ini("remove", {"S"}), printed(""));
    EXPECT_EQ(content(), "");
    EXPECT_EQ(ini("list"), printed(""));
}

TEST_F(IniRemove, RemovesTheSectionWithoutAName) {
    put("o=1\n[]\nk=1\n[S]\nk=2\n");
    EXPECT_EQ(ini("remove", {""}), printed(""));
    EXPECT_EQ(content(), "o=1\r\n\r\n[S]\r\nk=2\r\n");
}

TEST_F(IniRemove, IgnoresTheCaseOfSectionsOnlyWhenTold) {
    put("[Sec]\nk=1\n[SEC]\nk=2\n[T]\nt=3\n");
    EXPECT_EQ(ini("remove", {"sec"}), complained("no section [sec]"));
    EXPECT_EQ(ini("remove", {"sec", "--ignore-case"}), printed(""));
    EXPECT_EQ(content(), "[T]\r\nt=3\r\n");
}

TEST_F(IniRemove, LeavesTheFileAloneWhenThereIsNothingToRemove) {
    const std::string bytes = "[T]\nk=1\n\n\n[S]\n;k=1\nK=1";
    put(bytes);
    EXPECT_EQ(ini("remove", {"S", "k"}), complained("no key 'k' in section [S]"));
    EXPECT_EQ(ini("remove", {"U"}), complained("no section [U]"));
    EXPECT_EQ(ini("remove", {"U", "k"}), complained("no section [U]"));
    EXPECT_EQ(ini("remove", {"--outside"}), complained("no lines outside the sections"));
    EXPECT_EQ(ini("remove", {"--outside", "k"}), complained("no lines outside the sections"));
    EXPECT_EQ(content(), bytes);
}

TEST_F(IniRemove, UndoesASet) {
    const std::string bytes = "o=1\r\n\r\n[S]\r\na = 1\r\n\r\n[T]\r\nb=\u00E9\r\n";
    put(bytes);
    ASSERT_EQ(ini("set", {"S", "k", "v"}), printed(""));
    ASSERT_EQ(ini("set", {"New", "k", "v"}), printed(""));
    EXPECT_NE(content(), bytes);
    EXPECT_EQ(ini("remove", {"S", "k"}), printed(""));
    EXPECT_EQ(ini("remove", {"New"}), printed(""));
    EXPECT_EQ(content(), bytes);
}

} // namespace
