#include "tool/ToolTest.h"

namespace {

using namespace vqtest;
using namespace std::literals;

class IniCheck : public ToolTest {
protected:
    ToolRun check(std::string_view bytes, const Words& words = {}) {
        put(bytes);
        const ToolRun run = ini("check", words);
        EXPECT_EQ(content(), bytes);
        return run;
    }
};

TEST_F(IniCheck, PrintsNothingForAFileWithoutFindings) {
    const std::string_view clean = "; head\r\n\r\n# more\r\n[Video]\r\n;c\r\nWidth = 1920\r\n"
                                   "Name=caf\u00E9 \u65E5\u672C\r\n\r\n[Audio]\r\nWidth=2\r\n";
    EXPECT_EQ(check(clean), printed(""));
    EXPECT_EQ(check(""), printed(""));
    EXPECT_EQ(check("\n\r\n  \n"), printed(""));
    EXPECT_EQ(check("[S]\nk=1"), printed(""));
}

TEST_F(IniCheck, FindsAByteOrderMark) {
    EXPECT_EQ(check("\uFEFF;c\r\n[S]\r\nk=1\r\n"), found({"1: byte-order mark"}));
    EXPECT_EQ(check("\uFEFF"), found({"1: byte-order mark"}));
}

TEST_F(IniCheck, FindsThatAByteOrderMarkHidesAHeader) {
    EXPECT_EQ(check("\uFEFF[S]\nk=1\n"),
              found({"1: byte-order mark", "2: key 'k' before the first header"}));
}

TEST_F(IniCheck, TakesAByteOrderMarkForOneOnlyAtTheStart) {
    EXPECT_EQ(check("[S]\nk=\uFEFF\n\uFEFFl=1\n"), printed(""));
}

TEST_F(IniCheck, FindsKeysBeforeTheFirstHeader) {
    EXPECT_EQ(check("\n a = 1\n;c=2\nb=2\n[S]\nk=1\n"),
              found({"2: key 'a' before the first header", "4: key 'b' before the first header"}));
}

TEST_F(IniCheck, FindsLinesWithoutAnEqualsSign) {
    EXPECT_EQ(check("[S]\nk=1\nplain\n;plain\n#plain\n  \n x y \n"),
              found({"3: line without '='", "7: line without '='"}));
}

TEST_F(IniCheck, FindsAnUnclosedBracket) {
    EXPECT_EQ(check("[S]\nk=1\n[T\n[\n[U] ;c\n"),
              found({"3: unclosed '['", "4: unclosed '['", "5: unclosed '['"}));
}

TEST_F(IniCheck, FindsRepeatedKeysWithTheLineOfTheFirst) {
    EXPECT_EQ(
        check("[S]\nk=1\nl=2\n k =3\nK=4\nk=1\n"),
        found({"4: key 'k' repeated, first in line 2", "6: key 'k' repeated, first in line 2"}));
}

TEST_F(IniCheck, TakesTheSameKeyInTwoSectionsForTwo) {
    EXPECT_EQ(check("[S]\nk=1\n[T]\nk=2\n"), printed(""));
}

TEST_F(IniCheck, FindsKeysRepeatedOutsideAnySection) {
    EXPECT_EQ(check("k=1\nk=2\n"),
              found({"1: key 'k' before the first header", "2: key 'k' before the first header",
                     "2: key 'k' repeated, first in line 1"}));
}

TEST_F(IniCheck, FindsRepeatedSectionsWithTheLineOfTheFirst) {
    EXPECT_EQ(check("[S]\nk=1\n[T]\nk=2\n[S]\nl=3\n[S]\nm=4\n[s]\nk=5\n"),
              found({"5: section [S] repeated, first in line 1",
                     "7: section [S] repeated, first in line 1"}));
}

TEST_F(IniCheck, FindsAKeyRepeatedInALaterPartOfItsSection) {
    EXPECT_EQ(check("[S]\nk=1\n[T]\nt=2\n[S]\nk=3\n"),
              found({"5: section [S] repeated, first in line 1",
                     "6: key 'k' repeated, first in line 2"}));
}

TEST_F(IniCheck, FindsSectionsRepeatedInAnotherCaseWhenTold) {
    const std::string_view bytes = "[Sec]\nk=1\n[SEC]\nk=2\n";
    EXPECT_EQ(check(bytes), printed(""));
    EXPECT_EQ(check(bytes, {"--ignore-case"}), found({"3: section [SEC] repeated, first in line 1",
                                                      "4: key 'k' repeated, first in line 2"}));
}

TEST_F(IniCheck, FindsSectionsWithoutKeys) {
    EXPECT_EQ(check("[Empty]\n[S]\nk=1\n[Comments]\n;c\n\n[]\n"),
              found({"1: section [Empty] without keys", "4: section [Comments] without keys",
                     "7: section [] without keys"}));
}

TEST_F(IniCheck, NamesASectionAsTheFileHasItWhenTheCaseDoesNotCount) {
    EXPECT_EQ(check("[Empty]\n", {"--ignore-case"}), found({"1: section [Empty] without keys"}));
}

TEST_F(IniCheck, TakesASectionForOneWithKeysWhenAnyOfItsPartsHasThem) {
    EXPECT_EQ(check("[S]\n[T]\nt=1\n[S]\nk=1\n"),
              found({"4: section [S] repeated, first in line 1"}));
    EXPECT_EQ(check("[S]\n[S]\n"),
              found({"1: section [S] without keys", "2: section [S] repeated, first in line 1"}));
}

TEST_F(IniCheck, FindsInvalidUtf8) {
    const std::string_view invalid[] = {
        "\xFF",             // never part of UTF-8
        "\x80",             // nothing to continue
        "\xC3",             // cut short
        "\xC3(",            // not continued
        "\xC0\xAF",         // longer than needed
        "\xED\xA0\x80",     // a surrogate
        "\xF4\x90\x80\x80", // beyond the last character
        "caf\xE9",          // Latin-1
    };
    for (std::string_view text : invalid) {
        SCOPED_TRACE(testing::PrintToString(text));
        const std::string line = std::string(text) + "\n";
        EXPECT_EQ(check("[S]\nk=" + line), found({"2: invalid UTF-8"}));
        EXPECT_EQ(check(";" + line), found({"1: invalid UTF-8"}));
        EXPECT_EQ(check("[S]\nk=1\n" + line), found({"3: invalid UTF-8", "3: line without '='"}));
    }
}

TEST_F(IniCheck, TakesEveryCharacterOfUtf8) {
    EXPECT_EQ(check("[\u00E9]\nk=\u07FF\u0800\uD7FF\uE000\uFFFD\uFFFF\U00010000\U0010FFFF\n"),
              printed(""));
    EXPECT_EQ(check("[S]\nk=a\0\u00E9\0b\n"sv), printed(""));
}

TEST_F(IniCheck, SaysTheSameInEveryLocale) {
    put("[S]\nk=caf\u00E9\nl=caf\xE9\n\u00E9\n");
    const ToolRun expected = found({"3: invalid UTF-8", "4: line without '='"});
    EXPECT_EQ(ini("check"), expected);
    EXPECT_EQ(ini("check", {}, {.locale = "C.UTF-8"}), expected);
}

TEST_F(IniCheck, PrintsItsFindingsInTheOrderOfLines) {
    EXPECT_EQ(check("\uFEFFa=1\r\nk=1\r\n[Empty]\r\n[S]\r\nk=1\r\nplain\r\nk=2\r\n[T\r\nl=\xFF\r\n"
                    "[S]\r\n[A]\r\n"),
              found({"1: byte-order mark", "2: key 'k' before the first header",
                     "3: section [Empty] without keys", "6: line without '='",
                     "7: key 'k' repeated, first in line 5", "8: unclosed '['", "9: invalid UTF-8",
                     "10: section [S] repeated, first in line 4", "11: section [A] without keys"}));
}

TEST_F(IniCheck, CountsEveryLineHoweverItEnds) {
    EXPECT_EQ(check("\n\r\n[S]\r\n\nk=1\n\r\nplain"), found({"7: line without '='"}));
}

TEST_F(IniCheck, TakesALineOfTenMegabytes) {
    const std::string filler(10'000'000, 'x');
    EXPECT_EQ(check("[S]\nk=" + filler + "\n" + filler + "\n"), found({"3: line without '='"}));
}

TEST_F(IniCheck, IsDoneSoonWithManyRepeatedKeys) {
    std::string bytes = "[S]\n";
    Words findings;
    for (int line = 2; bytes.size() < 5'000'000; ++line) {
        const std::string key = std::to_string(line % 100000);
        bytes += key + "=1\n";
        if (line < 100002) continue;
        const std::string first =
            std::to_string(line % 100000 < 2 ? line % 100000 + 100000 : line % 100000);
        findings.push_back(std::to_string(line) + ": key '" + key + "' repeated, first in line " +
                           first);
    }
    ASSERT_GT(findings.size(), 500'000U);
    // A plain comparison: a difference of such texts is nothing to print.
    EXPECT_TRUE(check(bytes) == found(findings));
}

TEST_F(IniCheck, IsDoneSoonWithManySections) {
    std::string bytes;
    while (bytes.size() < 5'000'000) bytes += "[" + std::to_string(bytes.size()) + "]\nk=1\n";
    EXPECT_EQ(check(bytes), printed(""));
}

} // namespace
