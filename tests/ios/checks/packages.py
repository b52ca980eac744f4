#!/usr/bin/env python3
"""Checks what an app adds to use VECamera against the sources: packages.py [ROOT]

Package.swift and VECamera.podspec have to hold every source and show the same public headers, link the
frameworks whose names the sources use, and agree in language and system with what is compiled in
tests/ios. The privacy manifest has to declare the calls that need a reason, and the Info.plist the
permissions that the sources ask for; neither may declare more.
"""
import pathlib
import plistlib
import re
import sys

LIMITED_ACCESS = "PHPhotoLibraryPreventAutomaticLimitedAccessAlert"
# The key in the Info.plist, and what asks for that permission.
PERMISSIONS = {
    "NSCameraUsageDescription": r"AVMediaTypeVideo|UIImagePickerControllerSourceTypeCamera",
    "NSMicrophoneUsageDescription": r"cameraCaptureMode|AVMediaTypeAudio",
    "NSPhotoLibraryUsageDescription": r"PHPhotoLibrary",
    "NSPhotoLibraryAddUsageDescription": r"PHAssetCreationRequest|UIImageWriteToSavedPhotosAlbum",
    "NSLocationWhenInUseUsageDescription": r"requestWhenInUseAuthorization",
    "NSLocationAlwaysAndWhenInUseUsageDescription": r"requestAlwaysAuthorization",
}
# The category in the privacy manifest, what belongs to it, and the reasons that there are for it.
REASONS = {
    "FileTimestamp": (
        r"\b[fl]?stat(?:at)?\s*\(|\bf?getattrlist(?:at|bulk)?\b|NSFile(?:Creation|Modification)Date"
        r"|fileModificationDate|NSURL(?:ContentModification|Creation)DateKey",
        "DDA9.1 C617.1 3B52.1 0A2A.1"),
    "SystemBootTime": (r"systemUptime|mach_absolute_time", "35F9.1 8FFB.1 3D61.1"),
    "DiskSpace": (r"NSURLVolume\w*CapacityKey|NSURLVolumeAvailableCapacity\w+|NSFileSystem(?:Free)?Size"
                  r"|\bf?stat(?:v)?fs\b", "85F4.1 E174.1 7D9E.1 B728.1"),
    "ActiveKeyboards": (r"activeInputModes", "3EC4.1 54BD.1"),
    "UserDefaults": (r"NSUserDefaults", "CA92.1 1C8F.1 C56D.1 AC6B.1"),
}
CATEGORY = "NSPrivacyAccessedAPICategory"

COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
IMPORT = re.compile(r"#\s*(?:import|include)\s+<(\w+)/")
# What has to be linked: classes, functions and constants. A type or an enumerator has not.
LINKED = re.compile(r"@interface (\w+)(?!\w| \()|PLATFORM_EXTERN[^;]*?\b(\w+)\s*(?:\([^;]*)?"
                    r"(?:\s*API_\w+\([^;]*\))?;")
STRINGS = re.compile(r"[\"']((?:[^\"'\\]|\\.)*)[\"']")


def texts(root, pattern):
    """The files of a pattern, with their code but not their comments."""
    return {path.relative_to(root).as_posix(): COMMENT.sub("", path.read_text(encoding="utf-8"))
            for path in sorted(root.glob(pattern))}


class Target:
    """A target of Package.swift: its fields as text, and the files that it holds."""

    def __init__(self, root, text):
        self.root, self.text = root, text
        self.path = (self.strings("path") or [""])[0]
        self.excluded = {f"{self.path}/{name}" for name in self.strings("exclude")}

    def strings(self, field):
        found = re.search(rf'\b{field}: (\[[^\]]*\]|"[^"]*")', self.text)
        return re.findall(r'"([^"]*)"', found[1]) if found else []

    def calls(self, name):
        return re.findall(rf'\.{name}\("([^"]*)"\)', self.text)

    def files(self):
        folders = [f"{self.path}/{name}" for name in self.strings("sources")] or [self.path]
        return {file.relative_to(self.root).as_posix() for folder in folders
                for file in (self.root / folder).rglob("*.*")
                if file.name != "module.modulemap"} - self.excluded

    def public(self):
        """The folder with the headers for others, which every target has."""
        return self.root / self.path / (self.strings("publicHeadersPath") or ["include"])[0]

    def leftover(self):
        """What stands in the target's folder and belongs to nothing."""
        known = self.files() | self.excluded | {f"{self.path}/{name}" for name in self.calls("process")}
        return {file.relative_to(self.root).as_posix()
                for file in (self.root / self.path).rglob("*.*")
                if file.name != "module.modulemap"} - known


class Pod:
    """The podspec: each attribute as text, and the files of its patterns."""

    def __init__(self, root):
        self.root = root
        text = re.sub(r"^\s*#.*$", "", (root / "VECamera.podspec").read_text(), flags=re.MULTILINE)
        self.attributes = dict(re.findall(r"^  s\.([\w.]+) = (.*?)(?=^  s\.|^end)", text,
                                          re.MULTILINE | re.DOTALL))

    def strings(self, name):
        return [match[1] for match in re.finditer(r"'([^']*)'", self.attributes.get(name, ""))]

    def files(self, name):
        found = set()
        for pattern in self.strings(name):
            head, braces, endings = pattern.partition("{")
            for ending in endings.rstrip("}").split(",") if braces else [""]:
                found |= {file.relative_to(self.root).as_posix()
                          for file in self.root.glob(head + ending)}
        return found

    def setting(self, name):
        found = re.search(rf"'{name}' => '([^']*)'", self.attributes.get("pod_target_xcconfig", ""))
        return found[1] if found else None


class Checker:
    def __init__(self, root):
        self.root, self.problems = root, []
        package = COMMENT.sub("", (root / "Package.swift").read_text())
        self.targets = [Target(root, text) for text in package.split(".target(")[1:]]
        self.package, self.pod = package, Pod(root)
        self.host = texts(root, "ios/Sources/**/*.*")
        self.module = texts(root, "VECamera/**/*.h") | texts(root, "VECamera/**/*.cpp")
        self.code = "\n".join(self.host.values())

    def same(self, where, what, found, expected):
        """Two sets; each difference is a problem of its own."""
        for name in sorted(set(expected) - set(found)):
            self.problems.append(f"{where}: {what} {name} is missing")
        for name in sorted(set(found) - set(expected)):
            self.problems.append(f"{where}: {what} {name} is superfluous")

    def equal(self, where, what, found, expected):
        if found != expected:
            self.problems.append(f"{where}: {what} is {found}, not {expected}")

    def files(self):
        every = set(self.host) | set(self.module)
        headers = {name for name in every if name.endswith(".h")}
        public = {name for name in self.host if name.startswith("ios/Sources/include/")}
        self.same("Package.swift", "source", set().union(*(t.files() for t in self.targets)), every)
        self.same("VECamera.podspec", "source", self.pod.files("source_files"), every)
        for target in self.targets:
            for name in sorted(target.leftover()):
                self.problems.append(f"Package.swift: {name} is neither built nor excluded")
            for name in sorted(target.excluded):
                if not (self.root / name).exists():
                    self.problems.append(f"Package.swift: {name} is excluded and not there")
            searched = [(self.root / target.path / name).resolve()
                        for name in target.calls("headerSearchPath")]
            self.equal("Package.swift", f"the search path of {target.path}", searched,
                       [self.root.resolve()])
            if not target.public().is_dir():
                self.problems.append(f"Package.swift: {target.path} has no folder of public headers")
        shown = {file.relative_to(self.root).as_posix() for target in self.targets
                 for file in target.public().rglob("*.h")}
        self.same("Package.swift", "public header", shown, public)
        self.same("VECamera.podspec", "public header", self.pod.files("public_header_files"), public)
        # Two headers of one name may not be copied to one folder; those of a project are not copied.
        self.same("VECamera.podspec", "project header", self.pod.files("project_header_files"),
                  headers - public)

    def settings(self):
        built = (self.root / "tests/ios/CMakeLists.txt").read_text()
        systems = set(re.findall(r"-apple-ios([\d.]+)", built))
        standard = re.search(r"-std=c\+\+(\d+)", built)[1]
        version = re.search(r"project\(VECamera VERSION ([\d.]+)",
                            (self.root / "CMakeLists.txt").read_text())[1]
        system = re.search(r"\.iOS\(\.v(\d+)(?:_(\d+))?\)", self.package)
        self.equal("Package.swift", "the oldest iOS", {f"{system[1]}.{system[2] or 0}"}, systems)
        self.equal("VECamera.podspec", "the oldest iOS",
                   set(self.pod.strings("ios.deployment_target")), systems)
        swift_standard = re.search(r"cxxLanguageStandard: \.cxx(\d+)", self.package)
        self.equal("Package.swift", "C++", swift_standard and swift_standard[1], standard)
        for name, value in {"CLANG_CXX_LANGUAGE_STANDARD": f"c++{standard}",
                            "CLANG_CXX_LIBRARY": "libc++",
                            "HEADER_SEARCH_PATHS": '"$(PODS_TARGET_SRCROOT)"'}.items():
            self.equal("VECamera.podspec", name, self.pod.setting(name), value)
        self.equal("VECamera.podspec", "version", self.pod.strings("version"), [version])
        self.equal("VECamera.podspec", "requires_arc",
                   self.pod.attributes.get("requires_arc", "").strip(), "true")
        manifest = "ios/PrivacyInfo.xcprivacy"
        self.same("VECamera.podspec", "resource", self.pod.files("resource_bundles") - {"VECamera"},
                  [manifest])
        self.same("Package.swift", "resource",
                  [f"{t.path}/{name}" for t in self.targets for name in t.calls("process")], [manifest])

    def frameworks(self):
        """The frameworks that have to be linked: imported, or with a name that is used."""
        # The module's types are called like the phone's.
        used = set(re.findall(r"\w+", re.sub(r"\bvecamera(?:::\w+)+", "", self.code)))
        needed = set()
        for name, text in texts(self.root, "tests/ios/declarations/*/*.h").items():
            framework = name.split("/")[-2]
            names = {first or second for first, second in LINKED.findall(text)}
            if framework[0].isupper() and (names & used or framework in IMPORT.findall(self.code)):
                needed.add(framework)
        linked = [name for target in self.targets for name in target.calls("linkedFramework")]
        self.same("Package.swift", "framework", linked, needed)
        self.same("VECamera.podspec", "framework", self.pod.strings("frameworks"), needed)

    def permissions(self):
        needed = {key for key, asks in PERMISSIONS.items() if re.search(asks, self.code)}
        for name in ("ios/Info-additions.plist", "examples/ios/Info.plist"):
            entries = plistlib.loads((self.root / name).read_bytes())
            given = {key for key in entries if key.endswith("UsageDescription")}
            self.same(name, "permission", given, needed)
            for key in sorted(given):
                if not str(entries[key]).strip():
                    self.problems.append(f"{name}: {key} says nothing")
            # Otherwise the system asks a user of a few photos for more in every run of the app.
            self.equal(name, LIMITED_ACCESS, entries.get(LIMITED_ACCESS), True)

    def privacy(self):
        name = "ios/PrivacyInfo.xcprivacy"
        manifest = plistlib.loads((self.root / name).read_bytes())
        shipped = self.code + "\n".join(self.module.values())
        for key, value in {"NSPrivacyTracking": False, "NSPrivacyTrackingDomains": [],
                           "NSPrivacyCollectedDataTypes": []}.items():
            self.equal(name, key, manifest.get(key), value)
        declared = {entry["NSPrivacyAccessedAPIType"].removeprefix(CATEGORY):
                    entry["NSPrivacyAccessedAPITypeReasons"]
                    for entry in manifest["NSPrivacyAccessedAPITypes"]}
        self.same(name, "category", declared,
                  {category for category, (calls, _) in REASONS.items() if re.search(calls, shipped)})
        for category, reasons in declared.items():
            known = REASONS.get(category, ("", ""))[1].split()
            if not reasons or not set(reasons) <= set(known):
                self.problems.append(f"{name}: no reason for {category}: {reasons}")


def check(root):
    """What is wrong, as a list of texts."""
    checker = Checker(root)
    checker.files()
    checker.settings()
    checker.frameworks()
    checker.permissions()
    checker.privacy()
    return checker.problems


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else __file__).resolve()
    problems = check(root if root.is_dir() else root.parents[3])
    print("\n".join(problems) or "The packages agree with the sources.")
    return bool(problems)


if __name__ == "__main__":
    sys.exit(main())
