#!/usr/bin/env python3
"""Counts the instructions of the workloads on a small picture and compares them with the record.

    instructions.py PROGRAM [--record]

Fails where a workload needs over 5 percent more than instructions.json says; --record writes that
file again. The counts are those of a processor with AVX2, the latest extension that the counter
itself knows, and of the compiler and the libraries that the file names: with others nothing can be
compared, so that the check is skipped and says so.
"""

import concurrent.futures
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

RECORD = pathlib.Path(__file__).with_name("instructions.json")
WORKLOADS = ["W1", "W2", "W3", "W4", "W5"]
MAX_SHARE = 1.05
SKIPPED = 77


def environment(program):
    """The compiler and the libraries of the program, and the counter."""
    output = subprocess.run([program, "--environment"], capture_output=True, text=True, check=True)
    counter = subprocess.run(["valgrind", "--version"], capture_output=True, text=True, check=True)
    return {**json.loads(output.stdout), "counter": counter.stdout.strip()}


def count(program, workload, folder):
    source = pathlib.Path(folder) / ("photo.png" if workload == "W5" else "photo.jpg")
    run = subprocess.run(
        ["valgrind", "--tool=callgrind", "--collect-atstart=no", "--toggle-collect=measured",
         "--callgrind-out-file=/dev/null", program, workload, str(source)],
        capture_output=True, text=True)
    found = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or not found:
        sys.exit(f"{workload} could not be counted:\n{run.stderr}")
    return int(found.group(1))


def main():
    program = sys.argv[1]
    if not shutil.which("valgrind"):
        sys.exit("valgrind, which counts the instructions, is not installed.")
    if "avx2" not in pathlib.Path("/proc/cpuinfo").read_text().split():
        print("The record is of a processor with AVX2, which this one is not.")
        sys.exit(SKIPPED)
    here = environment(program)
    record = json.loads(RECORD.read_text())
    others = [f"{name} is {here.get(name)}, was {version} when the counts were recorded."
              for name, version in record["environment"].items() if here.get(name) != version]
    if others and "--record" not in sys.argv:
        print("Counts cannot be compared here:", *others, sep="\n")
        sys.exit(SKIPPED)
    with tempfile.TemporaryDirectory() as folder:
        # The pictures, made outside of the slow counter.
        for workload in ("W1", "W5"):
            name = "photo.png" if workload == "W5" else "photo.jpg"
            subprocess.run([program, workload, str(pathlib.Path(folder) / name)], check=True)
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            counts = dict(zip(WORKLOADS, pool.map(
                lambda workload: count(program, workload, folder), WORKLOADS)))
    if "--record" in sys.argv:
        record = {"environment": here, "instructions": counts}
        RECORD.write_text(json.dumps(record, indent=2) + "\n")
        return
    over = []
    for workload, instructions in counts.items():
        share = instructions / record["instructions"][workload]
        print(f"{workload}: {instructions:>12,} instructions, {share:.3f} of the record")
        if share > MAX_SHARE:
            over.append(workload)
    if over:
        sys.exit(f"{', '.join(over)} need over 5 percent more instructions than recorded. "
                 "Where that is meant, record them again: instructions.py PROGRAM --record")


main()
