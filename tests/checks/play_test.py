#!/usr/bin/env python3
"""The player of scenario tests passes what is right and fails on each kind of fault."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

PLAYER = pathlib.Path(__file__).parent.parent / "scenarios" / "play.py"

PROGRAM = pathlib.Path(__file__).parent / "program.sh"


class Play(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.script = pathlib.Path(folder.name, "case.json")
        self.expected = self.script.with_suffix(".expected")

    def play(self, script, expected, *options):
        self.script.write_text(script, encoding="utf-8")
        if expected is not None:
            self.expected.write_text(expected, encoding="utf-8")
        done = subprocess.run(
            [sys.executable, PLAYER, "--program", PROGRAM, *options, self.script],
            capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def test_what_matches_passes(self):
        cases = [
            ('print(\'{"event": "a", "n": 1}\')', '{"n": 1, "event": "a"}'),
            ('print(\'{"event": "a", "v": {"b": [1, "x1.jpg"]}}\')',
             '{"event": "a", "v": {"b": [1, "x<any>.jpg"]}}'),
            ('print(\'{"event": "a", "v": {"b": 1}}\')', '{"event": "a", "v": "<any>"}'),
            ('print(\'{"event": "a"}\'); exit(1)', '{"exit": 1}\n{"event": "a"}'),
            ("import sys; sys.exit('bad step 3')", '{"exit": 1, "stderr": "<any>step 3"}'),
            ('import time; print(\'{"event": "%d"}\' % time.perf_counter_ns())',
             '{"deterministic": false}\n{"event": "<any>"}'),
        ]
        for script, expected in cases:
            with self.subTest(expected=expected):
                status, output = self.play(script, expected)
                self.assertEqual(status, 0, output)

    def test_each_fault_fails(self):
        two = 'print(\'{"event": "a"}\'); print(\'{"event": "b"}\')'
        cases = [
            ("a line more", two, '{"event": "a"}'),
            ("a line less", two, '{"event": "a"}\n{"event": "b"}\n{"event": "c"}'),
            ("another order", two, '{"event": "b"}\n{"event": "a"}'),
            ("a key more", 'print(\'{"event": "a", "n": 1}\')', '{"event": "a"}'),
            ("a key less", 'print(\'{"event": "a"}\')', '{"event": "a", "n": "<any>"}'),
            ("true is not 1", 'print(\'{"event": "a", "n": true}\')', '{"event": "a", "n": 1}'),
            ("no JSON", 'print("noise")', '{"event": "a"}'),
            ("exit status", 'print(\'{"event": "a"}\'); exit(1)', '{"event": "a"}'),
            ("standard error", "import sys; sys.exit('x')", '{"exit": 1, "stderr": "y"}'),
            ("two plays differ", 'import os; print(\'{"event": "%s"}\' % os.environ["TZ"])',
             '{"event": "<any>"}'),
            ("unknown header", two, '{"exits": 1}'),
            ("nothing expected", two, None),
        ]
        for name, script, expected in cases:
            with self.subTest(name):
                self.assertNotEqual(self.play(script, expected)[0], 0)

    def test_the_difference_shows_only_what_differs(self):
        script = "for name in 'abc': print('{\"event\": \"%s\"}' % name)"
        _, output = self.play(script, '{"event": "a"}\n{"event": "x"}\n{"event": "c"}')
        for line in ['  {"event": "a"}', '- {"event": "x"}', '+ {"event": "b"}', '  {"event": "c"}']:
            self.assertIn(line, output.splitlines())

    def test_an_update_keeps_matching_lines_and_takes_the_rest(self):
        script = "for name in 'abc': print('{\"event\": \"%s\"}' % name)\nexit(1)"
        self.play(script, '{"deterministic": false}\n{"event": "<any>"}\n{"event": "x"}', "--update")
        self.assertEqual(
            self.expected.read_text(encoding="utf-8"),
            '{"exit": 1, "deterministic": false}\n'
            '{"event": "<any>"}\n{"event": "b"}\n{"event": "c"}\n')


if __name__ == "__main__":
    unittest.main()
