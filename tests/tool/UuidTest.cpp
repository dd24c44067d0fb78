#include "tool/ToolTest.h"

#include <algorithm>

namespace {

using namespace vqtest;

class UuidCommand : public ToolTest {
protected:
    static ToolRun show(const std::string& text) { return runTool({"uuid", "show", text}); }

    static ToolRun refused(const std::string& text, const std::string& reason) {
        return {1, "", "vq: " + text + ": " + reason + "\n"};
    }

    static std::string shown(const std::string& text, const std::string& bytes,
                             const std::string& variant, const std::string& version) {
        return "identifier           " + text + "\nbytes                " + bytes +
               "\nvariant              " + variant + "\nversion              " + version + "\n";
    }

    /// The text with another character at a place.
    static std::string with(std::size_t place, char c) {
        std::string text = "11111111-1111-4111-8111-111111111111";
        text[place] = c;
        return text;
    }
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', start)) {
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (start != text.size()) lines.push_back("no line end: " + text.substr(start));
    return lines;
}

/// Lower-case digits and hyphens where they belong.
bool isCanonical(const std::string& text) {
    if (text.size() != 36) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isHyphenPlace = i == 8 || i == 13 || i == 18 || i == 23;
        const bool isDigit =
            std::string_view("0123456789abcdef").find(text[i]) != std::string::npos;
        if (isHyphenPlace ? text[i] != '-' : !isDigit) return false;
    }
    return true;
}

TEST_F(UuidCommand, MakesOneUnlessToldHowMany) {
    const ToolRun run = runTool({"uuid", "new"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    const auto lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(isCanonical(lines[0])) << lines[0];
}

TEST_F(UuidCommand, MakesAsManyAsToldAllDifferent) {
    for (const Words& words : {Words{"-n", "1000"}, Words{"-n1000"}, Words{"-n01000"}}) {
        Words all = {"uuid", "new"};
        all.insert(all.end(), words.begin(), words.end());
        const ToolRun run = runTool(all);
        EXPECT_EQ(run.status, 0) << words[0];
        const auto lines = linesOf(run.out);
        EXPECT_EQ(lines.size(), 1000U);
        EXPECT_TRUE(std::all_of(lines.begin(), lines.end(), isCanonical));
        EXPECT_EQ(std::set(lines.begin(), lines.end()).size(), 1000U);
    }
    EXPECT_EQ(linesOf(runTool({"uuid", "new", "-n", "1"}).out).size(), 1U);
}

TEST_F(UuidCommand, RefusesToMakeNoneOrLess) {
    for (const char* count : {"0", "00", "-1", "", "x", "1x", "1.5", "1e3", "0x10", "+1", " 1",
                              "1 ", "18446744073709551616", "99999999999999999999999"}) {
        EXPECT_TRUE(isWrongUsage(runTool({"uuid", "new", "-n", count}))) << count;
    }
    EXPECT_EQ(runTool({"uuid", "new", "-n", "0"}),
              (ToolRun{2, "", "vq: -n: N is a number from 1 up\n"}));
    EXPECT_TRUE(isWrongUsage(runTool({"uuid", "new", "-n"})));
    EXPECT_TRUE(isWrongUsage(runTool({"uuid", "new", "-n", "1", "-n", "2"})));
    EXPECT_TRUE(isWrongUsage(runTool({"uuid", "new", "3"})));
}

TEST_F(UuidCommand, StopsWhenTheResultsCannotBeWritten) {
    const ToolRun failed = {1, "", "vq: standard output: could not be written\n"};
    const Surroundings full{.standardOutput = "/dev/full"};
    EXPECT_EQ(runTool({"uuid", "new"}, full), failed);
    // As many as would never end.
    EXPECT_EQ(runTool({"uuid", "new", "-n", "18446744073709551615"}, full), failed);
    EXPECT_EQ(runTool({"uuid", "show", with(0, '2')}, full), failed);
}

TEST_F(UuidCommand, ShowsWhatItMakes) {
    const std::string text = linesOf(runTool({"uuid", "new"}).out).at(0);
    const ToolRun run = show(text);
    EXPECT_EQ(run.status, 0);
    const auto lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "identifier           " + text);
    EXPECT_EQ(lines[2], "variant              rfc4122");
    EXPECT_EQ(lines[3], "version              4");
}

TEST_F(UuidCommand, ShowsTheCanonicalFormAndTheBytesInTheirOrder) {
    const ToolRun run =
        printed(shown("00112233-4455-6677-8899-aabbccddeeff",
                      "00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff", "rfc4122", "6"));
    EXPECT_EQ(show("00112233-4455-6677-8899-aabbccddeeff"), run);
    EXPECT_EQ(show("00112233-4455-6677-8899-AABBCCDDEEFF"), run);
    EXPECT_EQ(show("{00112233-4455-6677-8899-aabbCCDDeeff}"), run);
}

TEST_F(UuidCommand, ShowsTheVariantByTheLeadingBitsAndTheVersionOfOneOfThem) {
    const std::string digits = "0123456789abcdef";
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const std::string text = with(19, digits[i]);
        const std::string variant = i < 8 ? "ncs" : i < 12 ? "rfc4122" : i < 14 ? "guid" : "future";
        const std::string version = i >= 8 && i < 12 ? "4" : "none";
        std::string bytes = "11 11 11 11 11 11 41 11 11 11 11 11 11 11 11 11";
        bytes[24] = digits[i];
        EXPECT_EQ(show(text), printed(shown(text, bytes, variant, version)));
    }
    for (std::size_t version = 0; version < digits.size(); ++version) {
        const auto lines = linesOf(show(with(14, digits[version])).out);
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(lines[3], "version              " + std::to_string(version));
    }
}

TEST_F(UuidCommand, ReadsDigitsAsTheLibraryDoes) {
    EXPECT_EQ(show("-1112233-4455-6677-8899-aabbccddeeff").out.substr(0, 58),
              "identifier           ff112233-4455-6677-8899-aabbccddeeff\n");
}

TEST_F(UuidCommand, ReportsATextThatIsNoIdentifier) {
    for (const char* text :
         {"", "x", "00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddeefff",
          "00112233445566778899aabbccddeeff", "0011223g-4455-6677-8899-aabbccddeeff",
          "00112233_4455-6677-8899-aabbccddeeff", "{00112233-4455-6677-8899-aabbccddeeff",
          "(00112233-4455-6677-8899-aabbccddeeff)", "{}", "[]",
          "00112233-4455-6677-8899-aabbccddee\n"
          "ff"}) {
        EXPECT_EQ(show(text), refused(text, "is no identifier"));
    }
    const std::string junk(100'000, '1');
    EXPECT_EQ(show(junk), refused(junk, "is no identifier"));
}

TEST_F(UuidCommand, SaysThatAllZeroIsTheInvalidValue) {
    for (const char* text :
         {"00000000-0000-0000-0000-000000000000", "{00000000-0000-0000-0000-000000000000}"}) {
        EXPECT_EQ(show(text), refused(text, "is the invalid value"));
    }
    EXPECT_EQ(show("00000000-0000-0000-0000-00000000000"),
              refused("00000000-0000-0000-0000-00000000000", "is no identifier"));
}

TEST_F(UuidCommand, NeedsACommandAndOneText) {
    for (const Words& words : {Words{"uuid"}, Words{"uuid", "show"}, Words{"uuid", "nil"},
                               Words{"uuid", "show", with(0, '1'), with(0, '2')},
                               Words{"uuid", "show", "-n", "1", with(0, '1')},
                               Words{"uuid", with(0, '1')}, Words{"uuid", "new", "--all"}}) {
        EXPECT_TRUE(isWrongUsage(runTool(words))) << testing::PrintToString(words);
    }
}

TEST_F(UuidCommand, ExplainsItself) {
    for (const Words& words : {Words{"uuid", "--help"}, Words{"uuid", "new", "--help"},
                               Words{"uuid", "show", "--help"}}) {
        const ToolRun help = runTool(words);
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
    }
    EXPECT_NE(runTool({"uuid", "new", "--help"}).out.find("1 if not given"), std::string::npos);
    for (const char* word : {"ncs", "rfc4122", "guid", "future"}) {
        EXPECT_NE(runTool({"uuid", "show", "--help"}).out.find(word), std::string::npos) << word;
    }
}

} // namespace
