#include "Pages.h"

#include <string_view>

namespace vqtool {

namespace {

/// The text within single quotes; what `_arguments` would take for a mark gets a backslash.
std::string quoted(std::string_view text, std::string_view marks = "") {
    std::string result = "'";
    for (const char c : text) {
        if (marks.find(c) != marks.npos) result += '\\';
        if (c == '\'') {
            result += "'\\''";
        } else {
            result += c;
        }
    }
    return result + "'";
}

/// The arguments of `_arguments` for the options, one a line.
std::string argumentsOf(const std::vector<Option>& options) {
    std::string lines;
    for (const Option& option : options) {
        std::string all = "(";
        for (const std::string& name : option.names) (all += name) += ' ';
        all.back() = ')';
        for (const std::string& name : option.names) {
            (lines += " \\\n        ") += quoted(all + name);
            lines += quoted("[" + option.description + "]", ":");
            if (!option.value.empty()) lines += quoted(":" + option.value + ":");
        }
    }
    return lines;
}

std::string functionName(const Command& command) {
    std::string name = "_" + command.path;
    for (char& c : name) {
        if (c == ' ') c = '_';
    }
    return name;
}

std::string functions(const Command& command) {
    std::string text;
    for (const Command& below : command.commands) text += functions(below);
    text += functionName(command) + "() {\n";
    if (command.commands.empty()) {
        text += "    _arguments -S" + argumentsOf(command.options);
        for (const Word& word : command.arguments) {
            text += std::string(" \\\n        ") + (word.repeats ? "'*:" : "':") + word.name + ":" +
                    (word.isFile() ? "_files" : "()") + "'";
        }
        return text + "\n}\n\n";
    }
    text += "    local curcontext=\"$curcontext\" state line\n"
            "    typeset -A opt_args\n"
            "    _arguments -C -A '-*'" +
            argumentsOf(command.options) +
            " \\\n        '1: :->command' '*:: :->words'\n"
            "    case $state in\n"
            "    command)\n"
            "        local -a commands=(\n";
    for (const Command& below : command.commands) {
        text += "            " + quoted(below.name + ":" + below.description) + "\n";
    }
    text += "        )\n"
            "        _describe command commands\n"
            "        ;;\n"
            "    words)\n"
            "        case $line[1] in\n";
    for (const Command& below : command.commands) {
        text += "        " + below.name + ") " + functionName(below) + " ;;\n";
    }
    return text + "        esac\n"
                  "        ;;\n"
                  "    esac\n"
                  "}\n\n";
}

} // namespace

std::string zshCompletion(const Command& tool) {
    // The file is the body of a function of the same name when it is first needed.
    return "#compdef vq\n"
           "# zsh completion for vq, made from the tool's own command line\n"
           "\n" +
           functions(tool) + functionName(tool) + " \"$@\"\n";
}

} // namespace vqtool
