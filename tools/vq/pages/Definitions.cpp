#include "Definitions.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace vqtool {

namespace {

/// The usage line of `--help` behind the name of the command.
std::string usageBehind(const std::string& path, const CLI::App& app) {
    const auto formatter = std::dynamic_pointer_cast<CLI::Formatter>(app.get_formatter());
    const std::string line = formatter->make_usage(&app, path);
    const std::string begin = "Usage: " + path + " ";
    return line.substr(begin.size(), line.find('\n') - begin.size());
}

Option describe(const CLI::Option& option) {
    Option described;
    for (const std::string& name : option.get_snames()) described.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) described.names.push_back("--" + name);
    if (option.get_items_expected_max() > 0) described.value = option.get_option_text();
    described.description = option.get_description();
    return described;
}

std::string footerOf(const CLI::App& app) {
    const CLI::App* const parent = app.get_parent();
    const bool isInherited = parent && parent->get_footer() == app.get_footer();
    return isInherited ? "" : app.get_footer();
}

} // namespace

Command describe(const CLI::App& app, const Command* parent) {
    Command command;
    command.name = app.get_name();
    command.path = parent ? parent->path + " " + command.name : command.name;
    command.words = usageBehind(command.path, app);
    command.description = app.get_description();
    command.footer = footerOf(app);
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            command.arguments.push_back({option->get_name(true), option->get_description(),
                                         option->get_items_expected_max() > 1});
        } else {
            command.options.push_back(describe(*option));
        }
    }
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        command.commands.push_back(describe(*sub, &command));
    }
    return command;
}

} // namespace vqtool
