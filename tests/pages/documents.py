#!/usr/bin/python3
"""documents.py SOURCE_ROOT

What the documents name is there: files and folders of the project, and commands of ./dev, which
CONTRIBUTING.md names all of.
"""
import re
import subprocess
import sys
from pathlib import Path

FOLDERS = ("ole", "tools", "examples", "tests", "fuzz", "bench", "docs", "cmake", "packaging", ".ci")
# What stands for a name, and what architecture.md adds in its examples.
INVENTED = re.compile(r"NAME|TARGET|Power|Cpu")
# Code, where `[](` begins a function.
CODE = re.compile(r"^ *```.*?^ *```$", re.MULTILINE | re.DOTALL)


def main(root):
    root = Path(root).resolve()
    run = subprocess.run([root / "dev", "help"], check=True, capture_output=True, text=True)
    commands = set(re.findall(r"^\./dev ([a-z]+)", run.stdout, re.MULTILINE))
    documents = sorted([*root.glob("*.md"), *root.glob("docs/*.md")])
    wrong, named = [], {}
    for document in documents:
        text = document.read_text(encoding="utf-8")
        here = document.relative_to(root)
        named[here.name] = set(re.findall(r"`\./dev ([a-z]+)", text))
        for command in sorted(named[here.name] - commands):
            wrong.append(f"{here}: ./dev {command} is no command")
        for path in re.findall(r"`([\w./*-]+/[\w./*-]*)(?: [^`]*)?`", text):
            if path.split("/")[0] in FOLDERS and not INVENTED.search(path):
                if not list(root.glob(path.rstrip("/"))):
                    wrong.append(f"{here}: there is no {path}")
        for target in re.findall(r"\]\((?!https?:)([^)#]+)", CODE.sub("", text)):
            if not (document.parent / target).exists():
                wrong.append(f"{here}: links to {target}, which is not there")
    for command in sorted(commands - named["CONTRIBUTING.md"]):
        wrong.append(f"CONTRIBUTING.md does not name ./dev {command}")
    if wrong:
        sys.exit("\n".join(wrong))


if __name__ == "__main__":
    main(*sys.argv[1:])
