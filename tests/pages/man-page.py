#!/usr/bin/python3
"""man-page.py TOOL PAGE

The man page shows without a warning, and says of each command all that its --help says.
"""
import os
import re
import subprocess
import sys

from toolhelp import Command


def main(tool, page):
    environment = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="120", MANROFFOPT="-wall -wbreak")
    shown = subprocess.run(
        ["man", "--warnings=w", "-l", page], env=environment, capture_output=True, text=True
    )
    if shown.returncode or shown.stderr:
        sys.exit(f"man ended with {shown.returncode} and said: {shown.stderr}")
    # A section is a title at the margin, or three blanks from it, and the text behind it.
    parts = re.split(r"^(?:   )?(\S.*)$", shown.stdout, flags=re.MULTILINE)
    sections = {title: " ".join(text.split()) for title, text in zip(parts[1::2], parts[2::2])}

    missing = []

    def expect(title, text):
        # The page makes sentences of what --help says.
        if " ".join(text.split()).lower() not in sections.get(title, "").lower():
            missing.append(f"{title}: {text}")

    root = Command(tool, [])
    footers = {}
    for command in root.all():
        title = command.usage if command.words else "OPTIONS"
        footers[tuple(command.words)] = command.footer
        if command.words and title not in sections:
            missing.append(title)
        for names, what in command.options:
            if not command.words or "--help" not in names:
                expect(title, names.replace(",", ", ") + " " + what + ".")
        for name, what in command.arguments:
            expect(title, " ".join([name.split()[0], *re.findall(r"\.\.\.", name), what + "."]))
        if command.words and not command.commands:
            expect("SYNOPSIS", command.usage)
        if command.words and command.footer != footers[tuple(command.words[:-1])]:
            expect(title, command.footer)
    expect("EXIT STATUS", root.footer.removeprefix("Exit status: "))
    expect("NAME", "vq - Settings files, checksums, metadata")
    if missing:
        sys.exit("The man page lacks:\n" + "\n".join(missing))


if __name__ == "__main__":
    main(*sys.argv[1:])
