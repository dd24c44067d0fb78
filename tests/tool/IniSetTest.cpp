#include "tool/ToolTest.h"

#include <sys/resource.h>

#include <csignal>

namespace {

using namespace vqtest;
using namespace std::literals;

constexpr rlim_t kFullDisk = 4096;

/// While it lives, no file of this process and its children grows beyond `kFullDisk` bytes.
class AlmostFullDisk {
public:
    AlmostFullDisk() : oldAction_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &oldLimit_);
        const rlimit limit = {kFullDisk, oldLimit_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    ~AlmostFullDisk() {
        setrlimit(RLIMIT_FSIZE, &oldLimit_);
        std::signal(SIGXFSZ, oldAction_);
    }

    AlmostFullDisk(const AlmostFullDisk&) = delete;
    AlmostFullDisk& operator=(const AlmostFullDisk&) = delete;

private:
    void (*oldAction_)(int);
    rlimit oldLimit_{};
};

class IniSet : public ToolTest {
protected:
    void expectSet(std::string_view before, const Words& words, std::string_view after) {
        put(before);
        EXPECT_EQ(ini("set", words), printed(""));
        EXPECT_EQ(content(), after);
    }

    /// Is it refused with status 2 and a word about it, the file being left alone?
    testing::AssertionResult isRefused(const Words& words) {
        const std::string bytes = "[S]\nk=1\n\n\nnext=2";
        put(bytes);
        testing::AssertionResult refused = isWrongUsage(ini("set", words));
        if (refused && content() != bytes) {
            return testing::AssertionFailure() << "the file is changed: " << content();
        }
        return refused;
    }

    /// Can the value be given as it is, and is it what `get` and the next `format` find?
    void expectKept(const std::string& value, const Surroundings& surroundings = {}) {
        SCOPED_TRACE(testing::PrintToString(value));
        expectSet("[S]\r\nk=1\r\n", {"S", "k", "--", value}, "[S]\r\nk=" + value + "\r\n");
        EXPECT_EQ(ini("get", {"S", "k"}, surroundings), printed(value + "\n"));
        EXPECT_EQ(ini("format", {}, surroundings), printed(""));
        EXPECT_EQ(content(), "[S]\r\nk=" + value + "\r\n");
    }
};

TEST_F(IniSet, ChangesTheValueOfAKey) {
    expectSet("[S]\r\na=1\r\nk=2\r\nz=3\r\n", {"S", "k", "new"}, "[S]\r\na=1\r\nk=new\r\nz=3\r\n");
}

TEST_F(IniSet, KeepsTheSpacingAroundTheEqualsSign) {
    expectSet("[S]\r\nk =\t 2\r\n", {"S", "k", "new"}, "[S]\r\nk =\t new\r\n");
    expectSet("[S]\r\nk\t=2 \r\n", {"S", "k", "new"}, "[S]\r\nk\t=new\r\n");
    expectSet("[S]\r\nk= a = b\r\n", {"S", "k", "c = d"}, "[S]\r\nk= c = d\r\n");
    expectSet("[S]\r\nk =\r\n", {"S", "k", "new"}, "[S]\r\nk =new\r\n");
}

TEST_F(IniSet, AppendsAKeyThatIsNotThere) {
    expectSet("[S]\r\na = 1\r\n;k=2\r\nK=3\r\nk\r\n\r\n[T]\r\nk=4\r\n", {"S", "k", "new"},
              "[S]\r\na = 1\r\n;k=2\r\nK=3\r\nk\r\nk=new\r\n\r\n[T]\r\nk=4\r\n");
}

TEST_F(IniSet, CreatesASectionThatIsNotThere) {
    expectSet("[B]\r\nk=1\r\n", {"A", "k", "v"}, "[A]\r\nk=v\r\n\r\n[B]\r\nk=1\r\n");
    expectSet("", {"A", "k", "v"}, "[A]\r\nk=v\r\n");
}

TEST_F(IniSet, ChangesTheFirstLineOfARepeatedKey) {
    expectSet("[S]\r\nk=1\r\nk=2\r\n\r\n[T]\r\nk=3\r\n", {"S", "k", "v"},
              "[S]\r\nk=v\r\nk=2\r\n\r\n[T]\r\nk=3\r\n");
}

TEST_F(IniSet, WritesKeysOutsideAnySection) {
    expectSet("k=1\r\n\r\n[S]\r\nk=2\r\n", {"--outside", "k", "v"}, "k=v\r\n\r\n[S]\r\nk=2\r\n");
    expectSet("[S]\r\nk=2\r\n", {"--outside", "k", "v"}, "k=v\r\n\r\n[S]\r\nk=2\r\n");
}

TEST_F(IniSet, WritesIntoTheSectionWithoutAName) {
    expectSet("k=1\r\n", {"", "k", "v"}, "k=1\r\n\r\n[]\r\nk=v\r\n");
    EXPECT_EQ(ini("get", {"", "k"}), printed("v\n"));
}

TEST_F(IniSet, IgnoresTheCaseOfSectionsOnlyWhenTold) {
    expectSet("[Sec]\r\nk=1\r\n", {"--ignore-case", "SEC", "k", "v"}, "[Sec]\r\nk=v\r\n");
    expectSet("[Sec]\r\nk=1\r\n", {"SEC", "k", "v"}, "[SEC]\r\nk=v\r\n\r\n[Sec]\r\nk=1\r\n");
}

TEST_F(IniSet, BringsTheRestIntoTheLibrarysFormAndLosesNoLine) {
    expectSet("\uFEFF;c\no=1\n[Z]\nz=1\n;z\nplain\n[A]\n a = \u00E9\n", {"Z", "z", "2"},
              "\uFEFF;c\r\no=1\r\n\r\n[A]\r\na = \u00E9\r\n\r\n[Z]\r\nz=2\r\n;z\r\nplain\r\n");
}

TEST_F(IniSet, KeepsZeroBytesOfOtherLines) {
    expectSet("[S]\r\na\0b=c\0d\r\nk=1\r\n"sv, {"S", "k", "v"}, "[S]\r\na\0b=c\0d\r\nk=v\r\n"sv);
}

TEST_F(IniSet, TakesNegativeNumbersAsTheyAre) {
    expectSet("[S]\r\nk=1\r\n", {"S", "k", "-5"}, "[S]\r\nk=-5\r\n");
    expectSet("[S]\r\nk=1\r\n", {"S", "k", "-0.5e3"}, "[S]\r\nk=-0.5e3\r\n");
    EXPECT_EQ(ini("get", {"S", "k"}), printed("-0.5e3\n"));
}

TEST_F(IniSet, TakesEveryWordBehindTwoDashes) {
    for (const char* word : {"-x", "--all", "--outside", "--ignore-case", "--help", "-h", "--", "-",
                             "++", "-.5", "--version"}) {
        expectKept(word);
    }
    expectSet("[S]\r\nk=1\r\n", {"--", "-s", "-k", "-v"}, "[-s]\r\n-k=-v\r\n\r\n[S]\r\nk=1\r\n");
}

TEST_F(IniSet, RefusesWhatLooksLikeAnOptionElsewhere) {
    EXPECT_TRUE(isRefused({"S", "k", "-x"}));
    EXPECT_TRUE(isRefused({"S", "k", "--value"}));
    EXPECT_TRUE(isRefused({"S", "k", "--all"}));
}

TEST_F(IniSet, TakesAnyValueThatReadsBack) {
    for (const char* value : {"",     "=",   "a=b",  "== x", ";no comment", "#fff", "[x]",  "[a,b]",
                              "[",    "]",   "{}",   "%%",   "\"quoted\"",  "'",    "a,b",  "a\tb",
                              "a\rb", "\\n", "list", "crc",  "true",        "+1",   "/path"}) {
        expectKept(value);
    }
}

TEST_F(IniSet, TakesValuesBeyondAsciiInEveryLocale) {
    for (const char* locale : {"C", "C.UTF-8"}) {
        SCOPED_TRACE(locale);
        for (const char* value : {"caf\u00E9", "\u65E5\u672C\u8A9E", "\U0001F3AC", "caf\xE9",
                                  "\xC3", "\u00A0", "\uFEFF"}) {
            expectKept(value, {.locale = locale});
        }
    }
}

TEST_F(IniSet, TakesNamesOfCommandsAndMarksForSectionsAndKeys) {
    for (const char* word :
         {"ini", "crc", "list", "get", "{}", "%%", "[a,b]", "a;b", "-5", "\u00E9", "\"q\""}) {
        SCOPED_TRACE(word);
        const std::string name = word;
        expectSet("", {name, "k", "v"}, "[" + name + "]\r\nk=v\r\n");
        EXPECT_EQ(ini("get", {name, "k"}), printed("v\n"));
        EXPECT_EQ(ini("list"), printed(name + "\n"));
        if (name.starts_with('[')) continue;
        expectSet("", {"S", name, "v"}, "[S]\r\n" + name + "=v\r\n");
        EXPECT_EQ(ini("get", {"S", name}), printed("v\n"));
    }
}

TEST_F(IniSet, RefusesAValueThatWouldNotReadBack) {
    for (const char* value :
         {" v", "v ", "\tv", "v\t", " ", "a\nb", "\n", "v\n", "v\r", "\r", "v\x01", "v\x7F"}) {
        EXPECT_TRUE(isRefused({"S", "k", value})) << testing::PrintToString(value);
        EXPECT_TRUE(isRefused({"S", "another", value})) << testing::PrintToString(value);
        EXPECT_TRUE(isRefused({"--outside", "k", value})) << testing::PrintToString(value);
    }
}

TEST_F(IniSet, RefusesAKeyThatWouldNotReadBack) {
    for (const char* key : {"", "a=b", "=", ";k", "#k", "[k", "[k]", " k", "k ", "\tk", "k\t",
                            "a\nb", "\nk", "k\n", "\rk", "\x01k", " "}) {
        EXPECT_TRUE(isRefused({"S", key, "v"})) << testing::PrintToString(key);
        EXPECT_TRUE(isRefused({"--outside", key, "v]"})) << testing::PrintToString(key);
    }
}

TEST_F(IniSet, RefusesASectionThatWouldNotReadBack) {
    for (const char* section : {"a\nb", "\n", "a\n[b", "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@"}) {
        EXPECT_TRUE(isRefused({section, "k", "v"})) << testing::PrintToString(section);
    }
}

TEST_F(IniSet, RefusesTheReservedSectionInAnyCaseWhenTheCaseDoesNotCount) {
    const std::string name = "@@@anonymous_section_reserved_name@@@";
    EXPECT_TRUE(isRefused({"--ignore-case", name, "k", "v"}));
    expectSet("", {name, "k", "v"}, "[" + name + "]\r\nk=v\r\n");
}

TEST_F(IniSet, TakesASectionWithBlanksAndBracketsInItsName) {
    for (const char* section : {" a ", "[", "]", "[a]", "a]b", "a=b", ";a", "#", "\t", "a\rb"}) {
        SCOPED_TRACE(testing::PrintToString(section));
        expectSet("", {section, "k", "v"}, "["s + section + "]\r\nk=v\r\n");
        EXPECT_EQ(ini("get", {section, "k"}), printed("v\n"));
    }
}

TEST_F(IniSet, ChangesALineOfTenMegabytes) {
    const std::string value(10'000'000, 'x');
    expectSet("[S]\r\nk = " + value + "\r\nlong=" + value + "\r\n", {"S", "k", "short"},
              "[S]\r\nk = short\r\nlong=" + value + "\r\n");
}

TEST_F(IniSet, TakesALongValue) {
    expectKept(std::string(100'000, 'v'));
}

TEST_F(IniSet, LeavesTheFileAsItIsWhenItCannotBeWrittenWhole) {
    const std::string bytes = "[S]\nk=1\nlong=" + std::string(2 * kFullDisk, 'x');
    put(bytes);
    {
        const AlmostFullDisk disk;
        EXPECT_EQ(ini("set", {"S", "k", "v"}), complained("could not be written"));
        EXPECT_EQ(ini("remove", {"S", "k"}), complained("could not be written"));
        EXPECT_EQ(ini("format"), complained("could not be written"));
    }
    EXPECT_EQ(content(), bytes);
    EXPECT_EQ(folder_.names(), std::set<std::string>{kName});
}

TEST_F(IniSet, DoesNotCreateAFile) {
    EXPECT_EQ(ini("set", {"S", "k", "v"}), complained("could not be opened"));
    EXPECT_EQ(folder_.names(), std::set<std::string>());
}

} // namespace
