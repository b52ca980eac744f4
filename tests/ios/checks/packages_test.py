#!/usr/bin/env python3
"""The check of the packages finds each kind of fault, and that one alone."""
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import packages

ROOT = pathlib.Path(__file__).resolve().parents[3]
READ = ("Package.swift VECamera.podspec CMakeLists.txt VECamera ios examples/ios tests/ios/CMakeLists.txt "
        "tests/ios/declarations").split()

# A file, what is replaced in it (nothing: the file is made), by what, and what the check says.
FAULTS = {
    "a source that no package knows": (
        "ios/Sources/Extra.cpp", None, "", ["VECamera.podspec: source ios/Sources/Extra.cpp is missing"]),
    "a source that is excluded": (
        "Package.swift", 'exclude: ["CMakeLists.txt"]',
        'exclude: ["CMakeLists.txt", "core/Selectors.cpp"]',
        ["Package.swift: source VECamera/core/Selectors.cpp is missing"]),
    "a file that is neither": (
        "ios/Notes.txt", None, "", ["Package.swift: ios/Notes.txt is neither built nor excluded"]),
    "a file in the module that is no source": (
        "VECamera/core/Notes.txt", None, "",
        ["Package.swift: source VECamera/core/Notes.txt is superfluous"]),
    "an exclusion of nothing": (
        "Package.swift", '"Info-additions.plist"]', '"Info-additions.plist", "Info.plist"]',
        ["Package.swift: ios/Info.plist is excluded and not there"]),
    "the module's headers, shown to the app": (
        "VECamera.podspec", "public_header_files = 'ios/Sources/include/*.h'",
        "public_header_files = 'ios/Sources/include/*.h', 'VECamera/core/*.h'",
        ["VECamera.podspec: public header VECamera/core/VECameraPlugin.h is superfluous"]),
    "a folder of public headers": (
        "Package.swift", 'publicHeadersPath: "Sources/include"', 'publicHeadersPath: "include"',
        ["Package.swift: ios has no folder of public headers"] +
        [f"Package.swift: public header ios/Sources/include/{name}.h is missing"
         for name in ("CameraPicker", "VECameraContainer", "VECameraPlugin")]),
    "headers that the pod would copy": (
        "VECamera.podspec", "project_header_files = 'VECamera/**/*.h', ", "project_header_files = ",
        [f"VECamera.podspec: project header {path.relative_to(ROOT)} is missing"
         for path in sorted((ROOT / "VECamera").rglob("*.h"))]),
    "a search path": (
        "Package.swift", 'exclude: ["CMakeLists.txt"],\n            cxxSettings: [.headerSearchPath("..")]',
        'exclude: ["CMakeLists.txt"],\n            cxxSettings: [.headerSearchPath(".")]',
        ["Package.swift: the search path of VECamera is "]),
    "the pod's search path": (
        "VECamera.podspec", "$(PODS_TARGET_SRCROOT)", "$(PODS_ROOT)",
        ["VECamera.podspec: HEADER_SEARCH_PATHS is "]),
    "a framework that is not linked": (
        "VECamera.podspec", "'Photos', ", "",
        ["VECamera.podspec: framework Photos is missing"]),
    "a framework for nothing": (
        "Package.swift", '                .linkedFramework("UIKit"),\n',
        '                .linkedFramework("UIKit"),\n                .linkedFramework("WebKit"),\n',
        ["Package.swift: framework WebKit is superfluous"]),
    "a source with a new framework": (
        "ios/Sources/Extra.mm", None, "#import <WebKit/WebKit.h>\n",
        ["Package.swift: framework WebKit is missing", "VECamera.podspec: framework WebKit is missing"]),
    "a new framework that is used without its import": (
        "ios/Sources/Extra.mm", None, "auto type = WKWebView.class;\n",
        ["Package.swift: framework WebKit is missing", "VECamera.podspec: framework WebKit is missing"]),
    "a version": ("CMakeLists.txt", "project(VECamera VERSION 0", "project(VECamera VERSION 9",
                  ["VECamera.podspec: version is "]),
    "an older language": ("Package.swift", ".cxx20", ".cxx17", ["Package.swift: C++ is 17, not 20"]),
    "the pod's language": ("VECamera.podspec", "'c++20'", "'c++17'",
                           ["VECamera.podspec: CLANG_CXX_LANGUAGE_STANDARD is "]),
    "an older system": ("Package.swift", ".v15", ".v14", ["Package.swift: the oldest iOS is "]),
    "the pod's system": ("VECamera.podspec", "'15.0'", "'16.0'",
                         ["VECamera.podspec: the oldest iOS is "]),
    "no ARC": ("VECamera.podspec", "requires_arc = true", "requires_arc = false",
               ["VECamera.podspec: requires_arc is "]),
    "a lost manifest": (
        "VECamera.podspec", "'ios/PrivacyInfo.xcprivacy'", "'PrivacyInfo.xcprivacy'",
        ["VECamera.podspec: resource ios/PrivacyInfo.xcprivacy is missing"]),
    "a permission without its text": (
        "ios/Info-additions.plist", "NSMicrophoneUsageDescription", "NSMicrophoneDescription",
        ["ios/Info-additions.plist: permission NSMicrophoneUsageDescription is missing"]),
    "a permission that nobody asks for": (
        "examples/ios/Info.plist", "<key>LSRequiresIPhoneOS</key>\n  <true/>",
        "<key>NSContactsUsageDescription</key>\n  <string>Why not.</string>",
        ["examples/ios/Info.plist: permission NSContactsUsageDescription is superfluous"]),
    "an empty text": (
        "ios/Info-additions.plist", "Movies that you record have sound.", " ",
        ["ios/Info-additions.plist: NSMicrophoneUsageDescription says nothing"]),
    "limited access": (
        "examples/ios/Info.plist", "PHPhotoLibraryPreventAutomatic", "PHPhotoLibraryPrevent",
        ["examples/ios/Info.plist: PHPhotoLibraryPreventAutomaticLimitedAccessAlert is None, "
         "not True"]),
    "a source that asks for more": (
        "ios/Sources/Extra.mm", None, "[manager requestAlwaysAuthorization];\n",
        [f"{name}: permission NSLocationAlwaysAndWhenInUseUsageDescription is missing"
         for name in ("ios/Info-additions.plist", "examples/ios/Info.plist")]),
    "a call that needs a reason": (
        "ios/Sources/Extra.mm", None, "auto now = NSProcessInfo.processInfo.systemUptime;\n",
        ["ios/PrivacyInfo.xcprivacy: category SystemBootTime is missing"]),
    "a call of the module's that needs a reason": (
        "VECamera/core/Extra.cpp", None, "int volume = statvfs(path, &facts);\n",
        ["ios/PrivacyInfo.xcprivacy: category DiskSpace is missing"]),
    "a reason for no call": (
        "ios/PrivacyInfo.xcprivacy", "<key>NSPrivacyAccessedAPITypes</key>\n  <array/>",
        "<key>NSPrivacyAccessedAPITypes</key>\n  <array><dict>"
        "<key>NSPrivacyAccessedAPIType</key><string>NSPrivacyAccessedAPICategoryUserDefaults</string>"
        "<key>NSPrivacyAccessedAPITypeReasons</key><array><string>CA92.1</string></array></dict></array>",
        ["ios/PrivacyInfo.xcprivacy: category UserDefaults is superfluous"]),
    "tracking": ("ios/PrivacyInfo.xcprivacy", "<false/>", "<true/>",
                 ["ios/PrivacyInfo.xcprivacy: NSPrivacyTracking is True, not False"]),
}


class PackagesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in READ:
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            copy = shutil.copytree if (ROOT / name).is_dir() else shutil.copy
            copy(ROOT / name, self.root / name)

    def test_each_fault_is_found(self):
        self.assertEqual(packages.check(self.root), [])
        for fault, (name, old, new, messages) in FAULTS.items():
            with self.subTest(fault):
                file = self.root / name
                text = "" if old is None else file.read_text()
                self.assertEqual(text.count(old) if old else 1, 1)
                file.write_text(text.replace(old, new) if old else new)
                problems = packages.check(self.root)
                self.assertEqual(len(problems), len(messages), problems)
                for problem, message in zip(problems, messages):
                    self.assertTrue(problem.startswith(message), f"{problem}\n{message}")
                if old is None:
                    file.unlink()
                else:
                    file.write_text(text)

    def test_a_comment_asks_for_nothing(self):
        (self.root / "ios/Sources/Extra.mm").write_text(
            "// requestAlwaysAuthorization\n/* NSUserDefaults\n   WKWebView */\n"
            "vecamera::WKWebView* module;\n")
        self.assertEqual(packages.check(self.root), [])


if __name__ == "__main__":
    unittest.main()
