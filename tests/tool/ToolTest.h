/// Runs the built tool as a shell would and holds on to everything it says, and a fixture with
/// files for it.
///
///     TEST_F(IniGet, PrintsTheValue) {
///         put("[Video]\r\nWidth=1920\r\n");
///         EXPECT_EQ(ini("get", {"Video", "Width"}), printed("1920\n"));
///     }
#pragma once

#include "support/TemporaryFolder.h"

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace vqtest {

using Words = std::vector<std::string>;

/// What a run of the tool came to.
struct ToolRun {
    int status = 0; ///< the exit status; below 0 when a signal ended it
    std::string out;
    std::string err;

    bool operator==(const ToolRun&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const ToolRun& run);

/// What a run may be given besides its words.
struct Surroundings {
    std::string locale = "C";
    /// Paths. `ToolRun` has nothing of a stream that goes to one.
    std::string standardOutput{};
    std::string standardError{};
    std::string standardInput = "/dev/null";
};

/// Runs the tool, which has nothing to read from standard input unless it is told to.
ToolRun runTool(const Words& words, const Surroundings& surroundings = {});

/// A run that does what it should, and all it prints.
inline ToolRun printed(std::string_view results) {
    return {0, std::string(results), ""};
}

/// A folder of its own and, in it, the settings file that most tests need.
class ToolTest : public testing::Test {
protected:
    static constexpr const char* kName = "settings.ini";

    /// The settings file's path.
    std::string path() const { return (folder_ / kName).string(); }
    void put(std::string_view content) const { folder_.put(kName, content); }
    std::string content() const { return folder_.content(kName); }

    /// Runs "vq ini COMMAND FILE WORDS...".
    ToolRun ini(const std::string& command, const Words& words = {},
                const Surroundings& surroundings = {}) const {
        Words all = {"ini", command, path()};
        all.insert(all.end(), words.begin(), words.end());
        return runTool(all, surroundings);
    }

    /// A run that ends in a complaint about the settings file.
    ToolRun complained(const std::string& reason) const {
        return {1, "", "vq: " + path() + ": " + reason + "\n"};
    }

    /// A run of check that finds something: `findings` are the lines, without the file's name.
    ToolRun found(const Words& findings) const {
        ToolRun run{1, "", ""};
        for (const std::string& finding : findings) run.out += path() + ":" + finding + "\n";
        return run;
    }

    TemporaryFolder folder_;
};

/// Was it refused as wrong usage, with a word about it and no result?
inline testing::AssertionResult isWrongUsage(const ToolRun& run) {
    const bool complains = run.err.starts_with("vq: ");
    if (run.status == 2 && run.out.empty() && complains) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not refused: " << run;
}

} // namespace vqtest
