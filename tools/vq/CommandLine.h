/// The tool's command line: its commands with their words and options, and what they do.
///
///     CommandLine(argc).run(argc, argv);
///
/// The man page and the shells' completions are made from the same definitions (pages/). A word
/// that is called FILE, alone or repeated, names a file.
#pragma once

#include <memory>

namespace CLI {
class App;
}

namespace vqtool {

class CommandLine {
public:
    /// `most`: the words that a command can have.
    explicit CommandLine(int most);
    ~CommandLine();

    /// Does what the words say and returns what the process ends with.
    int run(int argc, char** argv);

    const CLI::App& definitions() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace vqtool
