#!/usr/bin/env python3
"""Checks the declarations of the phone's frameworks against a table that somebody else made.

Usage: declarations.py [--declarations FOLDER] [--table FOLDER] [--compiler CLANG]

The phone's own headers cannot be had here, so tests/ios/declarations holds declarations that were
written by hand. The npm package @nativescript/types-ios was generated from those headers. Every
declaration is looked up in it: classes with their superclass, protocols, selectors with their number
of arguments, properties (read-only or not), functions, constants, and enumerators with their value.
What came after iOS 15, and what was deprecated until then, must be marked so, with the version.

The table has no types of arguments, and a few kinds of declarations are not in it. Those that are
needed all the same are listed below with the reason. An entry that is not needed any more fails.
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
FRAMEWORKS = ("AVFoundation CoreFoundation CoreGraphics CoreImage CoreLocation Darwin Dispatch "
              "Foundation ImageIO ObjectiveC Photos UIKit UniformTypeIdentifiers WebKit "
              "_DarwinFoundation1 _DarwinFoundation2 _DarwinFoundation3 _LocationEssentials").split()
MINIMUM = (15, 0)

# What the table leaves out, with the reason.
VARIADIC = "variadic"
C_ARRAY = "takes a C array"
INLINE = "an inline function"
NO_VALUE = "the table has the name alone, without the value"
NOT_IN_TABLE = {
    "NSString stringWithFormat:": VARIADIC,
    "NSLog": VARIADIC,
    "NSFastEnumeration countByEnumeratingWithState:objects:count:": C_ARRAY,
    "NSMakeRange": INLINE,
    "CFBridgingRetain": INLINE,
    "CFBridgingRelease": INLINE,
    "dispatch_get_main_queue": INLINE,
    "NSUTF8StringEncoding": NO_VALUE,
    "NSFileNoSuchFileError": NO_VALUE,
    "NSFileReadNoSuchFileError": NO_VALUE,
    "NSFileWriteUnknownError": NO_VALUE,
    "NSFileWriteFileExistsError": NO_VALUE,
    "NSFileWriteUnsupportedSchemeError": NO_VALUE,
    "NSFileWriteOutOfSpaceError": NO_VALUE,
    "NSUserCancelledError": NO_VALUE,
    "NSURLErrorUnsupportedURL": NO_VALUE,
}

IMPLEMENTS = re.compile(r" implements (.*) \{")
MEMBER = re.compile(r"\s+(static )?(readonly )?(\w+)\??(<[^(]*>)?(\(|:)")
GLOBAL = re.compile(r"declare (function|var|const|let) (\w+)(\(?)")
ENUMERATOR = re.compile(r"\s+(\w+) = (-?\d+),?$")
VERSION = re.compile(r"\* @(since|deprecated) ([\d.]+)")


def version(text):
    parts = [int(part) for part in text.split(".")]
    return tuple((parts + [0, 0])[:2])


def arguments_of(line):
    """The number of parameters in the first pair of parentheses of a line."""
    start = line.index("(")
    depth, commas, text = 0, 0, ""
    for character in line[start:].replace("=>", ""):
        depth += (character in "([{<") - (character in ")]}>")
        if depth == 0:
            break
        commas += character == "," and depth == 1
        text += character
    return commas + 1 if text.strip("( ") else 0


class Entry:
    """What the table says of one name."""

    def __init__(self, versions, kind, arguments=None, readonly=False, value=None):
        self.since = versions.get("since", (0, 0))
        self.deprecated = versions.get("deprecated", (100000, 0))
        self.kind, self.arguments, self.readonly, self.value = kind, arguments, readonly, value


class Table:
    """The classes, protocols, enumerations and global names of the frameworks."""

    def __init__(self, folder):
        self.types, self.enumerations, self.globals = {}, {}, {}
        for framework in FRAMEWORKS:
            self._read(folder / f"objc!{framework}.d.ts")

    def _read(self, path):
        versions, body, kind = {}, None, None
        for line in path.open(encoding="utf-8"):
            if found := VERSION.search(line):
                versions[found[1]] = version(found[2])
                continue
            if line.startswith(("declare class", "interface", "declare const enum")):
                words = re.findall(r"\w+", line)
                if line.startswith("declare const enum"):
                    kind, body = "enum", self.enumerations.setdefault(words[3], {})
                else:
                    kind = "class" if words[0] == "declare" else "protocol"
                    name = words[2] if kind == "class" else words[1]
                    head = Entry(versions, kind)
                    extended = re.search(r" extends (\w+)", re.sub(r"<[^>]*>", "", line, count=1))
                    head.superclass = extended[1] if extended else None
                    adopted = IMPLEMENTS.search(line)
                    head.bases = re.findall(r"(\w+)(?:<[^,]*>)?", adopted[1]) if adopted else []
                    body = {"": head}
                    self.types.setdefault((kind, name), body)
                    body = self.types[kind, name]
                body = None if line.rstrip().endswith("}") else body
            elif line.startswith("}"):
                body = None
            elif body is None and (found := GLOBAL.match(line)):
                arguments = arguments_of(line) if found[1] == "function" else None
                sort = "function" if found[1] == "function" else "constant"
                self.globals[found[2]] = Entry(versions, sort, arguments)
            elif body is not None and kind == "enum" and (found := ENUMERATOR.match(line)):
                body[found[1]] = Entry(versions, "enumerator", value=int(found[2]))
            elif body is not None and kind != "enum" and (found := MEMBER.match(line)):
                method = found[5] == "("
                body.setdefault((bool(found[1]), found[3]), Entry(
                    versions, "method" if method else "property",
                    arguments_of(line) if method else None, bool(found[2])))
            elif line.strip() in ("", "/**", "*/", "*"):
                continue
            versions = {}

    def member(self, owner, static, name):
        """The entry of a member of a class or protocol, or of what it inherits from."""
        waiting, seen = [owner], set()
        while waiting:
            key = waiting.pop(0)
            if key in seen or key not in self.types:
                continue
            seen.add(key)
            body = self.types[key]
            if (static, name) in body:
                return body[static, name]
            if body[""].superclass:
                waiting.append((key[0], body[""].superclass))
            waiting += [("protocol", base) for base in body[""].bases]
            waiting += [("class", "NSObject"), ("protocol", "NSObjectProtocol")]
        return None


class Checker:
    """Looks up what the compiler found in the declarations; `problems` says what is wrong."""

    def __init__(self, table, folder):
        self.table, self.folder = table, folder
        self.problems, self.count, self.excused = [], 0, set()
        self.file, self.line, self.place = "", 0, ""

    def walk(self, nodes):
        for node in nodes:
            self.locate(node)
            kind, name = node["kind"], node.get("name", "")
            if kind == "ObjCInterfaceDecl" and (superclass_of(node) or name == "NSObject"):
                self.type(node, "class", name)
            elif kind == "ObjCProtocolDecl" and node.get("inner"):
                self.type(node, "protocol", name)
            elif kind == "ObjCCategoryDecl":
                self.members(node, ("class", node["interface"]["name"]))
            elif kind == "FunctionDecl":
                arguments = sum(c["kind"] == "ParmVarDecl" for c in node.get("inner", []))
                self.look(node, name, self.table.globals.get(name), "function", arguments)
            elif kind == "VarDecl":
                self.look(node, name, self.table.globals.get(name), "constant")
            elif kind == "EnumDecl":
                self.enumeration(node, name)
            self.pass_over(node)

    def locate(self, node):
        """Follows the dump, which names a file or a line only where it changes."""
        self.follow(node.get("loc", {}))
        self.place = f"{pathlib.PurePath(*self.file.split('/../')[-1:])}:{self.line}"
        self.follow(node.get("range", {}))

    def follow(self, place):
        for key, value in place.items():
            if key == "file":
                self.file = value
            elif key == "line":
                self.line = value
            elif isinstance(value, dict) and key != "includedFrom":
                self.follow(value)

    def pass_over(self, node):
        for child in node.get("inner", []):
            self.locate(child)
            self.pass_over(child)

    def fail(self, name, text):
        self.problems.append(f"{self.place}: {name}: {text}")

    def look(self, node, name, entry, kind, arguments=None, readonly=None):
        """Compares one declaration with its entry in the table."""
        self.count += 1
        if entry is None:
            if name in NOT_IN_TABLE:
                self.excused.add(name)
            else:
                self.fail(name, f"no such {kind}")
            return
        if entry.kind != kind:
            self.fail(name, f"a {kind} here, a {entry.kind} in the table")
        elif entry.arguments != arguments:
            self.fail(name, f"{arguments} arguments, not {entry.arguments}")
        elif readonly is not None and entry.readonly != readonly:
            self.fail(name, "read-only here" if readonly else "read-only in the table")
        self.availability(node, name, entry)

    def availability(self, node, name, entry):
        marked = None
        for child in node.get("inner", []):
            if child["kind"] == "AvailabilityAttr":
                place = child["range"]["begin"]["expansionLoc"]
                text = (self.folder / place["file"]).read_bytes()[place["offset"]:].decode()
                marked = re.match(r"API_(AVAILABLE|DEPRECATED)\([^;]*?ios\(([\d., ]+)\)\)", text)
        versions = [version(v.strip()) for v in marked[2].split(",")] if marked else []
        expected = []
        if entry.deprecated <= MINIMUM:
            expected = [entry.since, entry.deprecated]
        elif entry.since > MINIMUM:
            expected = [entry.since]
        if versions != expected:
            self.fail(name, f"marked with the versions {versions}, which are {expected}")

    def type(self, node, kind, name):
        # A protocol that is called like a class has another name in the table.
        key = (kind, name)
        if kind == "protocol" and (kind, name + "Protocol") in self.table.types:
            key = (kind, name + "Protocol")
        entry = self.table.types.get(key, {}).get("")
        self.look(node, name, entry, kind)
        superclass = superclass_of(node)
        if entry and kind == "class" and entry.superclass != superclass:
            self.fail(name, f"derives from {superclass}, not from {entry.superclass}")
        self.members(node, key)

    def members(self, node, owner):
        for child in node.get("inner", []):
            self.locate(child)
            name = child.get("name", "")
            full = f"{owner[1]} {name}"
            if child["kind"] == "ObjCMethodDecl" and not child.get("isImplicit"):
                first, *rest = name.split(":")
                joined = first + "".join(part[:1].upper() + part[1:] for part in rest)
                entry = self.table.member(owner, not child["instance"], joined)
                self.look(child, full, entry, "method", name.count(":"))
            elif child["kind"] == "ObjCPropertyDecl":
                entry = self.table.member(owner, bool(child.get("class")), name)
                # The table does not say which properties of a protocol are read-only.
                readonly = bool(child.get("readonly")) if owner[0] == "class" else None
                self.look(child, full, entry, "property", readonly=readonly)
            self.pass_over(child)

    def enumeration(self, node, name):
        values, value = {}, -1
        for child in node.get("inner", []):
            if child["kind"] == "EnumConstantDecl":
                value = next(constants(child), value + 1)
                values[child["name"]] = (value, child)
        known = self.table.enumerations.get(name)
        if known is None and name:
            self.fail(name, "no such enumeration")
        # The table's enumerators lack a prefix that all of them share: the one that fits best.
        prefixes = {full[:end] for full in values for end in range(len(full))}
        prefix = max(sorted(prefixes, key=len), default="", key=lambda p: sum(
            full.startswith(p) and full[len(p):] in (known or {}) for full in values))
        for full, (value, child) in values.items():
            self.locate(child)
            if known is None:
                entry = self.table.globals.get(full)
                if entry and full in NOT_IN_TABLE:
                    self.count += 1
                    self.excused.add(full)
                    continue
            else:
                entry = known.get(full[len(prefix):]) if full.startswith(prefix) else None
            self.look(child, full, entry, "enumerator")
            if entry and entry.value != value:
                self.fail(full, f"is {value} here, {entry.value} in the table")


def superclass_of(node):
    """The name of a class's superclass; nothing where the class is only announced."""
    return (node.get("super") or {}).get("name")


def constants(node):
    """The value of an enumerator, where it has an expression."""
    for child in node.get("inner", []):
        if child["kind"] == "ConstantExpr":
            yield int(child["value"])
        else:
            yield from constants(child)


def dump(folder, compiler):
    """The syntax tree of all declarations, without the compiler's own."""
    result = subprocess.run(
        [compiler, "-target", "arm64-apple-ios15.0", "-x", "objective-c", "-std=gnu17", "-fblocks",
         "-fobjc-arc", "-ffreestanding", "-nostdlibinc", "-I.", "-fsyntax-only", "-Xclang",
         "-ast-dump=json", HERE / "all.m"], cwd=folder, capture_output=True, check=False)
    if result.returncode != 0:
        sys.exit(result.stderr.decode())
    return [n for n in json.loads(result.stdout)["inner"] if not n.get("isImplicit")]


def check(table, folder, compiler):
    """The checker after its work, with stale excuses among the problems."""
    checker = Checker(table, folder)
    checker.walk(dump(folder, compiler))
    for name in sorted(set(NOT_IN_TABLE) - checker.excused):
        checker.problems.append(f"{name}: listed as not in the table, and not needed")
    return checker


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--declarations", type=pathlib.Path, default=HERE.parent / "declarations")
    parser.add_argument("--table", type=pathlib.Path, default=HERE.parent / "node_modules")
    parser.add_argument("--compiler", default="clang-16")
    options = parser.parse_args()
    table = Table(options.table / "@nativescript/types-ios/lib/ios/objc-x86_64")
    checker = check(table, options.declarations.resolve(), options.compiler)
    print("\n".join(checker.problems))
    print(f"{checker.count} declarations, {len(checker.excused)} of them not in the table, "
          f"{len(checker.problems)} problems")
    return bool(checker.problems)


if __name__ == "__main__":
    sys.exit(main())
