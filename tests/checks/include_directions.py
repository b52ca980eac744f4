#!/usr/bin/env python3
"""Checks who includes whom: include_directions.py ROOT prints each wrong include and fails on any.

The rules are those of docs/architecture.md: the module stands on the C++ standard library alone and
knows nothing of the device, the device knows the module's platform side and its one public class,
and of the programs on top, the command line knows how to start the simulator, which knows nothing of
it.
"""

import pathlib
import re
import sys

STANDARD_HEADERS = set("""
algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
condition_variable coroutine deque exception execution filesystem format forward_list fstream
functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list
locale map memory memory_resource mutex new numbers numeric optional ostream queue random ranges
ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept
stop_token streambuf string string_view strstream syncstream system_error thread tuple type_traits
typeindex typeinfo unordered_map unordered_set utility valarray variant vector version
cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef
cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype
""".split())

PLUGIN = "VECamera/core/VECameraPlugin.h"

# What a folder's files may include of this repository, as path prefixes. The longest matching
# folder counts; files elsewhere (tests, fuzzers, benchmarks) are free.
ALLOWED = {
    "VECamera/runtime": ["VECamera/runtime/"],
    "VECamera/platform": ["VECamera/platform/", "VECamera/runtime/"],
    "VECamera/options": ["VECamera/options/", "VECamera/platform/", "VECamera/runtime/"],
    "VECamera/imaging": ["VECamera/imaging/", "VECamera/platform/", "VECamera/runtime/"],
    "VECamera/location": ["VECamera/location/", "VECamera/platform/", "VECamera/runtime/"],
    "VECamera/permissions": ["VECamera/permissions/", "VECamera/platform/", "VECamera/runtime/"],
    "VECamera/picker": [
        "VECamera/picker/", "VECamera/options/", "VECamera/platform/", "VECamera/runtime/"],
    "VECamera": ["VECamera/"],
    "device": ["device/", "VECamera/platform/", "VECamera/runtime/", PLUGIN],
    "simulator": ["simulator/", "device/", "VECamera/"],
    # The program starts the server, and knows no more of it.
    "apps": ["apps/", "device/", "VECamera/", "simulator/server/Server.h"],
}
# Below the plug-in's operations: these two know nothing of the class.
WITHOUT_PLUGIN = ("VECamera/runtime", "VECamera/platform")
OUR_FOLDERS = ("VECamera/", "device/", "simulator/", "apps/", "tests/", "bench/", "fuzz/")

INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>|(\S+))')
CONDITION = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b(.*)")
PORTABLE_NAME = re.compile(r"NDEBUG|__cpp_\w+|__has_include|defined|L|[\d]+L?")


def allowed_for(path):
    for folder in sorted(ALLOWED, key=len, reverse=True):
        if path.startswith(folder + "/"):
            prefixes = list(ALLOWED[folder])
            if path.startswith("VECamera/") and path.endswith(".cpp") and folder not in WITHOUT_PLUGIN:
                prefixes.append(PLUGIN)
            return prefixes
    return None


def complaint(root, path, line):
    """What is wrong with the line of the file, or None."""
    in_module = path.startswith("VECamera/")
    condition = CONDITION.match(line)
    if condition and in_module:
        odd = [name for name in re.findall(r"\w+", condition.group(1))
               if not PORTABLE_NAME.fullmatch(name)]
        return f"a condition on {odd[0]} in the module" if odd else None
    include = INCLUDE.match(line)
    if not include:
        return None
    quoted, angled, computed = include.groups()
    if computed:
        return f"a computed include: {computed}"
    name = quoted or angled
    if name.startswith(OUR_FOLDERS):
        if angled:
            return f"<{name}> is ours and stands in quotation marks"
        prefixes = allowed_for(path)
        if prefixes is not None and not name.startswith(tuple(prefixes)):
            return f'"{name}" must not be known here'
        return None
    if quoted and not (root / path).parent.joinpath(f"{name}.in").exists():
        return f'"{name}" does not start at the root of the repository'
    if in_module and name not in STANDARD_HEADERS:
        return f"<{name}> is no C++ standard header"
    return None


def check(root):
    found = []
    for folder in sorted({folder.split("/")[0] for folder in ALLOWED}):
        for file in sorted((root / folder).rglob("*")):
            if file.suffix not in (".h", ".cpp") or "node_modules" in file.parts:
                continue
            path = file.relative_to(root).as_posix()
            for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
                problem = complaint(root, path, line)
                if problem:
                    found.append(f"{path}:{number}: {problem}")
    return found


def main():
    root = pathlib.Path(sys.argv[1])
    if not (root / "VECamera").is_dir():
        sys.exit(f"{root} holds no VECamera folder")
    found = check(root)
    print("\n".join(found) or "Every include goes the right way.")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
