#!/usr/bin/env python3
"""Checks who includes whom: include_directions.py ROOT prints each wrong include and fails on any.

ROOMS below is the one table of the rooms (folders) and of what each stands on. A file may include its
own room, the rooms that its room stands on, and what those stand on in turn. docs/architecture.md
shows the same table; it is compared with this one. Tests and benchmarks are free; any other folder with
sources has to be in the table.

The module stands on the C++ standard library alone. The device's public headers, which
device/CMakeLists.txt lists, include the standard library and public headers only.
"""

import pathlib
import re
import sys

PLUGIN = "VECamera/core/VECameraPlugin.h"
SERVER = "simulator/server/Server.h"

# A room, or a single header of a room that is all that others may know of it.
ROOMS = {
    "VECamera/runtime": [],
    "VECamera/platform": ["VECamera/runtime"],
    "VECamera/options": ["VECamera/platform"],
    "VECamera/imaging": ["VECamera/platform"],
    "VECamera/location": ["VECamera/platform"],
    "VECamera/picker": ["VECamera/options"],
    "VECamera/permissions": ["VECamera/platform"],
    "VECamera/result": ["VECamera/options", "VECamera/imaging"],
    "VECamera/core": ["VECamera/picker", "VECamera/result", "VECamera/location",
                      "VECamera/permissions"],
    "device/base": [],
    "device/foundation": ["device/base", "VECamera/platform"],
    "device/imaging/base": ["device/base", "VECamera/platform"],
    "device/imaging/resample": ["device/imaging/base"],
    "device/imaging/jpeg": ["device/imaging/resample"],
    "device/imaging/png": ["device/imaging/base"],
    "device/imaging/codecs": ["device/imaging/jpeg", "device/imaging/png"],
    "device/imaging/comparison": ["device/imaging/codecs"],
    "device/imaging/metadata": ["device/imaging/codecs"],
    "device/imaging/pipeline": ["device/imaging/metadata"],
    "device/imaging/platform": ["device/imaging/pipeline"],
    "device/photos": ["device/foundation"],
    "device/container": ["device/base", "VECamera/platform", PLUGIN],
    "device/screen": ["device/container"],
    "device/camera": ["device/imaging/platform"],
    "device/location": ["device/screen"],
    "device/media/base": ["device/foundation"],
    "device/media/ffmpeg": ["device/media/base", "device/imaging/platform"],
    "device/media/transcode": ["device/media/ffmpeg"],
    "device/media": ["device/media/transcode", "device/imaging/comparison"],
    "device/script/json": ["device/foundation"],
    "device/script/script": ["device/script/json", "device/location"],
    "device/script/assembly": ["device/script/script", "device/media", "device/photos",
                               "device/camera"],
    "device/script/play": ["device/script/assembly"],
    "device/script/expectation": ["device/script/play"],
    "simulator/server/base": ["device/script/json"],
    "simulator/server/http": ["simulator/server/base", "device/imaging/codecs", "device/media/base"],
    "simulator/server/model": ["simulator/server/base", "device/script/script", "VECamera/result"],
    "simulator/server/phone": ["simulator/server/http", "simulator/server/model",
                               "device/script/play"],
    "simulator/server/sites": ["simulator/server/phone"],
    "simulator/server": ["simulator/server/sites"],
    "apps/vecamera/terminal": ["device/script/script"],
    "apps/vecamera/commands": ["apps/vecamera/terminal", "device/script/expectation",
                               "VECamera/options", SERVER],
    "apps/vecamera": ["apps/vecamera/commands"],
    "ios": ["VECamera/core"],
}

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

# What stands on everything; and examples, which are built against an installed module alone.
FREE_FOLDERS = {"tests", "bench", "examples"}
OUR_FOLDERS = tuple(f"{folder}/" for folder in
                    {room.partition("/")[0] for room in ROOMS} | FREE_FOLDERS)
# What an app includes, by names alone: its search path is this folder.
APP_HEADERS = "ios/Sources/include/"

INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s+(?:"([^"]+)"|<([^>]+)>|(\S+))')
CONDITION = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b(.*)")
PORTABLE_NAME = re.compile(r"NDEBUG|__cpp_\w+|__has_include|defined|L|[\d]+L?")
PUBLIC_HEADER = re.compile(r"^\s+([\w/]+\.h)\)?$", re.MULTILINE)
DOCUMENTED_ROOM = re.compile(r"^\| `([\w/]+)/` \|[^|]*\|([^|]*)\|$", re.MULTILINE)


def room_of(path):
    """The innermost room that holds the file, or None."""
    folder = path.rsplit("/", 1)[0]
    while folder and folder not in ROOMS:
        folder = folder.rpartition("/")[0]
    return folder or None


def reach(room):
    """The room and all that it stands on, in turn."""
    reached, pending = set(), [room]
    while pending:
        name = pending.pop()
        if name not in reached:
            reached.add(name)
            pending += ROOMS.get(name, [])
    return reached


def complaint(root, path, line, public):
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
        reached = reach(room_of(path))
        if room_of(name) not in reached and name not in reached:
            return f'"{name}" must not be known here'
        if path in public and name.startswith("device/") and name not in public:
            return f'"{name}" is private, and this header is public'
        return None
    beside = (root / path).parent
    if quoted and path.startswith(APP_HEADERS) and (beside / name).exists():
        return None
    if quoted and not (beside / f"{name}.in").exists():
        return f'"{name}" does not start at the root of the repository'
    if (in_module or path in public) and name not in STANDARD_HEADERS:
        return f"<{name}> is no C++ standard header"
    return None


def public_headers(root):
    """The device's headers that hosts get, as device/CMakeLists.txt lists them."""
    lists = root / "device" / "CMakeLists.txt"
    if not lists.exists():
        return set()
    return {f"device/{name}" for name in PUBLIC_HEADER.findall(lists.read_text(encoding="utf-8"))}


def check_sources(root):
    found = []
    public = public_headers(root)
    for folder in sorted(root.iterdir()):
        if folder.name in FREE_FOLDERS | {"build"} or folder.name.startswith("."):
            continue
        for file in sorted(folder.rglob("*")):
            if file.suffix not in (".h", ".cpp", ".m", ".mm") or "node_modules" in file.parts:
                continue
            path = file.relative_to(root).as_posix()
            if room_of(path) is None:
                found.append(f"{path}:1: the folder is no room of the table")
                continue
            for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
                problem = complaint(root, path, line, public)
                if problem:
                    found.append(f"{path}:{number}: {problem}")
    return found


def check_rooms(root):
    """The rooms of the table that hold no sources."""
    return [f"{room}/: the table has this room, and it holds no sources" for room in ROOMS
            if not any((root / room).rglob("*.h")) and not any((root / room).rglob("*.cpp"))]


def check_document(text):
    """What docs/architecture.md says otherwise than ROOMS."""
    documented = {room: re.findall(r"`([\w/.]+?)/?`", stands_on)
                  for room, stands_on in DOCUMENTED_ROOM.findall(text)}
    found = [f"docs/architecture.md: no room {room}/" for room in ROOMS if room not in documented]
    for room, stands_on in documented.items():
        if room not in ROOMS:
            found.append(f"docs/architecture.md: {room}/ is no room of the table")
        elif sorted(stands_on) != sorted(ROOMS[room]):
            found.append(f"docs/architecture.md: {room}/ stands on {', '.join(ROOMS[room]) or '-'}")
    return found


def main():
    root = pathlib.Path(sys.argv[1])
    if not (root / "VECamera").is_dir():
        sys.exit(f"{root} holds no VECamera folder")
    document = (root / "docs" / "architecture.md").read_text(encoding="utf-8")
    found = check_sources(root) + check_rooms(root) + check_document(document)
    print("\n".join(found) or "Every include goes the right way.")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
