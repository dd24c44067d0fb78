#!/usr/bin/python3
"""completion.py TOOL SHELL SCRIPT FOLDER

In a terminal of its own, SHELL (bash or zsh) with the completion SCRIPT completes every command and
every option that --help shows, and files where a command takes some. FOLDER is for those files.
"""
import os
import pty
import select
import shutil
import subprocess
import sys
import time

from toolhelp import Command

# Shows what the line has become, and clears it, when Control-X Control-X is typed.
SHOW = "\x18\x18"
SETUP = {
    "bash": """PS1='ready$ '; bind 'set bell-style none'; source {script}
show() {{ printf '\\n<%s>\\n' "$READLINE_LINE"; READLINE_LINE=; }}
bind -x '"\\C-x\\C-x": show'
""",
    "zsh": """PS1='ready$ '; unsetopt beep; fpath=({folder} $fpath)
autoload -Uz compinit; compinit -u -D
show() {{ print -r -- $'\\n'"<$BUFFER>"; BUFFER=; zle redisplay; }}
zle -N show; bindkey '^X^X' show
""",
}
START = {"bash": ["bash", "--norc", "--noprofile", "-i"], "zsh": ["zsh", "-f", "-i"]}


class Terminal:
    def __init__(self, shell, script, folder):
        self.pid, self.descriptor = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            environment = dict(os.environ, TERM="dumb", LC_ALL="C.UTF-8", HOME=folder)
            os.execvpe(START[shell][0], START[shell], environment)
        # zsh looks for the function in a folder, by its name.
        setup = SETUP[shell].format(script=script, folder=os.path.dirname(script))
        self.type(setup + "echo 'all' 'set'\n")
        self.read_to("all set\r\n")

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def read_to(self, wanted):
        """All that is shown up to `wanted`; the deadline is for a shell that never shows it."""
        shown = ""
        deadline = time.monotonic() + 60
        while wanted not in shown:
            if not select.select([self.descriptor], [], [], deadline - time.monotonic())[0]:
                sys.exit(f"waited in vain for {wanted!r}; the terminal shows {shown!r}")
            shown += os.read(self.descriptor, 65536).decode(errors="replace")
        return shown

    def completed(self, text):
        """What the line becomes when a tab is typed behind `text`."""
        self.type(text + "\t" + SHOW)
        shown = self.read_to(">\r\n")
        return shown[shown.rindex("<") + 1 : shown.rindex(">\r\n")]

    def close(self):
        os.close(self.descriptor)
        os.waitpid(self.pid, 0)


def shortest_beginning(name, names):
    """The least that tells `name` from the other names."""
    for length in range(1, len(name)):
        if not any(n != name and n.startswith(name[:length]) for n in names):
            return name[:length]
    return name


def check_words(terminal, root):
    wrong = []

    def expect(typed, wanted):
        line = terminal.completed(typed)
        if line != wanted:
            wrong.append(f"{typed!r} becomes {line!r}, not {wanted!r}")

    for command in root.all():
        path = " ".join(["vq", *command.words]) + " "
        for names in (
            [below.words[-1] for below in command.commands],
            command.option_names(),
        ):
            for name in names:
                expect(path + shortest_beginning(name, names), path + name + " ")
        if command.file_arguments():
            expect(path + "cl", path + "clip\\ 7.txt ")
            expect(path + "--help rus", path + "--help rushes/")
            expect(path + "-- cl", path + "-- clip\\ 7.txt ")
            # A second file, where the command takes more than one.
            more = "FILE..." in command.usage
            expect(path + "a cl", path + ("a clip\\ 7.txt " if more else "a cl"))
        elif not command.commands:
            expect(path + "cl", path + "cl")
    expect("vq uuid new -n cl", "vq uuid new -n cl")
    expect("vq ini nope cl", "vq ini nope cl")
    return wrong


def bash_offers(script, line):
    """What bash's completion offers behind the words of `line`."""
    program = (
        f'source {script}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
        '_vq; echo "${COMPREPLY[*]}"'
    )
    return subprocess.run(
        ["bash", "--norc", "-c", program, "bash", *line],
        check=True, capture_output=True, text=True,
    ).stdout.split()


def check_offers(script, root):
    """Bash offers what --help shows and nothing else."""
    wrong = []
    for command in root.all():
        line = ["vq", *command.words]
        if bash_offers(script, [*line, "-"]) != command.option_names():
            wrong.append(f"{line}: offers other options than --help")
        commands = [below.words[-1] for below in command.commands]
        if commands and bash_offers(script, [*line, ""]) != commands:
            wrong.append(f"{line}: offers other commands than --help")
    return wrong


def main(tool, shell, script, folder):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(os.path.join(folder, "rushes"))
    open(os.path.join(folder, "clip 7.txt"), "w", encoding="utf-8").close()

    root = Command(tool, [])
    terminal = Terminal(shell, script, folder)
    wrong = check_words(terminal, root)
    terminal.close()
    if shell == "bash":
        wrong += check_offers(script, root)
    if wrong:
        sys.exit("\n".join(wrong))


if __name__ == "__main__":
    main(*sys.argv[1:])
