// The stand-ins keep the phone's rules, so that a host that breaks them is found.
#import <UIKit/UIKit.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/ios/host/TestPhone.h"
#import "tests/ios/platform/CoreGraphics.h"
#import "tests/ios/platform/Presenting.h"
#import "tests/ios/platform/SoftwareValues.h"

namespace vecamera_ios {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vecamera::ios::drainMainQueue;

class StandInsTest : public TestPhone {
 protected:
  static bool raises(const std::function<void()>& action) {
    @try {
      action();
      return false;
    } @catch (NSException*) {
      return true;
    }
  }
  void (^note(std::string what))(void) {
    return ^{
      events.push_back(what);
    };
  }

  std::vector<std::string> events;
};

TEST_F(StandInsTest, AControllerPresentsOneThingUntilItsDismissalHasEnded) {
  @autoreleasepool {
    UIViewController* const root = [[UIViewController alloc] init];
    UIViewController* const first = [[UIViewController alloc] init];
    UIViewController* const second = [[UIViewController alloc] init];
    [root presentViewController:first animated:YES completion:note("presented")];
    [root presentViewController:second animated:YES completion:note("refused")];
    EXPECT_TRUE(raises([&] { [second presentViewController:first animated:YES completion:nil]; }));
    EXPECT_TRUE(first.beingPresented);
    EXPECT_EQ(second.presentingViewController, nil);
    EXPECT_THAT(events, IsEmpty());
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("presented"));

    [first dismissViewControllerAnimated:YES completion:note("dismissed")];
    [root dismissViewControllerAnimated:YES completion:note("again")];
    EXPECT_TRUE(first.beingDismissed);
    EXPECT_EQ(first.presentingViewController, root);
    [root presentViewController:second animated:YES completion:note("too early")];
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("presented", "dismissed"));
    EXPECT_EQ(first.presentingViewController, nil);
    EXPECT_EQ(root.presentedViewController, nil);
  }
}

TEST_F(StandInsTest, WhatPresentsTakesWithItWhatIsPresentedAboveIt) {
  @autoreleasepool {
    UIViewController* const root = [[UIViewController alloc] init];
    UIViewController* const middle = [[UIViewController alloc] init];
    UIViewController* const top = [[UIViewController alloc] init];
    [root presentViewController:middle animated:YES completion:nil];
    [middle presentViewController:top animated:YES completion:nil];
    [root dismissViewControllerAnimated:YES completion:nil];
    EXPECT_FALSE(middle.beingDismissed) << "refused while the presentation animates";
    drainMainQueue();
    EXPECT_EQ(root.presentedViewController, middle);
    [root dismissViewControllerAnimated:YES completion:nil];
    drainMainQueue();
    EXPECT_EQ(root.presentedViewController, nil);
    EXPECT_EQ(top.presentingViewController, nil);
  }
}

TEST_F(StandInsTest, ThePickersSettersRaiseForWhatItsSourceHasNot) {
  @autoreleasepool {
    fake.imagePickers.available = {0, 1};
    UIImagePickerController* const picker = [[UIImagePickerController alloc] init];
    EXPECT_TRUE(
        raises([&] { picker.sourceType = UIImagePickerControllerSourceTypeSavedPhotosAlbum; }));
    EXPECT_TRUE(raises([&] { picker.mediaTypes = @[ @"public.video" ]; }));
    EXPECT_TRUE(raises([&] { picker.mediaTypes = @[]; }));
    EXPECT_TRUE(raises([&] { picker.cameraDevice = UIImagePickerControllerCameraDeviceFront; }));
    picker.sourceType = UIImagePickerControllerSourceTypeCamera;
    const auto takeMovies = [&] {
      picker.cameraCaptureMode = UIImagePickerControllerCameraCaptureModeVideo;
    };
    EXPECT_TRUE(raises(takeMovies)) << "before the media types";
    picker.mediaTypes = @[ @"public.movie" ];
    EXPECT_FALSE(raises(takeMovies));
    EXPECT_FALSE(raises([&] { picker.cameraDevice = UIImagePickerControllerCameraDeviceFront; }));
  }
}

TEST_F(StandInsTest, AnImageContextWithoutAScaleHasTheScreens) {
  @autoreleasepool {
    UIGraphicsBeginImageContextWithOptions(CGSizeMake(4, 2), NO, 0);
    EXPECT_EQ(CGImageGetWidth(UIGraphicsGetImageFromCurrentImageContext().CGImage), 12u);
    UIGraphicsEndImageContext();
    EXPECT_TRUE(raises([] { UIGraphicsBeginImageContext(CGSizeMake(101, 100)); }));
    EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
  }
  EXPECT_EQ(vecamera::ios::livingGraphics(), 0u);
}

TEST_F(StandInsTest, ValuesAreTheSameAfterBothCrossings) {
  @autoreleasepool {
    using vecamera::Array;
    using vecamera::Dictionary;
    using vecamera::Value;
    const Value value(
        Dictionary{{"flag", true},
                   {"one", 1},
                   {"big", std::int64_t{1} << 62},
                   {"half", 0.5},
                   {"text", "\xc3\xa4"},
                   {"bytes", vecamera::Data::copyOf("abc")},
                   {"url", vecamera::URL("velmora-file:///a%20b")},
                   {"list", Array{Value(), Value(false), Value(Dictionary{{"x", 2}})}}});
    EXPECT_EQ(vecamera::ios::valueForDevice(vecamera::ios::objectFromDevice(value)), value);
  }
}

}  // namespace
}  // namespace vecamera_ios
