#!/usr/bin/env python3
"""play_all.py lets calls of a location manager come late, and holds exceptions to what they are."""

import pathlib
import tempfile
import unittest

import play_all

PROGRAM = pathlib.Path(__file__).parents[2] / "checks" / "program.sh"


def events(*names):
    return [f'{{"event": "{name}"}}' for name in names]


class PlayAll(unittest.TestCase):
    def matches(self, expected, actual):
        pairs = play_all.aligned(events(*expected), events(*actual))
        return all(want is not None and got is not None for want, got in pairs)

    def test_calls_of_a_location_manager_come_late_and_not_too_late(self):
        self.assertTrue(self.matches(["location", "log", "present"], ["log", "location", "present"]))
        self.assertFalse(self.matches(["location", "present"], ["present", "location"]))
        self.assertFalse(self.matches(["location", "log"], ["log"]))
        self.assertFalse(self.matches(["log", "answer"], ["answer", "log"]))

    def faults(self, printed, exceptions):
        with tempfile.TemporaryDirectory() as folder:
            script = pathlib.Path(folder, "case.json")
            script.write_text(f"print('{events(printed)[0]}')", encoding="utf-8")
            script.with_suffix(".expected").write_text(events("device")[0], encoding="utf-8")
            own = pathlib.Path(folder, "expected")
            own.mkdir()
            (own / "case.expected").write_text(events("phone")[0], encoding="utf-8")
            play_all.HERE = pathlib.Path(folder)
            return play_all.faults(PROGRAM, script, exceptions)

    def test_an_exception_prints_what_is_expected_of_it_alone(self):
        self.assertFalse(self.faults("device", {}))
        self.assertFalse(self.faults("phone", {"case.json": "a reason"}))
        self.assertTrue(self.faults("phone", {}))
        self.assertTrue(self.faults("other", {"case.json": "a reason"}))
        self.assertTrue(self.faults("device", {"case.json": "a reason"}))


if __name__ == "__main__":
    unittest.main()
