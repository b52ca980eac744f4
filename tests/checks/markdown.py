#!/usr/bin/env python3
"""markdown.py ROOT: prose in Markdown wraps at 110 columns, no line later and none earlier than that.

Code within a sentence stays on one line. Tables, headings, code blocks and what a browser is given as HTML are laid out as they are.
"""

import os
import pathlib
import re
import sys

COLUMNS = 110
# Folders of others, and of what is built.
LEFT_OUT = {"node_modules", "build", "dist"}
# A line that begins a paragraph or an item of a list, and so does not go on with the line before.
BEGINS = re.compile(r"[-*+] |\d+\. |#|\||<|!\[|>")
FIRST_WORD = re.compile(r"(?:`[^`]*`|\S)+")


def complaints(text):
    """The lines that wrap otherwise, as numbers from 1 with what is wrong."""
    found, before, in_code = [], None, False
    for number, line in enumerate(text.split("\n"), 1):
        words = line.strip()
        if words.startswith("```"):
            in_code, before = not in_code, None
            continue
        if in_code or words.startswith(("|", "#", "<", "![")) or not words:
            before = None
            continue
        if len(line) > COLUMNS and " " in words:
            found.append((number, f"{len(line)} columns"))
        if before is not None and not BEGINS.match(words):
            if len(before) + 1 + len(FIRST_WORD.match(words).group()) <= COLUMNS:
                found.append((number - 1, "breaks early"))
        before = line
    return found


def documents(root):
    for folder, folders, names in os.walk(root):
        folders[:] = sorted(name for name in folders
                            if name not in LEFT_OUT and not name.startswith("."))
        yield from (pathlib.Path(folder, name) for name in sorted(names) if name.endswith(".md"))


def main():
    root = pathlib.Path(sys.argv[1])
    paths = list(documents(root))
    found = [f"{path.relative_to(root)}:{number}: {what}" for path in paths
             for number, what in complaints(path.read_text(encoding="utf-8"))]
    if not paths:
        sys.exit(f"{root} holds no Markdown")
    print("\n".join(found) or f"{len(paths)} documents wrap alike.")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
