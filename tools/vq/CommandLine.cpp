#include "CommandLine.h"

#include "CrcCommand.h"
#include "FourccCommand.h"
#include "IniCheck.h"
#include "IniCommands.h"
#include "MetaCommand.h"
#include "Report.h"
#include "UuidCommands.h"
#include "VersionCommand.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace vqtool {

namespace {

using Action = std::function<Status()>;

/// The command line of `vq ini`. Its words are declared optional, one by one, because how many a
/// command needs depends on --outside; each command checks their number when all are known.
class IniCommandLine {
public:
    IniCommandLine(CLI::App& app, Action& action)
        : ini_(*app.add_subcommand("ini", "settings files: list, query, change and check")),
          action_(action) {
        ini_.require_subcommand(1);
        ini_.footer(
            "Writing brings a file into the library's form: keys outside any section first,\n"
            "sections sorted by name, CRLF line ends, one blank line between sections.\n"
            "Sections without any line are dropped. A word that begins with '-' and is no\n"
            "number goes behind a '--'. The section '' is the section [].");
        addList();
        addGet();
        addSet();
        addRemove();
        add("format", "load and save in the library's form",
            [this] { return formatFile(target()); });
        add("check", "report what is likely not meant",
            [this] { return checkIniFile(file_, ignoreCase_); });
    }

private:
    using Words = std::vector<std::string>;

    CLI::App* add(const char* name, const char* description, Action action) {
        CLI::App* command = ini_.add_subcommand(name, description);
        command->add_option("FILE", file_, "the settings file")->required();
        command->add_flag("--ignore-case", ignoreCase_, "section names without the case of A to Z");
        command->callback([this, action] { action_ = action; });
        return command;
    }

    void addWord(CLI::App* command, const char* name, const char* description) {
        command->add_option_function<std::string>(
            name, [this](const std::string& word) { words_.push_back(word); }, description);
    }

    void addSection(CLI::App* command) {
        addWord(command, "SECTION", "the section's name");
        command->add_flag("--outside", outside_,
                          "the keys outside any section; SECTION is left out then");
    }

    void addList() {
        addSection(add("list", "the sections, or the settings of one", [this] {
            const bool one = outside_ || !words_.empty();
            return one ? listSettings(targetWith(0, 0)) : listSections(target());
        }));
    }

    void addGet() {
        CLI::App* get = add("get", "the value of a key, the first when it is repeated", [this] {
            const IniTarget target = targetWith(1, 1);
            return getSetting(target, words_[0], all_);
        });
        addSection(get);
        addWord(get, "KEY", "the key; has to be given");
        get->add_flag("--all", all_, "the values of all settings of that key, in order");
    }

    void addSet() {
        CLI::App* set = add("set", "give a key a value; adds both as needed", [this] {
            const IniTarget target = targetWith(2, 2);
            return setSetting(target, words_[0], words_[1]);
        });
        addSection(set);
        addWord(set, "KEY", "the key; has to be given");
        addWord(set, "VALUE", "the value; has to be given");
    }

    void addRemove() {
        CLI::App* remove = add("remove", "remove all settings of a key, or a section", [this] {
            const IniTarget target = targetWith(0, 1);
            return words_.empty() ? removeSection(target) : removeSetting(target, words_[0]);
        });
        addSection(remove);
        addWord(remove, "KEY", "the key; the whole section without it");
    }

    IniTarget target() const { return {file_, ignoreCase_, std::nullopt}; }

    /// The target with its section, which is taken off the words; of the rest there must be `least`
    /// to `most`.
    IniTarget targetWith(std::size_t least, std::size_t most) {
        IniTarget found = target();
        if (!outside_) {
            if (words_.empty()) throw CLI::RequiredError("SECTION");
            found.section = words_.front();
            words_.erase(words_.begin());
        }
        if (words_.size() < least) throw CLI::RequiredError(words_.empty() ? "KEY" : "VALUE");
        if (words_.size() > most) throw CLI::ExtrasError("vq", Words{words_.back()});
        return found;
    }

    CLI::App& ini_;
    Action& action_;
    std::string file_;
    bool ignoreCase_ = false;
    bool outside_ = false;
    bool all_ = false;
    Words words_; // in the order of the command line
};

/// Takes all words that are left, at most `most`. CLI11 takes a word in brackets for a list, and
/// others for marks, wherever it may go on for ever; that many words it takes as they are.
void addWords(CLI::App* command, const char* name, std::vector<std::string>& words, int most,
              const char* description) {
    const auto take = [&words](const CLI::results_t& given) {
        words = given;
        return true;
    };
    command->add_option(name, take, description)
        ->required()
        ->take_all()
        ->expected(most, CLI::detail::expected_max_vector_size)
        ->allow_extra_args(false);
}

/// The command line of everything else.
class OtherCommandLine {
public:
    /// `most`: the words that a command can have.
    OtherCommandLine(CLI::App& app, Action& action, int most) : action_(action) {
        CLI::App* crc = add(app, "crc", "the library's checksum of files",
                            [this] { return printChecksums(words_); });
        addWords(crc, "FILE", words_, most, "files");
        addMeta(app);
        addUuid(app);
        addFourcc(app, most);
        add(app, "version", "the library's version and its label", printVersion);
    }

private:
    CLI::App* add(CLI::App& parent, const char* name, const char* description, Action action) {
        CLI::App* command = parent.add_subcommand(name, description);
        command->callback([this, action] { action_ = action; });
        return command;
    }

    void addMeta(CLI::App& app) {
        CLI::App* meta = add(app, "meta", "image metadata as named fields",
                             [this] { return printMetadata(word_); });
        meta->add_option("FILE", word_, "the file; standard input when it is -")->required();
        meta->footer(
            "FILE holds records in their text form, one a line, and the marks StartBatch and\n"
            "EndBatch. A line of anything else is reported and gives status 1 in the end; empty\n"
            "ones are passed over, and no line may be longer than 1 MiB. Enumerations are shown\n"
            "as numbers, flags as yes or no.");
    }

    void addUuid(CLI::App& app) {
        CLI::App* uuid = app.add_subcommand("uuid", "identifiers: make and show");
        uuid->require_subcommand(1);
        CLI::App* make = add(*uuid, "new", "new identifiers, one a line",
                             [this] { return printNewIdentifiers(count_); });
        make->add_option("-n", count_, "how many, from 1 up; 1 if not given")->option_text("N");
        CLI::App* show = add(*uuid, "show", "an identifier, its bytes, variant and version",
                             [this] { return showIdentifier(word_); });
        show->add_option("TEXT", word_, "32 digits and 4 hyphens, in braces or without")
            ->required();
        show->footer("The variant is ncs, rfc4122, guid or future; only rfc4122 has versions.");
    }

    void addFourcc(CLI::App& app, int most) {
        CLI::App* fourcc = add(app, "fourcc", "the playout codes of compression codes",
                               [this] { return printPlayoutCodes(words_, asText_); });
        addWords(fourcc, "CODE", words_, most, "four characters, or a number");
        fourcc->add_flag("--text", asText_, "every CODE is four characters, digits too");
        fourcc->footer(
            "A CODE of digits alone is a decimal number, one of 0x and digits a hexadecimal one.\n"
            "Prints a line per CODE: the CODE, a tab and the playout code, which is a decimal\n"
            "number if it has unprintable characters.");
    }

    Action& action_;
    std::vector<std::string> words_;
    std::string word_;
    std::string count_ = "1";
    bool asText_ = false;
};

/// The tool without its commands, which inherit from it what they do not say themselves.
class Root : public CLI::App {
public:
    Root()
        : App("Settings files, checksums, metadata, identifiers and codes from the command line.",
              "vq") {
        set_version_flag("--version", "vq " VQ_VERSION);
        require_subcommand(1);
        footer("Exit status: 0 done, 1 not found, not as it should be, or could not be read or\n"
               "written, 2 wrong usage.");
        failure_message([](const CLI::App* failed, const CLI::Error& error) {
            return "vq: " + CLI::FailureMessage::simple(failed, error);
        });
    }
};

} // namespace

struct CommandLine::Parts {
    explicit Parts(int most) : ini(app, action), others(app, action, most) {}

    Root app;
    Action action;
    IniCommandLine ini;
    OtherCommandLine others;
};

CommandLine::CommandLine(int most) : parts_(new Parts(most)) {}
CommandLine::~CommandLine() = default;

const CLI::App& CommandLine::definitions() const {
    return parts_->app;
}

int CommandLine::run(int argc, char** argv) {
    CLI::App& app = parts_->app;
    try {
        app.parse(argc, argv);
        return afterFlushing(parts_->action());
    } catch (const CLI::ParseError& error) {
        return afterFlushing(app.exit(error) == 0 ? kDone : kWrongUsage);
    }
}

} // namespace vqtool
