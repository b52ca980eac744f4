#!/usr/bin/env python3
"""Plays device scripts and compares what they print with what is expected.

    play.py --program VECAMERA SCRIPT.json...
    play.py --program VECAMERA --update SCRIPT.json...

Beside NAME.json stands NAME.expected, with one JSON object a line, in order. A text "<any>" matches
any value, and "<any>" within a text matches any piece of it. A first line without "event"
describes the whole play: {"exit": N} the exit status (0 when left out), {"stderr": TEXT} a text that
standard error matches, {"deterministic": false} that two plays may differ (each matches what is
expected all the same), {"options": [...]} options of `vecamera run`, {"temporaryFolder": NAME} the
name of the folder in which private folders are made.

Every script is played twice, with different time zones, languages, home folders and working folders,
and must print the same bytes both times.

--update writes the expected files from what is printed, to be read by a person before they are
kept. Lines that match already stay as they are, so wildcards survive.
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ANY = "<any>"
SURROUNDINGS = [
    {"TZ": "UTC", "LANG": "C.UTF-8", "LC_ALL": "C.UTF-8"},
    {"TZ": "Asia/Kathmandu", "LANG": "de_DE.UTF-8", "LC_ALL": "C"},
]


def matches(expected, actual):
    if expected == ANY:
        return True
    if isinstance(expected, str) and isinstance(actual, str):
        pieces = map(re.escape, expected.split(ANY))
        return re.fullmatch(".*".join(pieces), actual, re.DOTALL) is not None
    if isinstance(expected, dict) and isinstance(actual, dict):
        return expected.keys() == actual.keys() and all(
            matches(expected[key], actual[key]) for key in expected)
    if isinstance(expected, list) and isinstance(actual, list):
        return len(expected) == len(actual) and all(map(matches, expected, actual))
    if isinstance(expected, bool) or isinstance(actual, bool):
        return expected is actual
    return expected == actual


def read_expected(path):
    """The header and the lines of an expected file."""
    lines = [line for line in path.read_text(encoding="utf-8").splitlines() if line.strip()]
    for number, line in enumerate(lines, 1):
        try:
            if not isinstance(json.loads(line), dict):
                raise ValueError("a line is a JSON object")
        except ValueError as error:
            raise SystemExit(f"{path}, line {number} of those that are not empty: {error}")
    if lines and "event" not in json.loads(lines[0]):
        header = json.loads(lines.pop(0))
        odd = header.keys() - {"exit", "stderr", "deterministic", "options", "temporaryFolder"}
        if odd:
            raise SystemExit(f"{path}: the first line knows no {', '.join(sorted(odd))}")
        return header, lines
    return {}, lines


def aligned(expected, actual):
    """Pairs of (expected line or None, actual line or None), with as many matches as can be had."""
    def parsed(line):
        try:
            return json.loads(line)
        except ValueError:
            return line
    want, got = [parsed(line) for line in expected], [parsed(line) for line in actual]
    same = [[matches(a, b) for b in got] for a in want]
    best = [[0] * (len(got) + 1) for _ in range(len(want) + 1)]
    for i in reversed(range(len(want))):
        for j in reversed(range(len(got))):
            best[i][j] = (best[i + 1][j + 1] + 1 if same[i][j]
                          else max(best[i + 1][j], best[i][j + 1]))
    pairs, i, j = [], 0, 0
    while i < len(want) or j < len(got):
        if i < len(want) and j < len(got) and same[i][j]:
            pairs.append((expected[i], actual[j]))
            i, j = i + 1, j + 1
        elif j == len(got) or (i < len(want) and best[i + 1][j] >= best[i][j + 1]):
            pairs.append((expected[i], None))
            i += 1
        else:
            pairs.append((None, actual[j]))
            j += 1
    return pairs


def play(program, script, surroundings, header):
    with tempfile.TemporaryDirectory() as home:
        temporary = pathlib.Path(home, header.get("temporaryFolder", "tmp"))
        temporary.mkdir()
        return subprocess.run(
            [program, "run", *header.get("options", []), script], stdin=subprocess.DEVNULL,
            capture_output=True, check=False,
            env={**os.environ, **surroundings, "HOME": home, "TMPDIR": str(temporary)})


def text(output):
    return output.decode("utf-8", errors="backslashreplace")


def difference(pairs):
    if all(want is not None and got is not None for want, got in pairs):
        return None
    return "\n".join(
        f"+ {got}" if want is None else f"- {want}" if got is None else f"  {got}"
        for want, got in pairs)


def problems(program, script, expected_path=None):
    """What is wrong with the script's play, as texts; expected is what stands beside the script."""
    header, expected = read_expected(expected_path or script.with_suffix(".expected"))
    first, second = (play(program, script, each, header) for each in SURROUNDINGS)
    found = []
    if first.returncode != header.get("exit", 0):
        found.append(f"exit status {first.returncode}, expected {header.get('exit', 0)}")
    for result in (first, second):
        wrong = difference(aligned(expected, text(result.stdout).splitlines()))
        if wrong:
            found.append(f"printed (+) and expected (-) differ:\n{wrong}")
            break
    if not matches(header.get("stderr", ANY), text(first.stderr).strip()):
        found.append(f"standard error is not {header['stderr']!r}")
    if header.get("deterministic", True) and (
            (first.stdout, first.returncode) != (second.stdout, second.returncode)):
        lines = difference(aligned(text(first.stdout).splitlines(), text(second.stdout).splitlines()))
        found.append(f"the first play (-, {first.returncode}) and the second "
                     f"(+, {second.returncode}) differ:\n{lines or 'in their bytes only'}")
    if found and first.stderr:
        found.append(f"standard error:\n{text(first.stderr)}")
    return found


def update(program, script, path=None):
    path = path or script.with_suffix(".expected")
    header, expected = read_expected(path) if path.exists() else ({}, [])
    result = play(program, script, SURROUNDINGS[0], header)
    header.pop("exit", None)
    if result.returncode != 0:
        header = {"exit": result.returncode, **header}
    lines = [json.dumps(header)] if header else []
    for want, got in aligned(expected, text(result.stdout).splitlines()):
        if got is not None:
            lines.append(got if want is None else want)
    path.write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("scripts", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    failed = False
    for script in arguments.scripts:
        if arguments.update:
            update(arguments.program, script)
            print(f"wrote {script.with_suffix('.expected')}")
            continue
        found = problems(arguments.program, script)
        failed = failed or bool(found)
        print(f"{script.name}: {'; '.join(found) if found else 'as expected'}")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
