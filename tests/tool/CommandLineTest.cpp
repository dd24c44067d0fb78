#include "tool/ToolTest.h"

#include <thread>

#include <sys/stat.h>

namespace {

using namespace vqtest;
using namespace std::literals;

class CommandLine : public ToolTest {};

TEST_F(CommandLine, PrintsItsVersion) {
    EXPECT_EQ(runTool({"--version"}), printed("vq 14.5.0.0\n"));
}

TEST_F(CommandLine, ExplainsItselfOnStandardOutput) {
    const ToolRun all = runTool({"--help"});
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.err, "");
    for (const char* word :
         {"ini", "crc", "meta", "uuid", "fourcc", "version", "--help", "--version", "status"}) {
        EXPECT_NE(all.out.find(word), std::string::npos) << word;
    }
    const ToolRun iniHelp = runTool({"ini", "--help"});
    EXPECT_EQ(iniHelp.status, 0);
    for (const char* word : {"list", "get", "set", "remove", "format", "check"}) {
        EXPECT_NE(iniHelp.out.find(word), std::string::npos) << word;
        const ToolRun help = runTool({"ini", word, "--help"});
        EXPECT_EQ(help.status, 0) << word;
        EXPECT_EQ(help.err, "") << word;
        EXPECT_NE(help.out.find("--ignore-case"), std::string::npos) << word;
    }
    EXPECT_EQ(runTool({"crc", "--help"}).status, 0);
}

TEST_F(CommandLine, RefusesWhatIsNoCommand) {
    const Words lines[] = {{},         {"ini"},           {"help"},   {"ini", "help"},
                           {"--nope"}, {"ini", "--nope"}, {"crc"},    {"ini", "List", path()},
                           {""},       {"ini", ""},       {"format"}, {"get", path(), "S", "k"},
                           {"new"},    {"show"},          {"Meta"},   {"uuid"}};
    for (const Words& words : lines) {
        EXPECT_TRUE(isWrongUsage(runTool(words))) << testing::PrintToString(words);
    }
}

TEST_F(CommandLine, RefusesTooFewWordsAndTooMany) {
    const std::string bytes = "[S]\nk=1";
    put(bytes);
    const Words lines[] = {{"get", path()},
                           {"get", path(), "S"},
                           {"get", path(), "--outside"},
                           {"get", path(), "S", "k", "x"},
                           {"get", path(), "--outside", "S", "k"},
                           {"list"},
                           {"list", path(), "S", "k"},
                           {"list", path(), "--outside", "S"},
                           {"set", path()},
                           {"set", path(), "S"},
                           {"set", path(), "S", "k"},
                           {"set", path(), "--outside", "k"},
                           {"set", path(), "S", "k", "v", "x"},
                           {"set", path(), "--outside", "S", "k", "v"},
                           {"remove", path()},
                           {"remove", path(), "S", "k", "x"},
                           {"remove", path(), "--outside", "S", "k"},
                           {"format"},
                           {"format", path(), path()},
                           {"check"},
                           {"check", path(), "S"}};
    for (Words words : lines) {
        words.insert(words.begin(), "ini");
        EXPECT_TRUE(isWrongUsage(runTool(words))) << testing::PrintToString(words);
    }
    EXPECT_EQ(content(), bytes);
}

TEST_F(CommandLine, RefusesOptionsOfOtherCommands) {
    const std::string bytes = "[S]\nk=1";
    put(bytes);
    EXPECT_TRUE(isWrongUsage(ini("list", {"--all"})));
    EXPECT_TRUE(isWrongUsage(ini("set", {"S", "k", "v", "--all"})));
    EXPECT_TRUE(isWrongUsage(ini("remove", {"S", "k", "--all"})));
    EXPECT_TRUE(isWrongUsage(ini("format", {"--outside"})));
    EXPECT_TRUE(isWrongUsage(ini("check", {"--outside"})));
    EXPECT_TRUE(isWrongUsage(ini("get", {"S", "k", "--nope"})));
    EXPECT_EQ(content(), bytes);
}

TEST_F(CommandLine, TakesOptionsBeforeAndBehindTheWords) {
    put("k=1\n[S]\nk=2\nk=3\n");
    const ToolRun all = printed("2\n3\n");
    EXPECT_EQ(runTool({"ini", "get", "--all", "--ignore-case", path(), "s", "k"}), all);
    EXPECT_EQ(runTool({"ini", "get", path(), "--all", "s", "--ignore-case", "k"}), all);
    EXPECT_EQ(runTool({"ini", "get", path(), "s", "k", "--ignore-case", "--all"}), all);
    EXPECT_EQ(runTool({"ini", "get", path(), "k", "--outside"}), printed("1\n"));
}

/// Every command with the words it needs.
const Words kCommands[] = {
    {"list"},        {"list", "S"}, {"get", "S", "k"}, {"set", "S", "k", "v"}, {"remove", "S", "k"},
    {"remove", "S"}, {"format"},    {"check"}};

Words lineOf(const Words& command, const std::string& file) {
    Words words = {"ini", command[0], file};
    words.insert(words.end(), command.begin() + 1, command.end());
    return words;
}

TEST_F(CommandLine, NamesAFileThatIsNotThere) {
    for (const Words& command : kCommands) {
        EXPECT_EQ(runTool(lineOf(command, path())), complained("could not be opened"))
            << command[0];
    }
    EXPECT_TRUE(folder_.names().empty());
}

TEST_F(CommandLine, DoesNotTakeAFolderForAFile) {
    for (const Words& command : kCommands) {
        const std::string folder = folder_.path().string();
        EXPECT_EQ(runTool(lineOf(command, folder)),
                  (ToolRun{1, "", "vq: " + folder + ": could not be opened\n"}));
    }
    EXPECT_TRUE(folder_.names().empty());
}

TEST_F(CommandLine, NamesAFileWithoutAName) {
    for (const Words& command : kCommands) {
        EXPECT_EQ(runTool(lineOf(command, "")), (ToolRun{1, "", "vq: : could not be opened\n"}));
    }
}

TEST_F(CommandLine, NamesAFileWithInvalidUtf8InItsName) {
    folder_.put("\xFF.ini", "[S]\nk=1\n");
    const std::string name = (folder_ / "\xFF.ini").string();
    EXPECT_EQ(runTool({"ini", "set", name, "S", "k", "v"}),
              (ToolRun{1, "", "vq: " + name + ": is not a name in UTF-8\n"}));
    EXPECT_EQ(folder_.names(), std::set<std::string>{"\xFF.ini"});
    EXPECT_EQ(folder_.content("\xFF.ini"), "[S]\nk=1\n");
}

TEST_F(CommandLine, LeavesAFileWithZeroBytesAtTheEndsOfLinesAlone) {
    const std::string_view files[] = {
        "\xFF\xFE[\0S\0]\0\r\0\n\0k\0=\0001\0\r\0\n\0"sv, // UTF-16, least significant byte first
        "\xFE\xFF\0[\0S\0]\0\r\0\n\0k\0=\0001\0\r\0\n"sv, // and last
        "[S]\nk=1\0\n"sv,
        "[S]\n\0k=1\n"sv,
        "[S]\nk=1 \0 \r\n"sv,
        "[S]\nk=1\n\0"sv,
    };
    for (std::string_view bytes : files) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        put(bytes);
        const ToolRun refused =
            complained("has zero bytes at the ends of lines and is left as it is");
        EXPECT_EQ(ini("set", {"S", "k", "v"}), refused);
        EXPECT_EQ(ini("remove", {"S"}), refused);
        EXPECT_EQ(ini("remove", {"S", "k"}), refused);
        EXPECT_EQ(ini("format"), refused);
        EXPECT_EQ(ini("list").status, 0);
        EXPECT_EQ(content(), bytes);
    }
}

TEST_F(CommandLine, DoesNotTakeWhatASystemFileHoldsForNothing) {
    for (const Words& command : kCommands) {
        EXPECT_EQ(runTool(lineOf(command, "/proc/self/status")),
                  (ToolRun{1, "", "vq: /proc/self/status: holds more than its size says\n"}));
    }
}

TEST_F(CommandLine, DoesNotTakeAPipeForAnEmptyFile) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    std::thread writer([this] { put("[S]\nk=1\n"); });
    const ToolRun run = ini("list");
    writer.join();
    EXPECT_EQ(run, complained("holds more than its size says"));
}

TEST_F(CommandLine, FindsFilesWithNamesBeyondAscii) {
    folder_.put("r\u00E9glages \u65E5.ini", "[S]\nk=1\n");
    const std::string name = (folder_ / "r\u00E9glages \u65E5.ini").string();
    for (const char* locale : {"C", "C.UTF-8"}) {
        EXPECT_EQ(runTool({"ini", "set", name, "S", "k", locale}, {.locale = locale}), printed(""));
        EXPECT_EQ(runTool({"ini", "get", name, "S", "k"}, {.locale = locale}),
                  printed(std::string(locale) + "\n"));
    }
    EXPECT_EQ(folder_.names(), std::set<std::string>{"r\u00E9glages \u65E5.ini"});
}

TEST_F(CommandLine, FailsWhenResultsCannotBeWritten) {
    put("k=1\n[S]\nk=" + std::string(100'000, 'x') + "\n");
    const ToolRun failed = {1, "", "vq: standard output: could not be written\n"};
    const Surroundings full{.standardOutput = "/dev/full"};
    EXPECT_EQ(ini("list", {}, full), failed);
    EXPECT_EQ(ini("list", {"S"}, full), failed);
    EXPECT_EQ(ini("get", {"S", "k"}, full), failed);
    EXPECT_EQ(ini("get", {"--outside", "k"}, full), failed);
    EXPECT_EQ(ini("check", {}, full), failed);
    EXPECT_EQ(runTool({"--version"}, full), failed);
    EXPECT_EQ(runTool({"--help"}, full), failed);
}

TEST_F(CommandLine, NeedsNoOutputWhereThereAreNoResults) {
    put("[S]\r\nk=1\r\n");
    EXPECT_EQ(ini("set", {"S", "k", "v"}, {.standardOutput = "/dev/full"}), printed(""));
    EXPECT_EQ(content(), "[S]\r\nk=v\r\n");
}

} // namespace
