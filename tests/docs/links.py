#!/usr/bin/python3
"""links.py ROOT PAGE.md...: every link of a page to a heading, its own or another page's, leads
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


def links_to_headings(page):
    """Each with the page that it leads to."""
    for link in LINK.findall(prose_of(page)):
        place, mark, anchor = link.partition("#")
        if mark and not re.match(r"[a-z]+:", link):
            yield anchor, page.parent / place if place else page


def main(arguments):
    links, broken = 0, []
    for page in (Path(arguments[0]) / page for page in arguments[1:]):
        for anchor, target in links_to_headings(page):
            links += 1
            if not target.is_file() or anchor not in anchors_of(target):
                broken.append(f"{page}: {target.name}#{anchor}: there is no such heading")
    print("\n".join(broken + [f"{links} links, {len(broken)} of them broken"]))
    return 1 if broken or links == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
