#include "tool/ToolTest.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vqtest;

/// A terminal without a screen: what programs write to the file at `path` comes out of `text`.
class PseudoTerminal {
public:
    PseudoTerminal() : screen_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (screen_ < 0 || grantpt(screen_) != 0 || unlockpt(screen_) != 0) fail();
        path_ = ptsname(screen_);
        // Held open, so that nothing is lost when a program closes it.
        line_ = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (line_ < 0) fail();
    }

    ~PseudoTerminal() {
        close(line_);
        close(screen_);
    }

    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    const std::string& path() const { return path_; }

    /// Everything that was written so far.
    const std::string& text() {
        for (pollfd ready = {screen_, POLLIN, 0}; poll(&ready, 1, 0) == 1;) {
            char bytes[4096];
            const ssize_t got = read(screen_, bytes, sizeof bytes);
            if (got <= 0) fail();
            text_.append(bytes, static_cast<std::size_t>(got));
        }
        return text_;
    }

private:
    [[noreturn]] static void fail() {
        throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
    }

    int screen_;
    int line_ = -1;
    std::string path_;
    std::string text_;
};

/// What stands on a screen that shows `written`, line by line, without blanks at the ends.
std::string screenOf(const std::string& written) {
    std::string screen;
    std::string line;
    std::size_t column = 0;
    for (const char c : written) {
        if (c == '\r') {
            column = 0;
        } else if (c == '\n') {
            screen += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
            line.clear();
            column = 0;
        } else {
            line.resize(std::max(line.size(), column + 1), ' ');
            line[column++] = c;
        }
    }
    return screen + line.substr(0, line.find_last_not_of(' ') + 1);
}

class ProgressOnTerminal : public ToolTest {
protected:
    /// Makes the file larger and larger until running the tool on it is slow enough on this machine
    /// to do as wanted. It is all zeros and takes no place on the disk.
    void growFileUntil(const std::function<bool()>& isSlowEnough) {
        put("");
        for (std::uintmax_t size = 64UL << 20; size <= (1UL << 40); size *= 2) {
            std::filesystem::resize_file(path(), size);
            if (isSlowEnough()) return;
        }
        FAIL() << "not even with a terabyte";
    }

    /// Until `vq crc` on it shows its progress; what it wrote to the terminal.
    std::string growFileUntilShown() {
        PseudoTerminal terminal;
        growFileUntil([&] {
            EXPECT_EQ(runTool({"crc", path()}, {.standardError = terminal.path()}), checksum());
            return !terminal.text().empty();
        });
        return terminal.text();
    }

    ToolRun checksum() const { return printed("00000000  " + path() + "\n"); }

    /// Runs `vq meta -` on empty lines, which come until `isEnough`, and one that is no record.
    ToolRun slowMeta(const Surroundings& surroundings, const std::function<bool()>& isEnough) {
        const std::string input = (folder_ / "input").string();
        EXPECT_EQ(mkfifo(input.c_str(), 0600), 0);
        std::thread writer([&] {
            std::ofstream pipe(input, std::ios::binary);
            while (!isEnough()) pipe << "\n" << std::flush;
            pipe << "no record\n";
        });
        Surroundings all = surroundings;
        all.standardInput = input;
        const ToolRun run = runTool({"meta", "-"}, all);
        writer.join();
        std::filesystem::remove(input);
        return run;
    }
};

TEST_F(ProgressOnTerminal, IsALineThatIsRewrittenAndClearedInTheEnd) {
    const std::string text = growFileUntilShown();
    EXPECT_TRUE(text.starts_with("\rvq: ")) << testing::PrintToString(text);
    EXPECT_NE(text.find("% of "), std::string::npos) << testing::PrintToString(text);
    EXPECT_EQ(text.find('\n'), std::string::npos) << testing::PrintToString(text);
    EXPECT_TRUE(text.ends_with(" \r")) << testing::PrintToString(text);
    EXPECT_EQ(screenOf(text), "");
}

TEST_F(ProgressOnTerminal, IsSilentInAFileAndInAPipe) {
    growFileUntilShown();
    EXPECT_EQ(runTool({"crc", path()}), checksum()); // whose streams are files

    const std::string name = (folder_ / "pipe").string();
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    std::string errors;
    std::thread reader([&] { errors = folder_.content("pipe"); });
    EXPECT_EQ(runTool({"crc", path()}, {.standardError = name}), checksum());
    reader.join();
    EXPECT_EQ(errors, "");
}

TEST_F(ProgressOnTerminal, MakesRoomForResultsAndComplaints) {
    const std::string missing = (folder_ / "missing").string();
    std::string text;
    growFileUntil([&] {
        PseudoTerminal terminal;
        const Surroundings both{.standardOutput = terminal.path(),
                                .standardError = terminal.path()};
        EXPECT_EQ(runTool({"crc", path(), missing, path()}, both).status, 1);
        text = terminal.text();
        return text.find("\rvq: file 1 of 3, ") != text.npos &&
               text.find("\rvq: file 3 of 3, ") != text.npos;
    });
    EXPECT_EQ(screenOf(text),
              checksum().out + "vq: " + missing + ": could not be opened\n" + checksum().out);
}

TEST_F(ProgressOnTerminal, IsShownForMetadataWhoseResultsGoElsewhere) {
    PseudoTerminal terminal;
    unsigned lines = 0;
    const ToolRun run = slowMeta({.standardError = terminal.path()}, [&] {
        ++lines;
        return !terminal.text().empty();
    });
    EXPECT_EQ(run, (ToolRun{1, "", ""}));
    const std::string complaint =
        "vq: standard input: line " + std::to_string(lines) + ": no metadata record\n";
    EXPECT_TRUE(terminal.text().starts_with("\rvq: 0 MiB"))
        << testing::PrintToString(terminal.text().substr(0, 100));
    EXPECT_EQ(screenOf(terminal.text()), complaint);

    // As many lines to a terminal that shows results.
    PseudoTerminal both;
    unsigned again = 0;
    slowMeta({.standardOutput = both.path(), .standardError = both.path()}, [&] {
        both.text();
        return ++again == lines;
    });
    EXPECT_EQ(both.text().find("MiB"), std::string::npos);
    EXPECT_EQ(screenOf(both.text()), complaint);
}

} // namespace
