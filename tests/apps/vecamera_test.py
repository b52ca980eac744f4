#!/usr/bin/env python3
"""vecamera_test.py PROGRAM: the command line, from the outside."""

import base64
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.request
import xml.etree.ElementTree

PROGRAM = ""
TOOLS = pathlib.Path(__file__).resolve().parent / "tools"
COMPLETIONS = pathlib.Path(__file__).parents[2] / "apps" / "vecamera" / "completions"
COMMANDS = [["run"], ["test"], ["take"], ["library"], ["library", "add"], ["library", "list"],
            ["library", "export"], ["library", "clear"], ["demo"], ["scene"], ["serve"],
            ["completion"]]


def jpeg_sides(data):
    """Width and height as stored, from the frame header."""
    at = 2
    while data[at + 1] not in range(0xC0, 0xC3):
        at += 2 + int.from_bytes(data[at + 2:at + 4], "big")
    return (int.from_bytes(data[at + 7:at + 9], "big"), int.from_bytes(data[at + 5:at + 7], "big"))


class CommandLine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scenes = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scenes.cleanup)
        cls.photo = pathlib.Path(scenes.name, "photo.jpg")
        subprocess.run([PROGRAM, "scene", cls.photo, "--size", "64x48"], check=True)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def call(self, *arguments, status=0, text=""):
        """Standard output and standard error of a call that must end with the status."""
        done = subprocess.run([PROGRAM, *map(str, arguments)], input=text, cwd=self.folder,
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, status, f"{arguments}\n{done.stdout}\n{done.stderr}")
        return done.stdout, done.stderr

    def take(self, *options):
        """The result that the page gets."""
        out, _ = self.call("take", self.photo, *options)
        answer = json.loads(out)
        self.assertEqual((answer["event"], answer["result"]), ("answer", "success"))
        return answer["data"]["callbackURI"]


class Usage(CommandLine):
    def test_wrong_usage_is_reported_in_one_line_and_does_nothing(self):
        (self.folder / "note.txt").write_text("no picture", encoding="utf-8")
        cases = [
            ([], "subcommand is required"),
            (["fly"], "unknown command \"fly\"; known here: \"run\""),
            (["library", "lst", "--home", "h"], "unknown command \"lst\"; did you mean \"list\"?"),
            (["take", "--qualty"], "unknown option \"--qualty\"; did you mean \"--quality\"?"),
            (["run", "a.json", "b.json"], "b.json"),
            (["run"], "SCRIPT is required"),
            (["run", "none.json"], "none.json: there is no such file"),
            (["run", "x.json", "--limit", "0"], "--limit"),
            (["run", "x.json", "--limit", "nan"], "--limit"),
            (["test"], "FLOW is required"),
            (["test", "x.json", "--distance", "65"], "--distance"),
            (["test", "x.json", "--distance", "-1"], "--distance"),
            (["test", "."], "there is no device script with steps in this folder"),
            (["take"], "FILE is required"),
            (["take", "none.jpg"], "none.jpg: there is no such file"),
            (["take", "."], ".: it is a folder"),
            (["take", "note.txt"], "note.txt: it is no picture"),
            (["take", "note.txt", "--quality", "fine"], "--quality"),
            (["take", "note.txt", "--size", "640"], "write it as WIDTHxHEIGHT"),
            (["take", "note.txt", "--size", "0x5"], "write it as WIDTHxHEIGHT"),
            (["take", "note.txt", "--edit", "1,2,3"], "write it as X,Y,WIDTH,HEIGHT"),
            (["take", "note.txt", "--location", "91,0"], "write it as LAT,LON[,ALT]"),
            (["take", "note.txt", "--destination", "file"], "data-url|file-uri|native-uri"),
            (["library", "list"], "--home is required"),
            (["library", "list", "--home", "none"], "none: there is no photo library"),
            (["library", "add", "none.jpg", "--home", "h"], "none.jpg: there is no such file"),
            (["library", "export", "--home", "h"], "--to is required"),
            (["scene", "a.jpg", "--orientation", "9"], "--orientation"),
            (["scene", "a.jpg", "--size", "1.5x2"], "--size"),
            (["serve", "--app", "none"], "none: it is no folder"),
            (["serve", "--app", "localhost:5173"], "is written http://localhost:5173"),
            (["serve", "--app", "https://localhost"], "start it with http"),
            (["serve", "--app", "http://10.0.0.1:1"], "--allow-remote-app"),
            (["serve", "--app", "http://localhost:1", "--spa"], "--spa is for a folder"),
            (["serve", "--spa"], "--spa needs the folder"),
            (["serve", "--device", "note.txt"], "note.txt: line 1"),
            (["serve", "--record", "none/flow.json"], "none/flow.json: its folder"),
            (["serve", "--record", "."], ".: it is a folder"),
            (["serve", "--port", "65536"], "--port"),
            (["completion", "fish"], "fish"),
        ]
        for arguments, expected in cases:
            with self.subTest(arguments=arguments):
                out, err = self.call(*arguments, status=2)
                self.assertEqual(out, "")
                self.assertIn(expected, err)
                self.assertEqual(err.count("\n"), 1, err)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["note.txt"])

    def test_the_help_of_each_command_shows_an_example(self):
        for command in COMMANDS:
            out, _ = self.call(*command, "--help")
            self.assertIn("\n  vecamera " + command[0], out)

    def test_the_version_is_printed(self):
        self.assertRegex(self.call("--version")[0], r"^vecamera \d+\.\d+\.\d+\n$")

    def test_completions_know_every_option_that_the_help_knows(self):
        for shell, name in (("bash", "vecamera.bash"), ("zsh", "_vecamera")):
            completion, _ = self.call("completion", shell)
            self.assertEqual(completion, (COMPLETIONS / name).read_text(encoding="utf-8"))
            for command in COMMANDS:
                for option in re.findall(r"--[a-z-]+", self.call(*command, "--help")[0]):
                    self.assertIn(option, completion, f"{shell}: {command}")

    def test_the_completion_for_bash_completes(self):
        script = ('source "$0"; COMP_WORDS=(vecamera take x --destination f); COMP_CWORD=4; '
                  '_vecamera; echo "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-c", script, COMPLETIONS / "vecamera.bash"],
                              capture_output=True, text=True, check=True)
        self.assertEqual(done.stdout, "file-uri\n")


class Test(CommandLine):
    """A flow of one upright photo as a file, of the best quality."""

    ARGUMENTS = [100, 1, 1, None, None, 0, 0, False, True]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.large = cls.photo.with_name("large.jpg")
        subprocess.run([PROGRAM, "scene", cls.large, "--size", "400x300", "--orientation", "6"],
                       check=True)

    def write_flow(self, arguments=None, name="flow.json", photo=None, steps=()):
        script = {"steps": [
            {"do": "files"},
            {"do": "takePicture", "as": "page", "arguments": arguments or self.ARGUMENTS},
            {"do": "capture", "photo": str(photo or self.large)}, *steps]}
        path = self.folder / name
        path.write_text(json.dumps(script), encoding="utf-8")
        return path

    def test_a_flow_passes_until_the_page_makes_a_mistake(self):
        self.write_flow()
        self.call("test", "--update", "flow.json")
        self.assertEqual(self.call("test", "flow.json")[0],
                         "flow.json: passed\n1 flow: 1 passed, 0 failed\n")
        at = "flow.json: step 2 (capture): answer to \"page\": "
        mistakes = {
            "quality 0": ([0, 1, 1, None, None, 0, 0, False, True],
                          r"media\.bytes: expected about \d+, came \d+"),
            "not upright": ([100, 1, 1, None, None, 0, 0, False, False],
                            r"media\.width: expected 400, came 300"),
            "50 by 50": ([100, 1, 1, 50, 50, 0, 0, False, True], r"media\.width: expected 400, came 50"),
            "data URL": ([100, 0, 1, None, None, 0, 0, False, True],
                         r'data\.callbackURI: expected "[^"]*<tmp>/velmora_photo_<time 1>\.jpg", '
                         r'came "data:image/jpeg;base64,<base64>"'),
        }
        for mistake, (arguments, message) in mistakes.items():
            with self.subTest(mistake):
                self.write_flow(arguments)
                out, _ = self.call("test", "flow.json", status=1)
                self.assertRegex(out, re.escape(at) + message)
                self.assertTrue(out.endswith("1 flow: 0 passed, 1 failed\n"), out)

    def test_another_photo_fails_and_the_distance_can_be_chosen(self):
        self.write_flow(photo=self.large)
        self.call("test", "--update", "flow.json")
        other = self.folder / "other.jpg"
        self.call("scene", other, "--size", "300x400")
        self.write_flow(photo=other)
        out, _ = self.call("test", "flow.json", "--distance", "8", status=1)
        self.assertRegex(out, r"media\.perceptualHash: another picture: \d+ of 64 bits differ, and at most 8")
        self.assertNotIn("perceptualHash",
                         self.call("test", "flow.json", "--distance", "64", status=1)[0])

    def test_what_is_missing_or_broken_never_passes(self):
        self.write_flow()
        out, _ = self.call("test", "flow.json", status=1)
        self.assertIn("there is no expectation flow.expected; write it with --update", out)
        (self.folder / "flow.expected").write_text("{}", encoding="utf-8")
        self.assertIn("flow.expected: line 1",
                      self.call("test", "flow.json", status=2)[1])
        self.assertIn("flow.expected: it is an expectation",
                      self.call("test", "flow.expected", status=2)[1])
        (self.folder / "flow.json").unlink()
        self.assertIn("flow.json: there is no such file",
                      self.call("test", "flow.json", status=2)[1])
        self.assertIn("there is no script flow.json for it", self.call("test", ".", status=2)[1])
        (self.folder / "none.json").write_text('{"steps": []}', encoding="utf-8")
        self.assertIn("it has no steps", self.call("test", "--update", "none.json", status=2)[1])

    def test_a_flow_that_cannot_be_played_to_its_end_fails_and_is_not_written(self):
        self.write_flow(steps=[{"do": "tap", "action": "OK"}])
        out, _ = self.call("test", "--update", "flow.json", status=1)
        self.assertIn("flow.json: step 3 (tap): it cannot be played: there is no alert on screen; "
                      "nothing is on screen", out)
        self.assertFalse((self.folder / "flow.expected").exists())

    def test_update_writes_where_something_differs(self):
        self.write_flow()
        self.assertIn("flow.expected: written", self.call("test", "--update", "flow.json")[0])
        expected = self.folder / "flow.expected"
        text = expected.read_text(encoding="utf-8")
        self.assertEqual([json.loads(line)["do"] for line in text.splitlines() if '"do"' in line],
                         ["files", "takePicture", "capture"])
        # As a person may have done it, who knows that the picture's length does not matter.
        edited = re.sub(r'"bytes":(\d+)', lambda match: '"bytes":' + str(int(match[1]) + 9), text)
        expected.write_text(edited, encoding="utf-8")
        self.assertNotIn("written", self.call("test", "--update", "flow.json")[0])
        self.assertEqual(expected.read_text(encoding="utf-8"), edited)
        self.write_flow([100, 1, 1, 50, 50])
        self.call("test", "--update", "flow.json")
        self.call("test", "flow.json")
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()),
                         ["flow.expected", "flow.json"])

    def test_a_folder_stands_for_its_flows(self):
        self.write_flow(name="a.json")
        self.write_flow([100, 0, 1], name="b.json")
        (self.folder / "package.json").write_text('{"name": "app"}', encoding="utf-8")
        self.call("test", "--update", ".")
        self.write_flow([100, 1, 1], name="b.json")
        out, _ = self.call("test", ".", "a.json", "--junit", "results.xml", status=1)
        self.assertTrue(out.endswith("2 flows: 1 passed, 1 failed\n"), out)
        suites = xml.etree.ElementTree.parse(self.folder / "results.xml").getroot()
        self.assertEqual((suites.get("tests"), suites.get("failures"), suites.get("errors")),
                         ("2", "1", "0"))
        passed, failed = suites.findall("testsuite/testcase")
        self.assertEqual([passed.get("name"), len(passed)], ["./a.json", 0])
        self.assertIn("./b.json: step 2 (capture): answer to \"page\"",
                      failed.find("failure").get("message"))
        self.assertIn("data.callbackURI", failed.find("failure").text)
        (self.folder / "c.json").write_text('{"steps": [', encoding="utf-8")
        self.assertIn("c.json: line 1", self.call("test", ".", status=2)[1])


class Run(CommandLine):
    def test_events_go_to_standard_output_one_a_line(self):
        script = {"steps": [{"do": "takePicture", "as": "a", "arguments": [50, 0, 1]},
                            {"do": "capture", "photo": str(self.photo)}]}
        (self.folder / "flow.json").write_text(json.dumps(script), encoding="utf-8")
        out, _ = self.call("run", "flow.json")
        events = [json.loads(line) for line in out.splitlines()]
        self.assertIn("present", [event["event"] for event in events])
        self.assertEqual([event["to"] for event in events if event["event"] == "answer"], ["a"])

    def test_standard_input_is_relative_to_the_working_folder(self):
        (self.folder / "p.jpg").write_bytes(self.photo.read_bytes())
        out, _ = self.call("run", "-", text=json.dumps({"steps": [
            {"do": "takePicture", "as": "a"}, {"do": "capture", "photo": "p.jpg"}]}))
        self.assertIn('"answer"', out)

    def test_a_step_that_cannot_be_played_is_the_last_line(self):
        out, _ = self.call("run", "-", status=1, text='{"steps": [{"do": "files"}, {"do": "cancel"}, '
                                                      '{"do": "files"}]}')
        last = json.loads(out.splitlines()[-1])
        self.assertEqual((last["event"], last["step"]), ("failed", 1))
        self.assertEqual(len(out.splitlines()), 2)

    def test_what_is_no_script_is_reported_with_its_place(self):
        out, err = self.call("run", "-", status=2,
                             text='{"steps": [{"do": "files"}, {"do": "capture", "photo": "x.jpg"}]}')
        self.assertEqual(out, "")
        self.assertIn("standard input: steps[1].photo: there is no file \"x.jpg\" in "
                      f"{self.folder.resolve()}", err)


class Take(CommandLine):
    def test_the_output_holds_the_bytes_of_a_data_url(self):
        prefix, text = self.take("--destination", "data-url", "--output", "o.jpg").split(",")
        self.assertEqual(prefix, "data:image/jpeg;base64")
        self.assertEqual((self.folder / "o.jpg").read_bytes(), base64.b64decode(text))

    def test_the_output_holds_the_bytes_of_a_file(self):
        self.take("--destination", "file-uri", "--encoding", "png", "--output", "plain.png")
        self.assertTrue((self.folder / "plain.png").read_bytes().startswith(b"\x89PNG"))
        self.take("--destination", "file-uri", "--location", "-33.86,151.2,10", "--output", "o.jpg")
        self.assertEqual(jpeg_sides((self.folder / "o.jpg").read_bytes()), (64, 48))

    def test_the_output_holds_the_bytes_of_a_data_url_with_a_location(self):
        result = self.take("--destination", "data-url", "--location", "48.85,2.35", "--output",
                           "o.jpg")
        once = base64.b64decode(result["bytes"])
        self.assertEqual((self.folder / "o.jpg").read_bytes(), base64.b64decode(once))

    def test_the_output_holds_the_bytes_of_a_library_asset(self):
        self.take("--home", "phone", "--output", "o.png")
        self.call("library", "export", "--to", "copies", "--home", "phone")
        (copy,) = (self.folder / "copies").iterdir()
        self.assertEqual((self.folder / "o.png").read_bytes(), copy.read_bytes())

    def test_options_reach_the_command(self):
        self.take("--destination", "data-url", "--size", "32x32", "--output", "fitted.jpg")
        self.assertEqual(jpeg_sides((self.folder / "fitted.jpg").read_bytes()), (32, 24))
        self.take("--destination", "data-url", "--edit", "8,8,20,10", "--output", "cut.jpg")
        self.assertEqual(jpeg_sides((self.folder / "cut.jpg").read_bytes()), (20, 10))
        low = self.take("--destination", "data-url")
        self.assertGreater(len(self.take("--destination", "data-url", "--quality", "100")), len(low))

    def test_a_picture_can_come_from_a_library(self):
        for source in ("photo-library", "saved-photos"):
            with self.subTest(source):
                result = self.take("--source", source, "--home", source)
                listed = json.loads(
                    self.call("library", "list", "--json", "--home", source)[0].strip())
                self.assertIn(listed["id"].removesuffix("/L0/001"), result)
                self.assertEqual((listed["width"], listed["height"]), (64, 48))

    def test_a_home_keeps_the_file_and_without_one_it_is_said_to_go_away(self):
        path = self.take("--destination", "file-uri", "--home", "phone")
        self.assertTrue(pathlib.Path(path.removeprefix("file://")).is_file())
        _, err = self.call("take", self.photo, "--destination", "file-uri")
        self.assertIn("--home", err)
        _, err = self.call("take", self.photo, "--destination", "file-uri", "--output", "o.jpg")
        self.assertEqual(err, "")

    def movie(self):
        movie = self.folder / "clip.mov"
        if not movie.exists():
            self.call("scene", movie, "--seconds", "0.5", "--size", "120x160", "--orientation", "6")
        return movie

    def test_a_movie_comes_out_as_an_mpeg4_file_with_its_index_in_front(self):
        out, err = self.call("take", self.movie(), "--media", "video", "--destination", "file-uri",
                             "--output", "o.mp4")
        self.assertRegex(json.loads(out)["data"]["callbackURI"], "^file:///.*[.]mp4$")
        self.assertEqual(err, "", "no progress where nobody looks")
        data = (self.folder / "o.mp4").read_bytes()
        self.assertLess(data.index(b"moov"), data.index(b"mdat"))

    def test_a_movie_is_picked_from_a_library_and_saved_to_it(self):
        self.call("take", self.movie(), "--media", "all", "--source", "photo-library", "--home",
                  "phone", "--output", "o.mp4")
        listed = [json.loads(line) for line in
                  self.call("library", "list", "--json", "--home", "phone")[0].splitlines()]
        self.assertEqual([(asset["type"], asset["format"], asset["width"], asset["height"])
                          for asset in listed],
                         [("video", "mov", 120, 160), ("video", "mp4", 120, 160)])
        self.assertEqual((self.folder / "o.mp4").stat().st_size, listed[1]["bytes"])

    def test_the_media_must_be_what_is_asked_for(self):
        for file, options, why in [
                (self.photo, ["--media", "video"], "it is no movie that the device can open"),
                (self.movie(), [], "it is a movie; say so with --media video"),
                (self.movie(), ["--source", "saved-photos"], "it is a movie")]:
            out, err = self.call("take", file, *options, status=2)
            self.assertEqual(out, "")
            self.assertIn(why, err)

    def test_an_error_is_answered_and_printed(self):
        self.call("take", self.movie(), "--media", "video", "--output", "whole.mp4")
        whole = (self.folder / "whole.mp4").read_bytes()
        (self.folder / "cut.mp4").write_bytes(whole[:len(whole) * 2 // 3])
        out, err = self.call("take", "cut.mp4", "--media", "video", status=1)
        self.assertEqual(json.loads(out)["result"], "error")
        self.assertRegex(err, "export failed: ")
        self.assertIn("vecamera: the command was answered with an error: "
                      "FAIL_TAKE_PICTURE: Fail take picture", err)

    def test_the_reason_of_an_open_command_is_printed(self):
        out, err = self.call("take", self.photo, "--destination", "file-uri", "--encoding", "png",
                             "--location", "1,2", status=1)
        self.assertEqual(out, "")
        self.assertRegex(err, "^vecamera: the command was not answered: .*location")

    def test_an_output_that_cannot_be_written_is_named(self):
        _, err = self.call("take", self.photo, "--destination", "data-url", "--output", "no/o.jpg",
                           status=1)
        self.assertIn("no/o.jpg: it cannot be written", err)


class Library(CommandLine):
    def add(self, *files, status=0):
        out, err = self.call("library", "add", *files, "--home", "phone", status=status)
        return out.split(), err

    def listed(self):
        out, _ = self.call("library", "list", "--json", "--home", "phone")
        return [json.loads(line) for line in out.splitlines()]

    def test_added_pictures_are_listed_and_come_out_as_they_went_in(self):
        ids, _ = self.add(self.photo, self.photo)
        self.assertEqual([asset["id"] for asset in self.listed()], ids)
        table, _ = self.call("library", "--home", "phone", "list")
        self.assertEqual(len(table.splitlines()), 3)
        out, _ = self.call("library", "export", ids[1], "--to", "copies", "--home", "phone")
        copy = self.folder / out.strip()
        self.assertEqual(copy.read_bytes(), self.photo.read_bytes())

    def test_a_file_that_is_no_picture_does_not_keep_the_others_out(self):
        note = self.folder / "note.txt"
        note.write_text("no picture", encoding="utf-8")
        ids, err = self.add(note, self.photo, status=1)
        self.assertEqual(len(ids), 1)
        self.assertIn("note.txt", err)
        self.assertEqual(len(self.listed()), 1)

    def test_an_export_replaces_files_only_by_force(self):
        self.add(self.photo)
        name, _ = self.call("library", "export", "--to", "copies", "--home", "phone")
        copy = self.folder / name.strip()
        copy.write_bytes(b"mine")
        _, err = self.call("library", "export", "--to", "copies", "--home", "phone", status=1)
        self.assertIn("--force", err)
        self.assertEqual(copy.read_bytes(), b"mine")
        self.call("library", "export", "--to", "copies", "--force", "--home", "phone")
        self.assertEqual(copy.read_bytes(), self.photo.read_bytes())

    def test_an_unknown_identifier_is_named(self):
        self.add(self.photo)
        _, err = self.call("library", "export", "nobody", "--to", "c", "--home", "phone", status=1)
        self.assertIn("nobody", err)

    def test_clearing_wants_a_yes(self):
        self.add(self.photo)
        _, err = self.call("library", "clear", "--home", "phone", status=2)
        self.assertIn("--yes", err)
        self.assertEqual(len(self.listed()), 1)
        self.call("library", "clear", "--yes", "--home", "phone")
        self.assertEqual(self.listed(), [])


class Scenes(CommandLine):
    def test_a_scene_has_the_size_as_seen_and_is_always_the_same(self):
        for name in ("a.jpg", "b.jpg"):
            self.call("scene", name, "--size", "40x30", "--orientation", "6")
        scene = (self.folder / "a.jpg").read_bytes()
        self.assertEqual(jpeg_sides(scene), (30, 40))
        self.assertEqual(scene, (self.folder / "b.jpg").read_bytes())

    def test_the_demo_leaves_the_picture_before_and_after(self):
        out, err = self.call("demo", "steps")
        for line in out.splitlines():
            self.assertIn("event", json.loads(line))
        after = (self.folder / "steps" / "after.jpg").read_bytes()
        self.assertEqual(jpeg_sides((self.folder / "steps" / "before.jpg").read_bytes()),
                         (1600, 1200))
        self.assertEqual(jpeg_sides(after), (360, 480))
        self.assertIn(str(self.folder.resolve() / "steps" / "after.jpg"), err)


class Serve(CommandLine):
    def test_it_serves_as_soon_as_the_address_is_printed_and_ends_cleanly(self):
        with subprocess.Popen([PROGRAM, "serve"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              text=True, cwd=self.folder) as server:
            try:
                address = server.stdout.readline().strip()
                self.assertRegex(address, r"^http://127\.0\.0\.1:\d+/[0-9a-f]{32}/$")
                # The machine's proxy does not know this one.
                direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))
                with direct.open(address) as page:
                    self.assertEqual(page.status, 200)
            finally:
                server.send_signal(signal.SIGINT)
            self.assertEqual(server.stdout.read(), "")
            self.assertEqual(server.wait(), 0)

    def test_it_prints_its_address_for_programs(self):
        with subprocess.Popen([PROGRAM, "serve", "--json"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              text=True, cwd=self.folder) as server:
            try:
                line = json.loads(server.stdout.readline())
                self.assertEqual(line["pid"], server.pid)
                self.assertRegex(line["address"], rf"^http://127\.0\.0\.1:{line['port']}/[0-9a-f]{{32}}/$")
                direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))
                with direct.open(urllib.request.Request(line["address"] + "session", method="POST")) as made:
                    session = json.load(made)
                self.assertEqual(session["appOrigin"], f"http://127.0.0.1:{line['appPort']}")
                self.assertEqual(session["version"], line["version"])
            finally:
                server.send_signal(signal.SIGINT)
            self.assertEqual(server.wait(), 0)

    def test_it_opens_the_browser_without_telling_the_secret_to_other_users(self):
        shown = self.folder / "shown"
        os.mkfifo(shown)
        held = self.folder / "held"
        environment = dict(os.environ, PATH=f"{TOOLS}:{os.environ['PATH']}", SHOWN=shown, HELD=held)
        with subprocess.Popen([PROGRAM, "serve", "--open"], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              cwd=self.folder, env=environment) as server:
            try:
                address = server.stdout.readline().strip()
                page, mode, text = shown.read_text().split("\n", 2)
                session, *files = held.read_text().splitlines()
            finally:
                server.send_signal(signal.SIGINT)
            self.assertEqual(server.wait(), 0)
        secret = address.split("/")[-2]
        self.assertNotIn(secret, page)
        self.assertEqual(mode, "600")
        self.assertIn(address, text)
        self.assertFalse(pathlib.Path(page).exists())
        self.assertNotEqual(int(session), os.getsid(0), "Ctrl-C does not reach it")
        self.assertEqual([file for file in files if file.startswith("socket:")], [],
                         "it would keep the port")


if __name__ == "__main__":
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
