#!/usr/bin/env python3
"""schema.py SCHEMA FILE...: every device script is valid under the schema.

A file is a script, or a document in Markdown, of which each JSON block with "steps" is one. Scripts
whose expected file says that they are refused (exit status 2) are left out: some are broken on purpose.
"""

import json
import pathlib
import re
import sys

import jsonschema

BLOCK = re.compile(r"^```json\n(.*?)^```", re.DOTALL | re.MULTILINE)


def is_refused(script):
    expected = script.with_suffix(".expected")
    first = expected.read_text(encoding="utf-8").split("\n", 1)[0] if expected.exists() else ""
    return bool(first) and json.loads(first).get("exit") == 2


def scripts_in(path):
    text = path.read_text(encoding="utf-8")
    if path.suffix != ".md":
        return [] if is_refused(path) else [json.loads(text)]
    return [json.loads(block) for block in BLOCK.findall(text) if '"steps"' in block]


def main():
    schema = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    validator = jsonschema.validators.validator_for(schema)
    validator.check_schema(schema)
    count, failed = 0, False
    for path in map(pathlib.Path, sys.argv[2:]):
        for script in scripts_in(path):
            count += 1
            for error in validator(schema).iter_errors(script):
                place = "/".join(map(str, error.absolute_path)) or "(the whole)"
                print(f"{path}: {place}: {error.message}")
                failed = True
    print(f"{count} scripts were checked.")
    sys.exit(1 if failed or count == 0 else 0)


if __name__ == "__main__":
    main()
