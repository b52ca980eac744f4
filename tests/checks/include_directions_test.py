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
    ("VECamera/location/A.cpp", '#include "VECamera/core/VECameraPlugin.h"'),
    ("VECamera/result/A.cpp", '#include "VECamera/imaging/Geometry.h"'),
    ("device/photos/A.cpp", '#include "VECamera/core/VECameraPlugin.h"'),
    ("device/photos/A.cpp", "#include <sqlite3.h>"),
    ("device/photos/A.cpp", "#ifdef __linux__"),
    ("apps/vecamera/A.cpp", '#include "device/script/play/Player.h"'),
    ("VECamera/core/A.h", '// #include "device/script/play/Player.h"'),
]

BAD = [
    ("VECamera/runtime/A.h", '#include "VECamera/platform/Value.h"'),
    ("VECamera/platform/A.h", '#include "VECamera/options/PictureOptions.h"'),
    ("VECamera/platform/A.cpp", '#include "VECamera/core/VECameraPlugin.h"'),
    ("VECamera/options/A.h", '#include "VECamera/core/VECameraPlugin.h"'),
    ("VECamera/options/A.cpp", '#include "VECamera/picker/CameraPicker.h"'),
    ("VECamera/location/A.cpp", '#include "VECamera/core/Other.h"'),
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
]


class IncludeDirections(unittest.TestCase):
    def found_in(self, path, line):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, path)
            file.parent.mkdir(parents=True)
            file.write_text(f"#pragma once\n{line}\n", encoding="utf-8")
            return include_directions.check(pathlib.Path(folder))

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
            self.assertEqual(include_directions.check(pathlib.Path(folder)), [])

    def test_each_wrong_line_is_named_with_its_place(self):
        for path, line in BAD:
            with self.subTest(path=path, line=line):
                found = self.found_in(path, line)
                self.assertEqual(len(found), 1)
                self.assertTrue(found[0].startswith(f"{path}:2: "), found)


if __name__ == "__main__":
    unittest.main()
