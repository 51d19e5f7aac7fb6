#!/usr/bin/env python3
"""Makes reference pages of the public headers, one a folder: reference.py FOLDER_FOR_THE_PAGES

tools/layers.txt names the folders and their public headers. A header is its own documentation: the comment
in front of a declaration becomes the text below its name. A header of which nothing is found is a mistake."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BANNER = re.compile(r"^/\* -+ (.*?) -+ ?(.*)$", re.DOTALL)
ROW = re.compile(r"^ {2,}(\S+(?:, \S+)*) {2,}(\S.*)$")          # "  to    room for ..." in a comment
WORD = re.compile(r"(?<![\w`/.<*])([a-z]\w*(?:_\w*)+(?:\(\))?|[a-z]\w+\(\))(?![\w`/.])")
NAMES = (
    re.compile(r"^(?:struct|enum(?: class)?|union)(?: [A-Z_]+(?:\([^)]*\))?)? (\w+)", re.MULTILINE),
    re.compile(r"^enum (?:: \w+ )?\{\s*(\w+)", re.MULTILINE),
    re.compile(r"^typedef .*?(\w+)\)?\([^()]*\);", re.MULTILINE | re.DOTALL),
    re.compile(r"^using (\w+) =|^template .*using (\w+) =", re.MULTILINE),
    re.compile(r"^#define (\w+)", re.MULTILINE),
    re.compile(r"^(?!typedef|#)[\w\[\]:&<>,* ]*?[ *&](\w+)\(", re.MULTILINE),
    re.compile(r"^(?:extern|constexpr|inline|constinit|const)\b[^(;={]*?[ *&](\w+)(?:\[[^\]]*\])*(?: = |;|\{| GUARDED)", re.MULTILINE),
    re.compile(r"\b(\w+) GUARDED_BY"),
    re.compile(r"^extern [^;]*\(\*(?:const )?(\w+)\)\(", re.MULTILINE),
)
# What looks like a name and says something about one.
MARKS = {"GUARDED_BY", "REQUIRES", "ACQUIRE", "RELEASE", "CAPABILITY", "SCOPED_CAPABILITY", "alignas", "operator"}
ATTRIBUTES = re.compile(r"^(\[\[\w+\]\]|template <[^>]*>|extern \"C\"|__attribute__\(\(.*?\)\)\)|__attribute__\(\(\w+\)\))\s*",
                        re.MULTILINE)


class Entry:
    """What is declared in one run of lines, and the comment in front of it."""

    def __init__(self, comment, code):
        self.comment, self.code = comment, without_bodies(code)

    def names(self):
        code = bare(re.sub(r"/\*.*?\*/", "", self.code, flags=re.DOTALL))
        found = {}
        for pattern in NAMES:
            for match in pattern.finditer(code):
                name = next(filter(None, match.groups()))
                if name not in MARKS or "#define" in code:
                    found.setdefault(name, match.start())
        return sorted(found, key=found.get)


def bare(code):
    """Without what may stand in front of a declaration."""
    while ATTRIBUTES.search(code):
        code = ATTRIBUTES.sub("", code)
    return code


def public_headers():
    """Folders and the headers that others may include, in the order of the plan."""
    for line in (ROOT / "tools" / "layers.txt").read_text(encoding="utf-8").splitlines():
        parts = [part.strip() for part in line.split("#")[0].split("|")]
        if len(parts) == 3 and parts[2]:
            yield parts[0], parts[2].split(), parts[1].split()


def without_bodies(code):
    """The declaration of what is defined in the header: readers of a page need no bodies."""
    return re.sub(r"\)([^();{}]*)\n\{\n.*?\n\}", r")\1;", code, flags=re.DOTALL)


def words_of(comment):
    """The text of a comment: its lines without the stars."""
    lines = comment.strip().removeprefix("/*").removesuffix("*/").split("\n")
    return "\n".join(re.sub(r"^ \* ?", "", line).rstrip() for line in lines).strip()


def blocks_of(text):
    """Comments that begin a line, and runs of code up to the next one or the next empty line outside of
    braces: pairs of kind and text."""
    lines, at = text.split("\n"), 0
    while at < len(lines):
        if lines[at].startswith("/*"):
            end = at
            while "*/" not in lines[end]:
                end += 1
            yield "comment", "\n".join(lines[at:end + 1])
            at = end + 1
        elif not lines[at].strip():
            yield "gap", ""
            at += 1
        else:
            end, depth = at, 0
            while end < len(lines) and (depth > 0 or lines[end].strip() and not lines[end].startswith("/*")):
                bare = re.sub(r"/\*.*?\*/|\"[^\"]*\"|'.'", "", lines[end])
                depth += bare.count("{") - bare.count("}")
                end += 1
            yield "code", "\n".join(lines[at:end])
            at = end


def is_plain(code):
    """Whether nothing is declared there that a reader looks for."""
    return all(re.match(r"(#pragma|#include|#if|#else|#endif|struct \w+;|$)", line) for line in code.split("\n"))


def read_header(path):
    """The header's own words, then entries and banners in their order."""
    blocks = list(blocks_of(path.read_text(encoding="utf-8")))
    about = words_of(blocks[0][1]) if blocks[0][0] == "comment" else ""
    found, comment = [], ""
    for kind, text in blocks[1 if about else 0:]:
        banner = kind == "comment" and BANNER.match(text)
        if banner:
            found.append((banner[1], words_of("/*" + banner[2])))
            comment = ""
        elif kind == "comment":
            comment = text
        elif kind == "code" and not is_plain(text):
            found.append(Entry(words_of(comment) if comment else "", text))
            comment = ""
    return about, found


# ---- Markdown ----

def marked(text):
    """Prose, with the names of functions and variables as code."""
    text = text.replace("<", "&lt;").replace("\\", "\\\\").replace("*", "\\*").replace("[", "\\[")
    return WORD.sub(r"`\1`", text)


def prose(text):
    """A comment's words. Its rows of a name and what it is become a list."""
    out, listing = [], False
    for line in text.split("\n"):
        row = ROW.match(line)
        if row:
            out += ([] if listing else [""]) + [f"- `{row[1]}`: {marked(row[2])}"]
            listing = True
        elif listing and line.startswith("   "):
            out.append("    " + marked(line.strip()))
        else:
            out += [""] if listing else []
            out.append(marked(line.strip()))
            listing = False
    return "\n".join(out)


def heading_of(names):
    shown = [f"`{name}`" for name in names[:4]]
    return ", ".join(shown) + (" and others" if len(names) > 4 else "")


def page_of_header(folder, name):
    about, found = read_header(ROOT / folder / name)
    title, _, rest = about.partition(":")
    lines = [f"## {name} {{: #{anchor(name)} }}", "", prose(rest.strip() if rest else title), ""]
    taken = set()
    for each in found:
        if isinstance(each, tuple):
            lines += [f"### {each[0]} {{: .banner }}", "", prose(each[1]), ""]
            continue
        names = each.names()
        if not names:
            raise SystemExit(f"{folder}/{name}: nothing has a name in\n{each.code}")
        place = anchor(names[0])
        while place in taken:
            place += "-2"
        taken.add(place)
        lines += [f"### {heading_of(names)} {{: #{place} }}", "", "```cpp", each.code, "```", "",
                  prose(each.comment), ""]
    if not taken:
        raise SystemExit(f"{folder}/{name}: declares nothing")
    return lines


def anchor(name):
    return re.sub(r"\W", "-", name)


def page_name(folder):
    return folder.replace("/", "-") + ".md"


def page_of(folder, headers, below, pages):
    lines = [f"# {folder}", ""]
    if below:
        lines += ["Uses " + ", ".join(f"[{each}]({page_name(each)})" if each in pages else each for each in below)
                  + ".", ""]
    for header in headers:
        lines += page_of_header(folder, header)
    return "\n".join(lines)


def make(to):
    """Writes the pages. Returns their folders and names in the order of the plan."""
    to.mkdir(parents=True, exist_ok=True)
    plan = list(public_headers())
    pages = {folder for folder, _, _ in plan}
    rows = ["# Reference", "", "What each folder shows to the others, from the ground up: made from the public headers "
            "that `tools/layers.txt` names. [Architecture](../architecture.md) says how the folders belong together.",
            "", "| folder | headers |", "|---|---|"]
    for folder, headers, below in plan:
        (to / page_name(folder)).write_text(page_of(folder, headers, below, pages), encoding="utf-8")
        links = ", ".join(f"[{name}]({page_name(folder)}#{anchor(name)})" for name in headers)
        rows.append(f"| [{folder}]({page_name(folder)}) | {links} |")
    (to / "index.md").write_text("\n".join(rows) + "\n", encoding="utf-8")
    return [(folder, page_name(folder)) for folder, _, _ in plan]


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    print(f"{len(make(Path(sys.argv[1])))} pages in {sys.argv[1]}")


if __name__ == "__main__":
    main()
