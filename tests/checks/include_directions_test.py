#!/usr/bin/env python3
"""The include check finds each kind of wrong line, and nothing in what is right."""

import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import include_directions

GOOD = [
    ("VECamera/runtime/A.cpp", '#include "VECamera/runtime/A.h"'),
    ("VECamera/runtime/A.cpp", "#include <vector>"),
    ("VECamera/runtime/A.h", "#ifndef NDEBUG"),
    ("VECamera/runtime/A.h", "#if __cpp_lib_format >= 202110L"),
    ("VECamera/platform/A.h", '#include "VECamera/runtime/Task.h"'),
    ("VECamera/picker/A.h", '#include "VECamera/options/PictureOptions.h"'),
    ("VECamera/result/A.cpp", '#include "VECamera/imaging/Geometry.h"'),
    ("device/container/A.cpp", '#include "VECamera/core/VECameraPlugin.h"'),
    ("device/script/play/A.cpp", '#include "device/imaging/base/Bitmap.h"'),
    ("device/photos/A.cpp", "#include <sqlite3.h>"),
    ("device/photos/A.cpp", "#ifdef __linux__"),
    ("apps/vecamera/A.cpp", '#include "device/script/play/Player.h"'),
    ("VECamera/core/A.h", '// #include "device/script/play/Player.h"'),
    ("ios/A.mm", "#import <UIKit/UIKit.h>"),
    ("ios/A.mm", '#include "VECamera/runtime/Task.h"'),
    ("ios/Sources/include/A.h", '#import "A.h"'),
]

BAD = [
    ("VECamera/runtime/A.h", '#include "VECamera/platform/Value.h"'),
    ("VECamera/platform/A.h", '#include "VECamera/options/PictureOptions.h"'),
    ("VECamera/platform/A.cpp", '#include "VECamera/core/VECameraPlugin.h"'),
    ("VECamera/options/A.h", '#include "VECamera/core/VECameraPlugin.h"'),
    ("VECamera/options/A.cpp", '#include "VECamera/picker/CameraPicker.h"'),
    ("VECamera/location/A.cpp", '#include "VECamera/core/Other.h"'),
    ("device/container/A.cpp", '#include "VECamera/core/Other.h"'),
    ("device/photos/A.cpp", '#include "VECamera/core/VECameraPlugin.h"'),
    ("device/imaging/resample/A.h", '#include "device/imaging/jpeg/JpegReader.h"'),
    ("device/imaging/png/A.h", '#include "device/imaging/jpeg/JpegReader.h"'),
    ("VECamera/core/A.cpp", '#include "device/script/play/Player.h"'),
    ("VECamera/core/A.cpp", "  #  include <device/script/play/Player.h>"),
    ("VECamera/core/A.cpp", "#include <sqlite3.h>"),
    ("VECamera/core/A.cpp", "#include <unistd.h>"),
    ("VECamera/core/A.cpp", '#include "A.h"'),
    ("VECamera/core/A.cpp", "#include HEADER"),
    ("VECamera/core/A.cpp", "#ifdef _WIN32"),
    ("VECamera/core/A.cpp", "#if !defined(NDEBUG) && defined(__APPLE__)"),
    ("device/photos/A.cpp", '#include "VECamera/options/PictureOptions.h"'),
    ("device/photos/A.cpp", '#include "../imaging/Codec.h"'),
    ("device/photos/A.cpp", '#include "simulator/server/Server.h"'),
    ("simulator/server/A.cpp", '#include "apps/vecamera/Commands.h"'),
    ("apps/vecamera/A.cpp", '#include "simulator/server/phone/Phone.h"'),
    ("ios/A.mm", '#import "device/photos/PhotoLibrary.h"'),
    ("ios/A.cpp", '#include "tests/ios/runtime/MainQueue.h"'),
    ("ios/Sources/A.mm", '#import "A.mm"'),
    ("ios/Sources/include/A.h", '#import "B.h"'),
    ("VECamera/core/A.mm", "#import <UIKit/UIKit.h>"),
]


class IncludeDirections(unittest.TestCase):
    def found_in(self, path, line):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, path)
            file.parent.mkdir(parents=True)
            file.write_text(f"#pragma once\n{line}\n", encoding="utf-8")
            return include_directions.check_sources(pathlib.Path(folder))

    def test_right_lines_pass(self):
        for path, line in GOOD:
            with self.subTest(path=path, line=line):
                self.assertEqual(self.found_in(path, line), [])

    def test_a_header_that_the_build_makes_of_a_neighbour_passes(self):
        with tempfile.TemporaryDirectory() as folder:
            apps = pathlib.Path(folder, "apps", "vecamera")
            apps.mkdir(parents=True)
            (apps / "Made.h.in").touch()
            (apps / "main.cpp").write_text('#include "Made.h"\n', encoding="utf-8")
            self.assertEqual(include_directions.check_sources(pathlib.Path(folder)), [])

    def test_each_wrong_line_is_named_with_its_place(self):
        for path, line in BAD:
            with self.subTest(path=path, line=line):
                found = self.found_in(path, line)
                self.assertEqual(len(found), 1)
                self.assertTrue(found[0].startswith(f"{path}:2: "), found)

    def test_public_headers_know_neither_private_ones_nor_libraries(self):
        with tempfile.TemporaryDirectory() as folder:
            device = pathlib.Path(folder, "device")
            (device / "photos").mkdir(parents=True)
            (device / "CMakeLists.txt").write_text(
                "vecamera_room(photos PUBLIC\n  photos/Store.h\n  photos/Address.h)\n",
                encoding="utf-8")
            (device / "photos" / "Store.h").write_text(
                '#include "device/photos/Address.h"\n#include "device/photos/Database.h"\n'
                "#include <sqlite3.h>\n#include <vector>\n", encoding="utf-8")
            (device / "photos" / "Database.h").write_text("#include <sqlite3.h>\n", encoding="utf-8")
            self.assertEqual(include_directions.check_sources(pathlib.Path(folder)), [
                'device/photos/Store.h:2: "device/photos/Database.h" is private, and this header is '
                "public",
                "device/photos/Store.h:3: <sqlite3.h> is no C++ standard header"])

    def test_a_folder_outside_of_the_table_is_named(self):
        for path in "device/attic/A.h", "attic/A.mm":
            with self.subTest(path=path), tempfile.TemporaryDirectory() as folder:
                file = pathlib.Path(folder, path)
                file.parent.mkdir(parents=True)
                file.touch()
                self.assertEqual(include_directions.check_sources(pathlib.Path(folder)),
                                 [f"{path}:1: the folder is no room of the table"])

    def test_a_room_without_sources_is_named(self):
        with tempfile.TemporaryDirectory() as folder:
            for room in list(include_directions.ROOMS)[:-1]:
                pathlib.Path(folder, room).mkdir(parents=True, exist_ok=True)
                pathlib.Path(folder, room, "A.h").touch()
            self.assertEqual(include_directions.check_rooms(pathlib.Path(folder)),
                             ["ios/: the table has this room, and it holds no sources"])

    def test_the_document_says_what_the_table_says(self):
        rows = [f"| `{room}/` | what it is | {', '.join(f'`{name}`' for name in stands_on)} |"
                for room, stands_on in include_directions.ROOMS.items()]
        self.assertEqual(include_directions.check_document("\n".join(rows)), [])
        self.assertEqual(include_directions.check_document("\n".join(rows[1:])),
                         ["docs/architecture.md: no room VECamera/runtime/"])
        rows[0] = rows[0].replace("|  |", "| `device/base` |")
        self.assertEqual(include_directions.check_document("\n".join(rows)),
                         ["docs/architecture.md: VECamera/runtime/ stands on -"])


if __name__ == "__main__":
    unittest.main()
