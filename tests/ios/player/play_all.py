#!/usr/bin/env python3
"""Plays the device scripts through the phone's side.

    play_all.py --program IOS_PLAYER [--update] [SCRIPT.json...]

Each script prints what is expected of it beside the script, compared as tests/scenarios/play.py does.
On a phone a few print something else. exceptions.json has their names, each with the reason, and
expected/NAME.expected what they print here. An exception that prints what every other device does, or
whose script is gone, is a fault. --update writes the expected files of the exceptions.

One order is not compared. The module calls a location manager on its own thread; a phone's is used on
the main one, so the host defers the calls there, in their order, and what the module goes on to do
may come before them.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import shutil
import sys

HERE = pathlib.Path(__file__).resolve().parent
SCENARIOS = HERE.parent.parent / "scenarios"
sys.path.insert(0, str(SCENARIOS))

import play  # noqa: E402

# What the module does beside the main thread.
BESIDE = {"log", "imageDestination", "answer", "held", "saved"}


def event_of(line):
    try:
        return json.loads(line)["event"]
    except (ValueError, KeyError, TypeError):
        return None


def deferred(lines):
    """The lines with each call of a location manager as late as the host may make it."""
    ordered, calls = [], []
    for line in lines:
        event = event_of(line)
        if event == "location":
            calls.append(line)
            continue
        if event not in BESIDE:
            ordered += calls
            calls = []
        ordered.append(line)
    return ordered + calls


def aligned(expected, actual, in_order=play.aligned):
    return in_order(deferred(expected), deferred(actual))


play.aligned = aligned


def faults(program, script, exceptions):
    """What is wrong with the play, as texts."""
    if script.name not in exceptions:
        return play.problems(program, script)
    own = HERE / "expected" / script.with_suffix(".expected").name
    found = play.problems(program, script, own)
    if not play.problems(program, script):
        found.append("an exception, which prints what is expected of every device")
    return found


def update(program, script):
    own = HERE / "expected" / script.with_suffix(".expected").name
    if not own.exists():
        shutil.copy(script.with_suffix(".expected"), own)
    play.update(program, script, own)
    print(f"wrote {own}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("scripts", nargs="*", type=pathlib.Path)
    arguments = parser.parse_args()
    exceptions = json.loads((HERE / "exceptions.json").read_text(encoding="utf-8"))
    every = sorted(SCENARIOS.glob("*.json"))
    scripts = arguments.scripts or every
    if arguments.update:
        for script in scripts:
            if script.name in exceptions:
                update(arguments.program, script)
        return

    failed = sorted(exceptions.keys() - {script.name for script in every})
    for name in failed:
        print(f"{name}: an exception without a script")
    with concurrent.futures.ThreadPoolExecutor(min(4, os.cpu_count() or 1)) as pool:
        found = pool.map(lambda each: faults(arguments.program, each, exceptions), scripts)
        for script, wrong in zip(scripts, found):
            if wrong:
                failed.append(script.name)
                print(f"{script.name}: {'; '.join(wrong)}")
    differ = sum(script.name in exceptions for script in scripts)
    print(f"{len(scripts)} scripts, {differ} of which differ on a phone; {len(failed)} failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
