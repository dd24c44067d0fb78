"""What the tool's --help shows of every command."""
import re
import subprocess


class Command:
    """A command as its --help shows it; `words` are those that lead to it."""

    def __init__(self, tool, words):
        self.words = words
        text = subprocess.run(
            [tool, *words, "--help"], check=True, capture_output=True, text=True
        ).stdout
        self.usage = re.search(r"^Usage: (.*)$", text, re.MULTILINE)[1]
        self.arguments = entries(text, "Positionals")
        self.options = entries(text, "Options")
        names = [name for name, _ in entries(text, "Subcommands")]
        self.commands = [Command(tool, [*words, name]) for name in names]
        self.footer = text[text.rindex("\n\n") :].strip()

    def file_arguments(self):
        return [name for name, _ in self.arguments if name.split()[0] == "FILE"]

    def option_names(self):
        return [name for names, _ in self.options for name in names.split()[0].split(",")]

    def all(self):
        yield self
        for command in self.commands:
            yield from command.all()


def entries(text, title):
    """The lines below that title: what is named and what is said of it."""
    block = re.search(rf"^{title}:\n((?:  .*\n)+)", text, re.MULTILINE)
    lines = block[1].splitlines() if block else []
    return [re.fullmatch(r"  (\S.*?)  +(\S.*)", line).groups() for line in lines]
