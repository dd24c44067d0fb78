#!/usr/bin/python3
"""links.py ROOT PAGE.md...: every link of a page to a file, or to a heading, of the project leads
there. Pages are relative to ROOT."""
import re
import sys
from pathlib import Path

CODE = re.compile(r"^( *`{3,}).*?^\1`* *$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^()\s]+)\)")
HEADING = re.compile(r"^#+ +(.*?) *$", re.MULTILINE)


def prose_of(path):
    return CODE.sub("", path.read_text(encoding="utf-8"))


def anchors_of(path):
    """What headings are linked by: lower case, without punctuation, hyphens for blanks."""
    kept = (re.sub(r"[^\w\- ]", "", heading.lower()) for heading in HEADING.findall(prose_of(path)))
    return {heading.replace(" ", "-") for heading in kept}


def broken_links(page):
    for link in LINK.findall(prose_of(page)):
        if re.match(r"[a-z]+:", link):
            continue
        place, _, anchor = link.partition("#")
        target = page.parent / place if place else page
        if not target.exists():
            yield f"{page}: {link}: there is no such file"
        elif anchor and anchor not in anchors_of(target):
            yield f"{page}: {link}: there is no such heading"


def main(arguments):
    pages = [Path(arguments[0]) / page for page in arguments[1:]]
    broken = [line for page in pages for line in broken_links(page)]
    links = sum(len(LINK.findall(prose_of(page))) for page in pages)
    print("\n".join(broken + [f"{links} links, {len(broken)} of them broken"]))
    return 1 if broken or links == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
