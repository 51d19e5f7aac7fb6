#!/usr/bin/env python3
"""Checks that every mutable global of the program is declared `constinit`.

Workers may still run while main returns, so a global is ready before the first line of main and
has no destructor; constinit makes the compiler prove the first half. Pointers to functions are
left out, because g++ refuses the word on them.
"""

import re
import subprocess
import sys

FOLDERS = ["config", "core", "library", "lists", "platform", "play", "skin", "update", "view", "tools"]
OTHER = re.compile(r"^(static |inline )*(constexpr|constinit|using|typedef|enum|struct|class|template"
                   r"|namespace|extern|union|return|friend|public|private|protected)\b")
CONSTANT = re.compile(r"^(static |inline )*const\b(?!.*\*(?! ?const))|\*const ")
VARIABLE = re.compile(r"^(?:static |inline |thread_local |constinit |const )*[A-Za-z_][\w:<>,* ]*[ *&]"
                      r"\w+(\[[^\]]*\])*( GUARDED_BY\([\w>.-]+\))?\s*(=|;|\{|,)")


def is_wrong(line):
    """Whether a line at the left margin declares a mutable global without constinit."""
    return bool(VARIABLE.match(line)) and not OTHER.match(line) and \
        not CONSTANT.search(line.split("=")[0])


def main():
    patterns = [f"{folder}/*.{kind}" for folder in FOLDERS for kind in ("cpp", "h")]
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "--", *patterns],
                           check=True, text=True, capture_output=True).stdout.split()
    wrong = 0
    for name in names:
        with open(name, encoding="utf-8") as source:
            for number, line in enumerate(source, 1):
                if is_wrong(line):
                    wrong += 1
                    print(f"{name}:{number}: not constinit: {line.strip()}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
