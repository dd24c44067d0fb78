#include "tool/ToolTest.h"

#include "Vq/Version.h"

namespace {

using namespace vqtest;

class VersionCommand : public ToolTest {};

TEST_F(VersionCommand, PrintsTheLibrarysVersionAndItsLabelForTheTool) {
    EXPECT_EQ(runTool({"version"}), printed("version              14.5.0.0\n"
                                            "label                vq14.5.0.0 (110128) - "
                                            "Oct 25 2018\n"));
}

TEST_F(VersionCommand, AgreesWithTheLibraryAndTheVersionOption) {
    const std::string version = vqDllVersionStr();
    EXPECT_EQ(runTool({"--version"}), printed("vq " + version + "\n"));
    EXPECT_TRUE(runTool({"version"}).out.starts_with("version              " + version + "\n"));
}

TEST_F(VersionCommand, IsTheSameInEveryLocale) {
    EXPECT_EQ(runTool({"version"}, {.locale = "C.UTF-8"}), runTool({"version"}));
}

TEST_F(VersionCommand, FailsWhenTheResultsCannotBeWritten) {
    EXPECT_EQ(runTool({"version"}, {.standardOutput = "/dev/full"}),
              (ToolRun{1, "", "vq: standard output: could not be written\n"}));
}

TEST_F(VersionCommand, TakesNoWords) {
    EXPECT_TRUE(isWrongUsage(runTool({"version", "x"})));
    EXPECT_TRUE(isWrongUsage(runTool({"version", "--all"})));
    EXPECT_EQ(runTool({"version", "--help"}).status, 0);
}

} // namespace
