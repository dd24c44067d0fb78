#!/usr/bin/python3
"""layering.py [--update] SOURCE_ROOT

Holds every file to docs/layers.txt: which folder may include which, which header of ole/Vq stands
in which layer, and that nothing includes itself by a detour. The picture and the tables in
docs/architecture.md have to be those of that file; --update writes them anew.
"""
import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)
OWN = ("Vq/", "OS/", "VqIPP/", "VqTest/")


class Rules:
    """What docs/layers.txt says."""

    def __init__(self, text):
        self.layers = []  # (name, what it is, [units, each a tuple of stems])
        self.folders = []  # (path, what it is, what it may include)
        text = re.sub(r"\\\n\s*", "", text)
        for line in text.splitlines():
            if not line or line.startswith("#"):
                continue
            head, what, content = (part.strip() for part in line.split("|"))
            kind, name = head.split()
            if kind == "layer":
                units = re.findall(r"\(([^)]*)\)|(\S+)", content)
                self.layers.append((name, what, [tuple((a or b).split()) for a, b in units]))
            elif kind == "folder":
                self.folders.append((name, what, content))
            else:
                raise ValueError(f"docs/layers.txt: neither layer nor folder: {line}")
        self.unit_of = {}
        self.layer_of = {}
        for number, (_, _, units) in enumerate(self.layers):
            for unit in units:
                for stem in unit:
                    if stem in self.unit_of:
                        raise ValueError(f"docs/layers.txt: twice in a layer: {stem}")
                    self.unit_of[stem] = unit
                    self.layer_of[stem] = number

    def number(self, layer):
        return [name for name, _, _ in self.layers].index(layer)

    def folder_of(self, file):
        for name, _, content in self.folders:
            if file.startswith(name + "/"):
                return name, content
        return None


def stem_of(path):
    """The stem of a file of ole/Vq, as units name it."""
    return path.removeprefix("ole/Vq/").rsplit(".", 1)[0]


def all_files(root, rules):
    for name, _, _ in rules.folders:
        for path in sorted((root / name).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(root).as_posix()


def resolve(root, file, included):
    """The file of the project that is meant; None when it is none of the project's."""
    beside = Path(file).parent / included
    for path in (beside, *(Path(folder) / included for folder in ("ole", "tests", "bench"))):
        if (root / path).is_file():
            return path.as_posix()
    return None


def may_include(rules, file, target):
    """None, or why not."""
    folder, allowed = rules.folder_of(file)
    if folder == "ole/Vq" and target.startswith("ole/Vq/"):
        own, other = stem_of(file), stem_of(target)
        if rules.unit_of[own] == rules.unit_of[other]:
            return None
        if rules.layer_of[other] < rules.layer_of[own]:
            return None
        names = [rules.layers[rules.layer_of[stem]][0] for stem in (own, other)]
        return f"layer {names[0]} stands on lower ones, and that is of layer {names[1]}"
    if target.startswith(folder + "/") or allowed == "everything":
        return None
    for rule in allowed.split(", "):
        if rule == "public" and re.fullmatch(r"ole/Vq/[^/]*\.h", target):
            return None
        if rule.startswith("layers to ") and target.startswith("ole/Vq/"):
            if rules.layer_of[stem_of(target)] <= rules.number(rule.removeprefix("layers to ")):
                return None
        if target == "ole/" + rule:
            return None
    return f"{folder} may include, besides its own files: {allowed}"


def check_includes(root, rules):
    """What is wrong, and who includes whom."""
    wrong, graph = [], {}
    stems = set()
    for file in all_files(root, rules):
        graph[file] = []
        if file.startswith("ole/Vq/"):
            stems.add(stem_of(file))
            if stem_of(file) not in rules.unit_of:
                wrong.append(f"{file}: stands in no layer of docs/layers.txt")
                continue
        for mark, included in INCLUDE.findall((root / file).read_text(encoding="utf-8")):
            if mark == "<" and not included.startswith(OWN):
                continue
            target = resolve(root, file, included)
            if target is None:
                if file.startswith("ole/") or included.startswith(OWN):
                    wrong.append(f"{file}: includes {included}, which is no file of the project")
                continue
            if mark == "<" and rules.folder_of(file)[1] != "everything":
                wrong.append(f"{file}: includes {included} without quotes")
            if target.startswith("ole/Vq/") and stem_of(target) not in rules.unit_of:
                continue  # told where the file itself is looked at
            graph[file].append(target)
            reason = may_include(rules, file, target)
            if reason:
                wrong.append(f"{file}: includes {included}, but {reason}")
    for stem in sorted(rules.unit_of.keys() - stems):
        wrong.append(f"docs/layers.txt: there is no {stem} in ole/Vq")
    return wrong, graph


def find_cycles(graph):
    """A sentence for each cycle that a walk through the files comes upon."""
    found, done = [], set()

    def walk(file, path):
        if file in path:
            found.append("a cycle: " + " -> ".join(path[path.index(file) :] + [file]))
        elif file not in done:
            for target in graph.get(file, []):
                walk(target, path + [file])
            done.add(file)

    for file in graph:
        walk(file, [])
    return found


ABOVE = """\
   your program    tools    examples                  tests    fuzz    bench
        |            |         |                        |        |       |
        |    public headers, OS/LinuxPlatform.h         |    everything  |
        v            v         v                        v        v       v
"""
# Beside the layers above the platform, and beside those that the platform's implementation knows.
UPPER = """\

      +-- ole/VqTest -----------+
 <----|  the platform for tests |
      +-------------------------+
"""
LOWER = """\
      +-- ole/OS, libOS --------+
 <----|  the platform for Linux |
      +-------------------------+
      +-- ole/VqIPP, libVqIPP --+
      |  fills                  |
      +-------------------------+
"""


def picture(rules):
    """The layers of libVq, and who includes what of them, as text."""
    left, upper, lower = [], UPPER.splitlines(), LOWER.splitlines()
    for number, (name, what, _) in enumerate(rules.layers, 1):
        left.insert(0, f"{number:>3}  {name:<9} {what}")
    width = max(map(len, left)) + 1
    border = len(left) - rules.number("platform") - 1
    upper += [""] * (border - len(upper))
    inside = left[:border] + ["-" * width] + left[border:]
    beside = upper + lower
    rows = ["+-- ole/Vq, libVq ".ljust(width + 1, "-") + "+"]
    for i, row in enumerate(inside):
        rows.append(f"|{row:<{width}}|" + (beside[i] if i < len(beside) else ""))
    rows.append("+" + "-" * width + "+")
    return ABOVE + "\n".join(row.rstrip() for row in rows)


def tables(rules):
    rows = ["| | Layer | Is | Units |", "|---|---|---|---|"]
    for number, (name, what, units) in reversed(list(enumerate(rules.layers, 1))):
        listed = ", ".join(" with ".join(f"`{stem}`" for stem in unit) for unit in units)
        rows.append(f"| {number} | {name} | {what} | {listed} |")
    rows += ["", "Public are the headers of `ole/Vq` outside `detail/`.", ""]
    rows += ["| Folder | Is | May include besides its own files |", "|---|---|---|"]
    rows += [f"| `{name}/` | {what} | {content} |" for name, what, content in rules.folders]
    return "\n".join(rows)


def document_of(rules, document):
    """The document with its generated parts as they should be."""
    parts = {"picture": "```text\n" + picture(rules) + "\n```", "tables": tables(rules)}
    for name, part in parts.items():
        place = re.compile(f"(<!-- {name} of layers.txt -->\n).*?(<!-- end -->)", re.DOTALL)
        if not place.search(document):
            raise ValueError(f"docs/architecture.md has no place for the {name}")
        document = place.sub(lambda match, part=part: match[1] + part + "\n" + match[2], document)
    return document


def main(arguments):
    update = "--update" in arguments
    roots = [argument for argument in arguments if argument != "--update"]
    root = Path(roots[0]) if roots else Path(__file__).resolve().parents[2]
    rules = Rules((root / "docs/layers.txt").read_text(encoding="utf-8"))
    place = root / "docs/architecture.md"
    document = place.read_text(encoding="utf-8")
    if update:
        place.write_text(document_of(rules, document), encoding="utf-8")
        return 0
    wrong, graph = check_includes(root, rules)
    wrong += find_cycles(graph)
    if document_of(rules, document) != document:
        wrong.append("docs/architecture.md does not show docs/layers.txt: layering.py --update")
    print("\n".join(wrong), end="\n" if wrong else "")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
