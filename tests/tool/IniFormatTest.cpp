#include "tool/ToolTest.h"

#include <filesystem>

namespace {

using namespace vqtest;
using namespace std::literals;

class IniFormat : public ToolTest {
protected:
    void expectFormatted(std::string_view before, std::string_view after) {
        put(before);
        EXPECT_EQ(ini("format"), printed(""));
        EXPECT_EQ(content(), after);
    }
};

TEST_F(IniFormat, SortsSectionsEndsLinesWithCrlfAndPutsBlankLinesBetween) {
    expectFormatted("o=1\n[Video]\nb=2\na=1\n\n\n\n[Audio]\nc=3",
                    "o=1\r\n\r\n[Audio]\r\nc=3\r\n\r\n[Video]\r\nb=2\r\na=1\r\n");
}

TEST_F(IniFormat, ChangesNothingInAFileOfTheLibrarysForm) {
    const std::string_view form = "\uFEFF;c\r\no = 1\r\n\r\n[A]\r\nk=\u00E9\r\n#x\r\nk=v\r\n\r\n"
                                  "[B]\r\nno setting\r\n";
    expectFormatted(form, form);
}

TEST_F(IniFormat, IsDoneAfterOnce) {
    put("  o=1 \n[B]\n\n;c\nk =  v\t\n[A]\nl=\xC3\n[B]\nm=\n[x\n[Empty]\n");
    ASSERT_EQ(ini("format"), printed(""));
    const std::string once = content();
    EXPECT_EQ(once, "o=1\r\n\r\n[A]\r\nl=\xC3\r\n\r\n[B]\r\n;c\r\nk =  v\r\nm=\r\n[x\r\n");
    ASSERT_EQ(ini("format"), printed(""));
    EXPECT_EQ(content(), once);
}

TEST_F(IniFormat, KeepsTheSpacingAroundEqualsSigns) {
    expectFormatted("[S]\n a =\t1\nb= 2\n", "[S]\r\na =\t1\r\nb= 2\r\n");
}

TEST_F(IniFormat, KeepsCommentsAndLinesThatAreNoSettings) {
    expectFormatted("# head\n[S]\n; a\nk=1\n# b\nplain\n[open\n",
                    "# head\r\n\r\n[S]\r\n; a\r\nk=1\r\n# b\r\nplain\r\n[open\r\n");
}

TEST_F(IniFormat, KeepsEveryLineOfARepeatedKey) {
    expectFormatted("[S]\nk=1\nk=2\nk=1\n", "[S]\r\nk=1\r\nk=2\r\nk=1\r\n");
}

TEST_F(IniFormat, BringsThePartsOfARepeatedSectionTogether) {
    expectFormatted("[S]\nk=1\n[T]\nt=1\n[S]\nl=2\n", "[S]\r\nk=1\r\nl=2\r\n\r\n[T]\r\nt=1\r\n");
}

TEST_F(IniFormat, BringsSectionsTogetherWithoutTheirCaseOnlyWhenTold) {
    const std::string_view bytes = "[B]\r\nk=1\r\n\r\n[b]\r\nl=2\r\n";
    expectFormatted(bytes, bytes);
    EXPECT_EQ(ini("format", {"--ignore-case"}), printed(""));
    EXPECT_EQ(content(), "[B]\r\nk=1\r\nl=2\r\n");
}

TEST_F(IniFormat, DropsSectionsWithoutAnyLine) {
    expectFormatted("[A]\n[B]\nk=1\n[C]\n\n[D]\n;c\n", "[B]\r\nk=1\r\n\r\n[D]\r\n;c\r\n");
}

TEST_F(IniFormat, KeepsLettersBeyondAsciiInEveryLocale) {
    const std::string_view bytes = "\u00FC=\u00FC\r\n\r\n[\u00E9]\r\nk=caf\u00E9\r\n"
                                   "n=\u65E5\u672C\u8A9E\r\n\u00E0\r\nlatin=caf\xE9\r\n";
    for (const char* locale : {"C", "C.UTF-8"}) {
        SCOPED_TRACE(locale);
        put(bytes);
        EXPECT_EQ(ini("format", {}, {.locale = locale}), printed(""));
        EXPECT_EQ(content(), bytes);
    }
}

TEST_F(IniFormat, KeepsEveryByteInTheMiddleOfALine) {
    std::string value = "<";
    for (int byte = 0; byte < 256; ++byte) {
        if (byte != '\n') value.push_back(static_cast<char>(byte));
    }
    value += ">";
    const std::string bytes = "[S]\r\nk=" + value + "\r\n" + value + "\r\n";
    expectFormatted(bytes, bytes);
}

TEST_F(IniFormat, KeepsEveryByteBeyondAsciiAtTheEndsOfALine) {
    std::string bytes = "[S]\r\n";
    for (int byte = 0x80; byte < 0x100; ++byte) {
        const auto end = static_cast<char>(byte);
        bytes.append({end, '=', end}).append("\r\n").append({end}).append("\r\n");
    }
    expectFormatted(bytes, bytes);
}

TEST_F(IniFormat, KeepsZeroBytesInLinesAndNames) {
    const std::string_view bytes = "a\0b=c\0d\r\n\r\n[s\0t]\r\nk=\0=v\r\n\r\n[u]\r\nx\0\0y\r\n"sv;
    expectFormatted(bytes, bytes);
}

TEST_F(IniFormat, KeepsAHeaderBehindAByteOrderMarkAsALine) {
    expectFormatted("\uFEFF[S]\nk=1\n[S]\nl=2\n", "\uFEFF[S]\r\nk=1\r\n\r\n[S]\r\nl=2\r\n");
}

TEST_F(IniFormat, KeepsALineOfTenMegabytes) {
    const std::string line = "k=" + std::string(10'000'000, '=');
    expectFormatted("[S]\n" + line + "\n;c\n", "[S]\r\n" + line + "\r\n;c\r\n");
}

TEST_F(IniFormat, LeavesAnEmptyFileEmpty) {
    expectFormatted("", "");
    expectFormatted("\r\n \n\t\n", "");
}

TEST_F(IniFormat, LeavesNothingButTheFileInItsFolder) {
    expectFormatted("k=1\n", "k=1\r\n");
    EXPECT_EQ(folder_.names(), std::set<std::string>{kName});
}

TEST_F(IniFormat, WritesThroughALinkAndKeepsIt) {
    folder_.put("real.ini", "k=1\n");
    std::filesystem::create_symlink("real.ini", path());
    EXPECT_EQ(ini("format"), printed(""));
    EXPECT_TRUE(std::filesystem::is_symlink(path()));
    EXPECT_EQ(folder_.content("real.ini"), "k=1\r\n");
}

TEST_F(IniFormat, KeepsThePermissionsOfTheFile) {
    using std::filesystem::perms;
    put("k=1\n");
    std::filesystem::permissions(path(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(ini("format"), printed(""));
    EXPECT_EQ(std::filesystem::status(path()).permissions(),
              perms::owner_read | perms::owner_write);
}

} // namespace
