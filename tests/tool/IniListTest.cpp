#include "tool/ToolTest.h"

namespace {

using namespace vqtest;
using namespace std::literals;

class IniList : public ToolTest {};

TEST_F(IniList, PrintsTheSectionsByNameOnePerLine) {
    put("outside=1\r\n[Video]\r\na=1\r\n[Audio]\r\nb=2\r\n[audio]\r\nc=3\r\n");
    EXPECT_EQ(ini("list"), printed("Audio\nVideo\naudio\n"));
}

TEST_F(IniList, LeavesTheFileAsItIs) {
    const std::string bytes = "\n\n b = 2\n[Z]\nk=v\n[A]\n;c\n[Empty]";
    put(bytes);
    EXPECT_EQ(ini("list"), printed("A\nZ\n"));
    EXPECT_EQ(ini("list", {"Z"}), printed("k=v\n"));
    EXPECT_EQ(content(), bytes);
}

TEST_F(IniList, DoesNotKnowASectionWithoutLines) {
    put("[Empty]\n[Full]\nk=v\n");
    EXPECT_EQ(ini("list"), printed("Full\n"));
    EXPECT_EQ(ini("list", {"Empty"}), complained("no section [Empty]"));
}

TEST_F(IniList, PrintsAnEmptyLineForTheSectionWithoutAName) {
    put("[]\nk=v\n[A]\nk=v\n");
    EXPECT_EQ(ini("list"), printed("\nA\n"));
}

TEST_F(IniList, PrintsTheSettingsOfASectionTrimmedAndInTheirOrder) {
    put("[Video]\r\n  Width = 1920  "
        "\r\nCodec\t=\tH.264\r\nAspect=16:9\r\n[Audio]\r\nRate=48000\r\n");
    EXPECT_EQ(ini("list", {"Video"}), printed("Width=1920\nCodec=H.264\nAspect=16:9\n"));
}

TEST_F(IniList, PrintsEveryLineOfARepeatedKey) {
    put("[Recent]\nFile=a\nOther=x\nFile=b\n[Z]\nk=v\n[Recent]\nFile=c\n");
    EXPECT_EQ(ini("list", {"Recent"}), printed("File=a\nOther=x\nFile=b\nFile=c\n"));
}

TEST_F(IniList, CutsASettingAtItsFirstEqualsSign) {
    put("[S]\na = b = c\n=nameless\nempty=\n");
    EXPECT_EQ(ini("list", {"S"}), printed("a=b = c\n=nameless\nempty=\n"));
}

TEST_F(IniList, PassesOverCommentsAndLinesWithoutAnEqualsSign) {
    put("[S]\n;a=1\n# b=2\n  ; c=3\nno setting\nk=v\n");
    EXPECT_EQ(ini("list", {"S"}), printed("k=v\n"));
}

TEST_F(IniList, PrintsNothingForASectionOfCommentsOnly) {
    put("[S]\n;a=1\n");
    EXPECT_EQ(ini("list", {"S"}), printed(""));
}

TEST_F(IniList, PrintsTheKeysOutsideAnySection) {
    put("first = 1\n;c\nsecond=2\n[S]\nk=v\n");
    EXPECT_EQ(ini("list", {"--outside"}), printed("first=1\nsecond=2\n"));
}

TEST_F(IniList, SaysWhenThereIsNothingOutsideTheSections) {
    put("[S]\nk=v\n");
    EXPECT_EQ(ini("list", {"--outside"}), complained("no lines outside the sections"));
}

TEST_F(IniList, TakesTheEmptyWordForTheSectionWithoutAName) {
    put("outside=1\n[]\nk=v\n");
    EXPECT_EQ(ini("list", {""}), printed("k=v\n"));
}

TEST_F(IniList, TellsSectionsApartByCaseUnlessToldNotTo) {
    put("[Video]\na=1\n[VIDEO]\nb=2\n");
    EXPECT_EQ(ini("list", {"Video"}), printed("a=1\n"));
    EXPECT_EQ(ini("list", {"video"}), complained("no section [video]"));
    EXPECT_EQ(ini("list", {"video", "--ignore-case"}), printed("a=1\nb=2\n"));
    EXPECT_EQ(ini("list", {"--ignore-case"}), printed("Video\n"));
}

TEST_F(IniList, IgnoresTheCaseOfAsciiLettersOnly) {
    put("[\u00C4]\na=1\n[\u00E4]\nb=2\n");
    EXPECT_EQ(ini("list", {"\u00C4", "--ignore-case"}, {.locale = "C.UTF-8"}), printed("a=1\n"));
}

TEST_F(IniList, ReadsAllLineEndsAlike) {
    const std::string_view lines[] = {"a=1\n[S]\nk=v\nl=w", "a=1\r\n[S]\r\nk=v\r\nl=w\r\n",
                                      "a=1\n\n\n[S]\r\nk=v\n\r\nl=w\n\n"};
    for (std::string_view bytes : lines) {
        put(bytes);
        EXPECT_EQ(ini("list", {"S"}), printed("k=v\nl=w\n"));
        EXPECT_EQ(ini("list", {"--outside"}), printed("a=1\n"));
    }
}

TEST_F(IniList, TakesBracketsForAHeaderOnlyAtBothEnds) {
    put("[S]\nk=v\n[T] ; comment\nl=w\n[U\nm=x\n");
    EXPECT_EQ(ini("list"), printed("S\n"));
    EXPECT_EQ(ini("list", {"S"}), printed("k=v\nl=w\nm=x\n"));
}

TEST_F(IniList, PrintsNothingForAnEmptyFile) {
    put("");
    EXPECT_EQ(ini("list"), printed(""));
    EXPECT_EQ(ini("list", {"S"}), complained("no section [S]"));
}

TEST_F(IniList, ReadsWhatIsNoSettingsFile) {
    std::string bytes;
    for (unsigned i = 0; i < 100000; ++i) bytes.push_back(static_cast<char>(i * i >> 3));
    put(bytes);
    EXPECT_EQ(ini("list").status, 0);
    EXPECT_EQ(content(), bytes);
}

TEST_F(IniList, PrintsAZeroByteInALine) {
    put("[S]\na\0b=c\0d\nk=v\n"sv);
    EXPECT_EQ(ini("list", {"S"}), printed("a\0b=c\0d\nk=v\n"sv));
}

TEST_F(IniList, PrintsALineOfTenMegabytes) {
    const std::string value(10'000'000, 'x');
    put("[S]\r\nk = " + value + "\r\nl=w\r\n");
    EXPECT_EQ(ini("list", {"S"}), printed("k=" + value + "\nl=w\n"));
}

} // namespace
