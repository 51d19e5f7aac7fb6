#!/usr/bin/env python3
"""Checks that casts have names: `static_cast<int>(x)`, never `int(x)` or `(int)x`.

clang's flag refuses the last one wherever it compiles; no flag sees `int(x)`, which does the same.
`int{x}` refuses what does not fit and may stay."""

import re
import subprocess
import sys

NUMBER = (r"(?:bool|char|short|int|long|unsigned|float|double|size_t|ssize_t|ptrdiff_t|off_t|time_t"
          r"|u?int(?:8|16|32|64)_t|u?intptr_t|uint)")
# A type before "(" in an expression. "int(int)" is the type of a function, "int (*" points to one.
CAST = re.compile(rf"(?<![\w<:.>~]){NUMBER}\((?!\)|\s*\*|\s*(?:const )?{NUMBER}\b(?!\())")
OLD = re.compile(rf"(?<![\w>)\]])\((?:const )?(?:unsigned )?(?:{NUMBER}|void \*|(?:const )?char \*+)\) ?[\w(*&~]")
TEXT = re.compile(r'/\*.*?\*/|//[^\n]*|R"\(.*?\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', re.DOTALL)


def without_text(source):
    """The source with comments and literals emptied; lines stay where they are."""
    return TEXT.sub(lambda found: "\n" * found[0].count("\n"), source)


def main():
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.cpp", "*.h"],
                           check=True, text=True, capture_output=True).stdout.split()
    wrong = 0
    for name in names:
        with open(name, encoding="utf-8") as file:
            for number, line in enumerate(without_text(file.read()).split("\n"), 1):
                if CAST.search(line) or OLD.search(line):
                    wrong += 1
                    print(f"{name}:{number}: a cast without a name: {line.strip()}", file=sys.stderr)
    sys.exit(1 if wrong or not names else 0)


if __name__ == "__main__":
    main()
