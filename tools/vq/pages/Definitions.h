/// The tool's command line as plain data, for those who write about it.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vqtool {

/// A word that a command takes.
struct Word {
    std::string name;
    std::string description;
    bool repeats = false;

    bool isFile() const { return name == "FILE"; }
};

struct Option {
    std::vector<std::string> names; ///< with their dashes
    std::string value;              ///< what it takes; empty for a flag
    std::string description;
};

struct Command {
    std::string name;
    std::string path;  ///< from the tool's name to its own
    std::string words; ///< the rest of its usage line
    std::string description;
    std::string footer; ///< what it does not have from the command that it belongs to
    std::vector<Word> arguments;
    std::vector<Option> options;
    std::vector<Command> commands;
};

Command describe(const CLI::App& app, const Command* parent = nullptr);

} // namespace vqtool
