#!/usr/bin/python3
"""extract.py OUT PAGE.md...    makes sources of the pages' code, and what it has to print, in OUT
extract.py --block LANGUAGE PAGE.md    prints the page's first block of that language

Every ```cpp block of a page is code that has to compile and run, so that no page shows code which
does not work; what is only to be looked at has another language. A ```text block says what the code
above it prints: the words between them mention printing and end with a colon. Code without such a
block prints nothing.

A block is statements, the body of a function, unless it has a `main`: then it is a program. A line
above it may say more:

    <!-- block NAME -->                 its name; blocks of one name are one piece of code, in order
    <!-- block NAME declarations -->    what stands before the function of that name, or before main
    <!-- block NAME test -->            tests for GoogleTest, on Vq::TestPlatform
    <!-- block NAME shell -->           a ```sh block that is run; without this it is not

OUT then holds, and nothing else: PAGE.cpp, all statements of a page, a function for each name,
which is the program's argument; PAGE.NAME.cpp, a program; PAGE.tests.cpp; PAGE.NAME.sh;
PAGE.NAME.txt, what is to be printed; and blocks.cmake, a call for each of these. What stays the
same stays untouched.
"""
import re
import sys
from pathlib import Path

FENCE = re.compile(r"^( *)(`{3,}|~{3,})(.*)$")
MARKER = re.compile(r"^<!--\s*block\b\s*(.*?)\s*-->$")
NAME = re.compile(r"[a-z0-9]+(-[a-z0-9]+)*")
MAIN = re.compile(r"^int main\(", re.MULTILINE)
INCLUDE = re.compile(r"^#include\b.*$", re.MULTILINE)
KINDS = ("declarations", "test", "shell")


class PageError(Exception):
    """What is wrong with a page, with the line."""

    def __init__(self, page, line, what):
        super().__init__(f"{page}:{line}: {what}")


class Block:
    """A fenced block, with its marker and the words since the block before."""

    def __init__(self, line, language, text, name, kind, words):
        self.line = line  # of its first line of text
        self.language = language
        self.text = text
        self.name = name
        self.kind = kind
        self.words = words


class Example:
    """The blocks of one name, and what they print."""

    def __init__(self, name):
        self.name = name
        self.blocks = []
        self.output = ""

    @property
    def kind(self):
        kinds = {block.kind for block in self.blocks}
        for kind in ("test", "shell"):
            if kind in kinds:
                return kind
        return "program" if any(MAIN.search(block.text) for block in self.blocks) else "statements"


def blocks_of(page, text):
    """All fenced blocks of a page."""
    found, words = [], []
    marker = fence = None
    content = []
    for number, line in enumerate(text.splitlines(), 1):
        match = FENCE.match(line)
        if fence:
            indent, marks, opened, language = fence
            if match and match[3].strip() == "" and match[2].startswith(marks):
                body = "".join(each.removeprefix(indent) + "\n" for each in content)
                name, kind = marker[1:] if marker else (None, None)
                found.append(Block(opened + 1, language, body, name, kind, " ".join(words)))
                marker = fence = None
                content, words = [], []
            else:
                content.append(line)
        elif match:
            language = match[3].strip()
            if match[2][0] == "~":
                raise PageError(page, number, "a fence is made of backticks")
            if language != "cpp" and re.search(r"c\+\+|cxx|^cc$|cpp", language, re.IGNORECASE):
                raise PageError(page, number, f"code is of the language cpp, not {language}")
            fence = (match[1], match[2], number, language)
        elif MARKER.match(line.strip()):
            if marker:
                raise PageError(page, number, "two markers in a row")
            name, _, kind = MARKER.match(line.strip())[1].partition(" ")
            if not NAME.fullmatch(name) or kind not in ("", *KINDS):
                raise PageError(page, number, "a marker is: block NAME [" + "|".join(KINDS) + "]")
            marker = (number, name, kind or None)
        elif not line.strip().startswith("<!--"):
            words += line.split()
    if fence:
        raise PageError(page, fence[2], "the fence is never closed")
    if marker:
        raise PageError(page, marker[0], "no block follows this marker")
    return found


def examples_of(page, text):
    """The code of a page, by name, in order."""
    blocks = blocks_of(page, text)
    examples, last = {}, None
    has_code = any(block.language == "cpp" or block.name for block in blocks)
    for block in blocks:
        is_code = block.language == "cpp"
        if block.kind == "shell" and block.language != "sh":
            raise PageError(page, block.line, "a shell block is of the language sh")
        if block.name and not is_code and block.kind != "shell":
            raise PageError(page, block.line, f"a marked block is code, not {block.language}")
        if is_code or block.kind == "shell":
            name = block.name or str(1 + len(examples))
            last = examples.setdefault(name, Example(name))
            last.blocks.append(block)
            kinds = {each.kind for each in last.blocks}
            if len(kinds) > 1 and kinds != {None, "declarations"}:
                raise PageError(page, block.line, f"{name} is already of another kind")
        elif block.language == "text" and has_code:
            if not last or last.kind == "test":
                raise PageError(page, block.line, "no code before this text that prints")
            if "print" not in block.words or not block.words.endswith(":"):
                raise PageError(page, block.line, "no words before it say: prints ..:")
            last.output += block.text
        else:
            last = None
    for example in examples.values():
        if example.kind == "statements" and all(b.kind for b in example.blocks):
            line = example.blocks[0].line
            raise PageError(page, line, f"{example.name} has declarations that nothing uses")
    return list(examples.values())


def placed(page, block, text=None):
    """The text of a block so that compilers name its place in the page."""
    return f'#line {block.line} "{page}"\n{block.text if text is None else text}'


def without_includes(block, includes):
    """The block's text, its lines kept, and its includes added to those."""
    for include in INCLUDE.findall(block.text):
        if include not in includes:
            includes.append(include)
    return INCLUDE.sub("", block.text)


def scope_of(example):
    return "example_" + example.name.replace("-", "_")


def statements_source(page, examples):
    includes, bodies, calls = ["#include <string_view>"], [], []
    for example in examples:
        before, inside = "", ""
        for block in example.blocks:
            text = placed(page, block, without_includes(block, includes))
            if block.kind == "declarations":
                before += text
            else:
                inside += text
        scope = scope_of(example)
        function = f"void run() {{\n{inside}}}\n"
        bodies.append(f"namespace {scope} {{\nnamespace {{\n{before}{function}}}\n}}\n")
        calls.append(f'    if (name == "{example.name}") return {scope}::run(), 0;\n')
    return (
        "\n".join(includes) + "\n\n" + "\n".join(bodies)
        + "\nint main(int argc, char** argv) {\n"
        + '    const std::string_view name = argc == 2 ? argv[1] : "";\n'
        + "".join(calls) + "    return 2;\n}\n"
    )


def program_source(example):
    """A file of its own, which its own messages may name: lines count from its start."""
    return f'#line 1 "{example.name}.cpp"\n' + "".join(block.text for block in example.blocks)


def tests_source(page, examples):
    includes, bodies = ["#include <gtest/gtest.h>"], []
    for example in examples:
        text = "".join(placed(page, b, without_includes(b, includes)) for b in example.blocks)
        bodies.append(f"namespace {scope_of(example)} {{\nnamespace {{\n{text}}}\n}}\n")
    return "\n".join(includes) + "\n\n" + "\n".join(bodies)


def files_of(pages):
    """Names and texts of all files, from (path as shown, text) of each page."""
    files, calls, stems = {}, [], {}
    for path, text in pages:
        examples = examples_of(path, text)
        if not examples:
            continue
        stem = Path(path).stem
        if stem in stems:
            raise PageError(path, 1, f"has the name of {stems[stem]}")
        stems[stem] = path
        by_kind = {}
        for example in examples:
            by_kind.setdefault(example.kind, []).append(example)
        for kind, group in by_kind.items():
            if kind == "statements":
                files[f"{stem}.cpp"] = statements_source(path, group)
                calls.append(f"vq_page({stem})")
            elif kind == "test":
                files[f"{stem}.tests.cpp"] = tests_source(path, group)
                calls.append(f"vq_page_tests({stem})")
                continue
            for example in group:
                files[f"{stem}.{example.name}.txt"] = example.output
                calls.append(f"vq_page_{kind}({stem} {example.name})")
                if kind == "program":
                    files[f"{stem}.{example.name}.cpp"] = program_source(example)
                elif kind == "shell":
                    text = "".join(block.text for block in example.blocks)
                    files[f"{stem}.{example.name}.sh"] = "set -euo pipefail\n" + text
    files["blocks.cmake"] = "\n".join(calls) + "\n"
    return files


def write(out, files):
    """Makes `out` hold these files and no others; equal ones are not written again."""
    out.mkdir(parents=True, exist_ok=True)
    for path in out.iterdir():
        if path.name not in files:
            path.unlink()
    for name, text in files.items():
        path = out / name
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            path.write_text(text, encoding="utf-8")


def main(arguments):
    try:
        if len(arguments) == 3 and arguments[0] == "--block":
            page = arguments[2]
            for block in blocks_of(page, Path(page).read_text(encoding="utf-8")):
                if block.language == arguments[1]:
                    print(block.text, end="")
                    return 0
            raise PageError(page, 1, f"has no block of the language {arguments[1]}")
        if len(arguments) < 2 or arguments[0].startswith("-"):
            print(__doc__, file=sys.stderr)
            return 2
        pages = [(page, Path(page).read_text(encoding="utf-8")) for page in arguments[1:]]
        write(Path(arguments[0]), files_of(pages))
        return 0
    except PageError as error:
        print(error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
