#include "Pages.h"

namespace vqtool {

namespace {

std::string joinedNames(const std::vector<Option>& options) {
    std::string names;
    for (const Option& option : options) {
        for (const std::string& name : option.names) names += (names.empty() ? "" : " ") + name;
    }
    return names;
}

std::string joinedNames(const std::vector<Command>& commands) {
    std::string names;
    for (const Command& command : commands) names += (names.empty() ? "" : " ") + command.name;
    return names;
}

/// How many words from the first on name files.
std::string filesOf(const Command& command) {
    std::size_t files = 0;
    for (const Word& word : command.arguments) {
        if (!word.isFile()) break;
        if (word.repeats) return "all";
        ++files;
    }
    return std::to_string(files);
}

/// The branches of three `case`: words that lead to a command, options that take a value, and what
/// each command knows.
struct Branches {
    std::string paths;
    std::string values;
    std::string knowledge;

    void add(const Command& command, bool isTool) {
        if (!isTool) paths += "        '" + command.path + "') command+=\" $word\" ;;\n";
        for (const Option& option : command.options) {
            if (option.value.empty()) continue;
            for (const std::string& name : option.names) {
                values += "            '" + command.path + " " + name + "') isValue=yes ;;\n";
            }
        }
        knowledge += "    '" + command.path + "') commands='" + joinedNames(command.commands) +
                     "' options='" + joinedNames(command.options) + "' files=" + filesOf(command) +
                     " ;;\n";
        for (const Command& below : command.commands) add(below, false);
    }
};

} // namespace

std::string bashCompletion(const Command& tool) {
    Branches branches;
    branches.add(tool, true);
    return "# bash completion for vq, made from the tool's own command line\n"
           "\n"
           "_vq() {\n"
           "    local word current=${COMP_WORDS[COMP_CWORD]}\n"
           "    local command=vq isValue='' mayBeOption=yes count=0 commands='' options='' "
           "files=0\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        if [[ -n $isValue ]]; then\n"
           "            isValue=''\n"
           "            continue\n"
           "        elif [[ -n $mayBeOption && $word == -- ]]; then\n"
           "            mayBeOption=''\n"
           "            continue\n"
           "        elif [[ -n $mayBeOption && $word == -?* ]]; then\n"
           "            case \"$command $word\" in\n" +
           branches.values +
           "            esac\n"
           "            continue\n"
           "        fi\n"
           "        case \"$command $word\" in\n" +
           branches.paths +
           "        *) count=$((count + 1)) ;;\n"
           "        esac\n"
           "    done\n"
           "    case $command in\n" +
           branches.knowledge +
           "    esac\n"
           "\n"
           "    COMPREPLY=()\n"
           "    if [[ -n $isValue ]]; then\n"
           "        return\n"
           "    elif [[ -n $mayBeOption && $current == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$current\")\n"
           "    elif [[ -n $commands ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$commands\" -- \"$current\")\n"
           "    elif [[ $files == all || $count -lt $files ]]; then\n"
           "        # What compgen does not find, such as ~/, is left to the shell.\n"
           "        compopt -o filenames -o default 2>/dev/null\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -F _vq vq\n";
}

} // namespace vqtool
