// vq, the library's command-line tool.

#include "CrcCommand.h"
#include "IniCheck.h"
#include "IniCommands.h"
#include "Report.h"

#include "Vq/VqCheck.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <functional>
#include <string>
#include <vector>

namespace {

using vqtool::Status;

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
            [this] { return vqtool::formatFile(target()); });
        add("check", "report what is likely not meant",
            [this] { return vqtool::checkIniFile(file_, ignoreCase_); });
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
            return one ? vqtool::listSettings(targetWith(0, 0)) : vqtool::listSections(target());
        }));
    }

    void addGet() {
        CLI::App* get = add("get", "the value of a key, the first when it is repeated", [this] {
            const vqtool::IniTarget target = targetWith(1, 1);
            return vqtool::getSetting(target, words_[0], all_);
        });
        addSection(get);
        addWord(get, "KEY", "the key");
        get->add_flag("--all", all_, "the values of all settings of that key, in order");
    }

    void addSet() {
        CLI::App* set = add("set", "give a key a value; adds both as needed", [this] {
            const vqtool::IniTarget target = targetWith(2, 2);
            return vqtool::setSetting(target, words_[0], words_[1]);
        });
        addSection(set);
        addWord(set, "KEY", "the key");
        addWord(set, "VALUE", "the value");
    }

    void addRemove() {
        CLI::App* remove = add("remove", "remove all settings of a key, or a section", [this] {
            const vqtool::IniTarget target = targetWith(0, 1);
            return words_.empty() ? vqtool::removeSection(target)
                                  : vqtool::removeSetting(target, words_[0]);
        });
        addSection(remove);
        addWord(remove, "KEY", "the key; the whole section without it");
    }

    vqtool::IniTarget target() const { return {file_, ignoreCase_, std::nullopt}; }

    /// The target with its section, which is taken off the words; of the rest there must be `least`
    /// to `most`.
    vqtool::IniTarget targetWith(std::size_t least, std::size_t most) {
        vqtool::IniTarget found = target();
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

int run(int argc, char** argv) {
    CLI::App app("Settings files and checksums from the command line.", "vq");
    app.set_version_flag("--version", "vq " VQ_VERSION);
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 not found or could not read or write, 2 wrong usage.");

    app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
        return "vq: " + CLI::FailureMessage::simple(failed, error);
    });

    Action action;
    const IniCommandLine ini(app, action);

    std::vector<std::string> files;
    CLI::App* crc = app.add_subcommand("crc", "the library's checksum of files");
    crc->add_option("FILE", files, "files")->required();
    crc->callback([&] { action = [&] { return vqtool::printChecksums(files); }; });

    try {
        app.parse(argc, argv);
        return vqtool::afterFlushing(action());
    } catch (const CLI::ParseError& error) {
        return vqtool::afterFlushing(app.exit(error) == 0 ? vqtool::kDone : vqtool::kWrongUsage);
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const Vq::Exception::Base& failure) {
        return vqtool::complain("error", failure.message_);
    } catch (const std::exception& failure) {
        return vqtool::complain("error", failure.what());
    }
}
