#!/usr/bin/env python3
"""The check of the declarations finds each kind of fault, and that one alone."""
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import declarations

FOLDER = declarations.HERE.parent
COMPILER = sys.argv[1] if len(sys.argv) > 1 else "clang-16"
TABLE = declarations.Table(
    FOLDER / "node_modules/@nativescript/types-ios/lib/ios/objc-x86_64")

# A header, what is replaced in it, by what, what the check says first, and how much it says.
FAULTS = {
    "a selector": ("Photos/Photos.h", "+ (instancetype)creationRequestForAsset;",
                   "+ (instancetype)creationRequestForPicture;",
                   "PHAssetCreationRequest creationRequestForPicture: no such method"),
    "an instance method for a class method": (
        "AVFoundation/AVFoundation.h", "+ (instancetype)assetWithURL:", "- (instancetype)assetWithURL:",
        "AVAsset assetWithURL:: no such method"),
    "a selector that reads alike": (
        "UIKit/UIKit.h", "- (void)viewDidAppear:(BOOL)animated;", "- (void)viewDidAppear;",
        "UIViewController viewDidAppear: 0 arguments, not 1"),
    "a method of a delegate": ("CoreLocation/CoreLocation.h", "didUpdateLocations:", "didUpdateLocation:",
                               "locationManager:didUpdateLocation:: no such method"),
    "a property": ("UIKit/UIKit.h", "BOOL allowsEditing;", "BOOL allowEditing;",
                   "UIImagePickerController allowEditing: no such property"),
    "a property that can only be read": (
        "AVFoundation/AVFoundation.h", "(nonatomic, readonly) float progress", "(nonatomic) float progress",
        "AVAssetExportSession progress: read-only in the table"),
    "a class": ("UIKit/UIKit.h", "@interface UIToolbar : UIView", "@interface UIToolBar : UIView",
                "UIToolBar: no such class"),
    "a superclass": ("UIKit/UIKit.h", "@interface UIToolbar : UIView", "@interface UIToolbar : UIResponder",
                     "UIToolbar: derives from UIResponder, not from UIView"),
    "a protocol": ("UIKit/UIKit.h", "@protocol UISceneDelegate <NSObject>\n@optional",
                   "@protocol UISceneDelegate <NSObject>\n@end\n"
                   "@protocol UISceneObserver <NSObject>\n@optional",
                   "UISceneObserver: no such protocol", 3),
    "a function": ("ImageIO/ImageIO.h", "bool CGImageDestinationFinalize(", "bool CGImageDestinationFinish(",
                   "CGImageDestinationFinish: no such function"),
    "a function's arguments": (
        "UIKit/UIKit.h", "UIImageJPEGRepresentation(UIImage* image, CGFloat quality)",
        "UIImageJPEGRepresentation(UIImage* image)", "UIImageJPEGRepresentation: 1 arguments, not 2"),
    "a constant": ("UIKit/UIKit.h", "UIApplicationOpenSettingsURLString;", "UIApplicationSettingsURLString;",
                   "UIApplicationSettingsURLString: no such constant"),
    "an enumerator": ("Photos/Photos.h", "PHAuthorizationStatusLimited,", "PHAuthorizationStatusPartial,",
                      "PHAuthorizationStatusPartial: no such enumerator"),
    "an enumerator's value": (
        "UIKit/UIKit.h", "UIStatusBarStyleDarkContent = 3", "UIStatusBarStyleDarkContent = 2",
        "UIStatusBarStyleDarkContent: is 2 here, 3 in the table"),
    "an enumerator's place": (
        "UIKit/UIKit.h", "  UIImageOrientationLeft,\n  UIImageOrientationRight,\n",
        "  UIImageOrientationRight,\n  UIImageOrientationLeft,\n",
        "UIImageOrientationRight: is 2 here, 3 in the table", 2),
    "a flag's value": ("Foundation/Foundation.h", "NSDataWritingAtomic = 1UL << 0", "NSDataWritingAtomic = 4UL",
                       "NSDataWritingAtomic: is 4 here, 1 in the table"),
    "a version": ("WebKit/WebKit.h", " API_AVAILABLE(ios(16.4))", "", "WKWebView inspectable: marked"),
    "a wrong version": ("WebKit/WebKit.h", "ios(16.4)", "ios(16.0)", "WKWebView inspectable: marked"),
    "a deprecation": ("Photos/Photos.h",
                      '\n    API_DEPRECATED("Use fetchAssetsWithLocalIdentifiers:options:", ios(8.0, 11.0))',
                      "", "PHAsset fetchAssetsWithALAssetURLs:options:: marked"),
    "a declaration that was excused": (
        "Foundation/Foundation.h", "  NSUserCancelledError = 3072,\n", "",
        "NSUserCancelledError: listed as not in the table, and not needed"),
}

class DeclarationsTest(unittest.TestCase):
    def test_what_is_right_passes(self):
        self.assertEqual(declarations.check(TABLE, FOLDER / "declarations", COMPILER).problems, [])

    def test_each_fault_is_found(self):
        for fault, (header, old, new, message, *count) in FAULTS.items():
            with self.subTest(fault), tempfile.TemporaryDirectory() as work:
                folder = pathlib.Path(work, "declarations")
                shutil.copytree(FOLDER / "declarations", folder)
                text = (folder / header).read_text()
                self.assertEqual(text.count(old), 1)
                (folder / header).write_text(text.replace(old, new))
                problems = declarations.check(TABLE, folder, COMPILER).problems
                self.assertEqual(len(problems), *count or [1], problems)
                self.assertIn(message, problems[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
