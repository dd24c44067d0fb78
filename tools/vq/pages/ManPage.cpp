#include "Pages.h"

#include <cctype>
#include <string_view>

namespace vqtool {

namespace {

/// `text` as it is, to roff.
std::string literal(std::string_view text) {
    std::string roff;
    for (const char c : text) {
        switch (c) {
        case '\\':
            roff += "\\e";
            break;
        case '-':
            roff += "\\-";
            break; // a hyphen would not be found by who looks for an option
        case '\'':
            roff += "\\(aq";
            break;
        case '"':
            roff += "\\(dq";
            break;
        default:
            roff += c;
        }
    }
    return roff.starts_with('.') ? "\\&" + roff : roff;
}

std::string bold(std::string_view text) {
    return "\\fB" + literal(text) + "\\fR";
}

/// The description as a sentence.
std::string sentence(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    if (!text.ends_with('.')) text += '.';
    return literal(text);
}

class Writer {
public:
    void section(std::string_view title) { text += ".SH " + quoted(title) + "\n"; }
    void command(const Command& described) {
        text += ".SS " + quoted(described.path + " " + described.words) + "\n";
        line(sentence(described.description));
        for (const Word& word : described.arguments) {
            item("\\fI" + literal(word.name) + "\\fR" + (word.repeats ? " ..." : ""),
                 word.description);
        }
        for (const Option& option : described.options) {
            if (!isHelp(option)) this->option(option);
        }
        if (!described.footer.empty()) paragraph(described.footer);
        for (const Command& below : described.commands) command(below);
    }

    void option(const Option& option) {
        std::string names;
        for (const std::string& name : option.names) {
            names += (names.empty() ? "" : ", ") + bold(name);
        }
        if (!option.value.empty()) names += " \\fI" + literal(option.value) + "\\fR";
        item(names, option.description);
    }

    void usage(const Command& described) {
        if (described.commands.empty()) {
            line(bold(described.path) + " " + literal(described.words));
            line(".br");
        }
        for (const Command& below : described.commands) usage(below);
    }

    void paragraph(std::string_view content) {
        line(".PP");
        line(literal(content));
    }

    void line(std::string_view content) { (text += content) += '\n'; }

    std::string text;

private:
    static bool isHelp(const Option& option) { return option.names.back() == "--help"; }
    static std::string quoted(std::string_view words) { return '"' + literal(words) + '"'; }

    void item(const std::string& names, const std::string& description) {
        line(".TP");
        line(names);
        line(sentence(description));
    }
};

} // namespace

std::string manPage(const Command& tool, const std::string& version, const std::string& date) {
    std::string purpose = tool.description;
    purpose[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(purpose[0])));
    if (purpose.ends_with('.')) purpose.pop_back();
    constexpr std::string_view kStatus = "Exit status: ";

    Writer page;
    page.line(".TH VQ 1 \"" + date + "\" \"" + tool.name + " " + version + "\" \"User Commands\"");
    page.line(".nh"); // names must not be broken, nor lines filled with blanks
    page.line(".ad l");
    page.section("NAME");
    page.line(literal(tool.name) + " \\- " + literal(purpose));
    page.section("SYNOPSIS");
    page.usage(tool);
    for (const Option& option : tool.options) {
        page.line(bold(tool.name) + " " + bold(option.names.back()));
        page.line(".br");
    }
    page.section("DESCRIPTION");
    page.line("Results go to standard output, complaints to standard error, where a long run also");
    page.line("shows its progress if that is a terminal.");
    page.section("OPTIONS");
    for (const Option& option : tool.options) page.option(option);
    page.paragraph("Every command has --help too.");
    page.section("COMMANDS");
    for (const Command& command : tool.commands) page.command(command);
    if (tool.footer.starts_with(kStatus)) {
        page.section("EXIT STATUS");
        page.line(literal(tool.footer.substr(kStatus.size())));
    } else {
        page.paragraph(tool.footer);
    }
    return page.text;
}

} // namespace vqtool
