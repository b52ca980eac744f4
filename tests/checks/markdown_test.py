#!/usr/bin/env python3
"""The Markdown check finds lines that wrap late or early, and leaves alone what is not prose."""

import sys
import unittest

sys.dont_write_bytecode = True
import markdown

FULL = "a" * 54 + " " + "b" * 55
GOOD = [
    FULL + "\nc",
    "- " + "a" * 107 + "\n  bc",
    "short\n\nshort",
    "short\n- item\n- item\n1. item",
    "# short\nshort\n| a |\n| b |",
    "```sh\nshort\n" + "long " * 30 + "\n```\nshort",
    "| " + "cell " * 30 + "|",
    "a" * 120,
    "a" * 100 + "\n`code of several words` and more",
]
BAD = [
    (FULL + " c\n", 1, "112 columns"),
    ("- item\n  goes on", 1, "breaks early"),
    ("short\n`code of` more", 1, "breaks early"),
    ("```\ncode\n```\nshort\nshort", 4, "breaks early"),
]


class Markdown(unittest.TestCase):
    def test_prose_that_fills_its_lines_passes_and_so_does_what_is_no_prose(self):
        for text in GOOD:
            with self.subTest(text=text):
                self.assertEqual(markdown.complaints(text), [])

    def test_a_line_that_wraps_late_or_early_is_named(self):
        for text, number, what in BAD:
            with self.subTest(text=text):
                self.assertEqual(markdown.complaints(text), [(number, what)])


if __name__ == "__main__":
    unittest.main()
