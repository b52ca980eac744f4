#import "ios/Sources/include/VECameraPlugin.h"

#include <string>
#include <thread>
#include <vector>

#include "ios/Sources/Pickers.h"
#include "ios/Sources/PlatformHost.h"
#import "ios/Sources/VECameraPlugin+Core.h"
#include "ios/Sources/Value.h"
#include "tests/device/imaging/TestPictures.h"
#include "tests/ios/host/ServicesPhone.h"
#include "tests/ios/host/TestPhone.h"
#import "tests/ios/platform/SoftwareContainer.h"
#include "tests/module/FakeContainer.h"

@interface TestWebView : UIView
@end
@implementation TestWebView
@end

namespace vecamera_ios {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using vecamera::ios::drainMainQueue;
using vecamera::ios::livingObjects;
using vecamera::ios::runMainQueueUntil;
using Arguments = vecamera::FakeCallBack::Arguments;
using Position = vecamera::TakePictureArguments::Position;

class PluginTest : public TestPhone {
 protected:
  ~PluginTest() override {
    drainMainQueue();
    EXPECT_EQ(livingObjects("VECameraPlugin"), 0u);
    EXPECT_EQ(livingObjects("CameraPicker"), 0u);
    PlatformHost::resetShared();
  }

  /// A plug-in as the container wires it.
  VECameraPlugin* makePlugin() {
    VECameraPlugin* const plugin = [[VECameraPlugin alloc] init];
    plugin.viewController = screen_;
    return plugin;
  }
  /// The page takes a picture from the library, as a data URL; returns with the picker on screen.
  std::shared_ptr<vecamera::FakeCallBack> take(VECameraPlugin* plugin) {
    const auto callback = std::make_shared<vecamera::FakeCallBack>(
        Arguments{{Position::quality, 50}, {Position::destination, 0}, {Position::source, 0}});
    const auto command = vecamera::ios::callbackFromDevice(callback);
    std::thread([&] {
      @autoreleasepool {
        [plugin takePicture:command];
      }
    }).join();
    EXPECT_TRUE(runMainQueueUntil([&] { return picker() != nil && !picker().beingPresented; }));
    return callback;
  }
  UIImagePickerController* picker() const {
    return static_cast<UIImagePickerController*>(screen_.presentedViewController);
  }
  static bool isAnswered(const std::shared_ptr<vecamera::FakeCallBack>& callback) {
    return runMainQueueUntil([&] { return !callback->answers().empty(); });
  }

 private:
  UIViewController* const screen_ = [[UIViewController alloc] init];
};

TEST_F(PluginTest, AnswersToEverySelectorOfTheContainer) {
  @autoreleasepool {
    for (NSString* name in @[
           @"init",
           @"webView",
           @"setWebView:",
           @"viewController",
           @"setViewController:",
           @"locationManager",
           @"setLocationManager:",
           @"setVWebView:",
           @"dispose",
           @"urlTransformer:",
           @"takePicture:",
           @"cleanup:",
           @"retryPermission",
           @"usesGeolocation",
           @"tempFilePath:",
           @"getLocalizingString:",
           @"imagePickerControllerReturnImageResult",
           @"imagePickerController:didFinishPickingMediaWithInfo:",
           @"imagePickerControllerDidCancel:",
           @"locationManager:didUpdateLocations:"
         ])
      EXPECT_TRUE([VECameraPlugin instancesRespondToSelector:NSSelectorFromString(name)])
          << toText(name);
    // What it does not implement, the container does not call.
    EXPECT_FALSE([VECameraPlugin instancesRespondToSelector:@selector(onReset)]);
  }
}

TEST_F(PluginTest, TheContainersObjectsComeBackAsTheyAre) {
  @autoreleasepool {
    VECameraPlugin* const plugin = [[VECameraPlugin alloc] init];
    EXPECT_EQ(plugin.webView, nil);
    EXPECT_EQ(plugin.viewController, nil);
    TestWebView* const view = [[TestWebView alloc] init];
    TestWebView* const otherView = [[TestWebView alloc] init];
    UIViewController* const controller = [[UIViewController alloc] init];
    plugin.viewController = controller;
    [plugin setVWebView:view];
    EXPECT_EQ(plugin.viewController, controller);
    EXPECT_EQ(plugin.webView, view);
    plugin.webView = otherView;
    EXPECT_EQ(plugin.webView, otherView);

    CLLocationManager* const made = plugin.locationManager;
    ASSERT_TRUE(made);
    EXPECT_EQ(plugin.locationManager, made);
    EXPECT_EQ(made.desiredAccuracy, kCLLocationAccuracyNearestTenMeters);
    CLLocationManager* const own = [[CLLocationManager alloc] init];
    plugin.locationManager = own;
    EXPECT_EQ(plugin.locationManager, own);

    [plugin dispose];
    EXPECT_EQ(plugin.webView, nil);
    EXPECT_EQ(plugin.viewController, nil);
    EXPECT_EQ(plugin.locationManager, own);
    plugin.locationManager = nil;
    EXPECT_TRUE(plugin.locationManager);
    EXPECT_NE(plugin.locationManager, own);
  }
}

TEST_F(PluginTest, APickedPictureIsAnsweredAndEverythingEnds) {
  @autoreleasepool {
    VECameraPlugin* const plugin = makePlugin();
    const auto callback = take(plugin);
    EXPECT_TRUE([picker() isKindOfClass:[CameraPicker class]]);
    EXPECT_FALSE(plugin.core->inspect().hasPendingOperation);
    const auto png =
        vecamera::device::imaging::pngOf(vecamera::device::imaging::bitmapOfLetters("RGB"));
    NSDictionary* const info = @{
      UIImagePickerControllerMediaType : @"public.image",
      UIImagePickerControllerOriginalImage : [UIImage imageWithData:toNSData(png)],
    };
    [picker().delegate imagePickerController:picker() didFinishPickingMediaWithInfo:info];
    // A second press while the picker goes is dropped.
    [picker().delegate imagePickerController:picker() didFinishPickingMediaWithInfo:info];
    ASSERT_TRUE(isAnswered(callback));
    drainMainQueue();
    EXPECT_THAT(callback->answers(), ElementsAre(StartsWith("success {callbackURI: '")));
    EXPECT_FALSE(plugin.core->inspect().pickerController);
    EXPECT_EQ(picker(), nil);
  }
}

TEST_F(PluginTest, ItsOwnDelegateSelectorsTakeTheNativePicker) {
  @autoreleasepool {
    VECameraPlugin* const plugin = makePlugin();
    const auto callback = take(plugin);
    [plugin imagePickerControllerDidCancel:picker()];
    ASSERT_TRUE(isAnswered(callback));
    EXPECT_THAT(callback->answers(), ElementsAre("NO_PERMISSION {errorMsg: 'no image selected'}"));

    const auto finished = take(plugin);
    [plugin imagePickerController:picker() didFinishPickingMediaWithInfo:@{}];
    ASSERT_TRUE(isAnswered(finished));
    EXPECT_THAT(finished->answers(), ElementsAre(StartsWith("FAIL_TAKE_PICTURE")));

    // One that is on no screen has no presenter, and nothing is answered.
    [plugin imagePickerControllerDidCancel:[[UIImagePickerController alloc] init]];
    drainMainQueue();
    EXPECT_THAT(finished->answers(), SizeIs(1));
  }
}

// On queues that the test runs: nothing else shows when the call in the background has returned.
TEST(PluginUpdateTest, AnUpdateThatAnAppPassesOnReachesTheModule) {
  ServicesPhone phone;
  phone.fake.coreLocation.fix = [] { return vecamera::CLLocation{{1, 2}, 3, {}}; };
  @autoreleasepool {
    VECameraPlugin* const plugin = [[VECameraPlugin alloc] init];
    [plugin locationManager:plugin.locationManager didUpdateLocations:@[]];
    EXPECT_TRUE(plugin.core->inspect().hasLocationManager) << "not on the caller's thread";
    phone.settle();
    EXPECT_FALSE(plugin.core->inspect().hasLocationManager);
  }
  phone.settle();
  EXPECT_EQ(livingObjects("VECameraPlugin"), 0u);
  PlatformHost::resetShared();
}

TEST_F(PluginTest, APickerThatIsUpDoesNotNeedThePlugin) {
  @autoreleasepool {
    std::shared_ptr<vecamera::FakeCallBack> callback;
    @autoreleasepool {
      callback = take(makePlugin());
    }
    EXPECT_EQ(livingObjects("VECameraPlugin"), 0u);
    [picker().delegate imagePickerControllerDidCancel:picker()];
    drainMainQueue();
    EXPECT_THAT(callback->answers(), IsEmpty());
    EXPECT_EQ(picker(), nil);
  }
}

TEST_F(PluginTest, URLsAndTextsCrossTheBorder) {
  @autoreleasepool {
    VECameraPlugin* const plugin = makePlugin();
    NSURL* const url = [NSURL fileURLWithPath:@"/a b.jpg"];
    EXPECT_TRUE([[plugin urlTransformer:url] isEqual:url]);
    const auto callback = std::make_shared<vecamera::FakeCallBack>();
    callback->delegate =
        std::make_shared<vecamera::FakeCommandDelegate>([](const vecamera::URL& from) {
          return vecamera::URL("velmora-" + from.absoluteString());
        });
    [plugin takePicture:vecamera::ios::callbackFromDevice(callback)];
    drainMainQueue();
    EXPECT_EQ(toText([plugin urlTransformer:url].absoluteString), "velmora-file:///a%20b.jpg");
    EXPECT_THAT(toText([plugin tempFilePath:@"jpg"]), testing::EndsWith(".jpg"));
    [plugin.viewController dismissViewControllerAnimated:NO completion:nil];
    drainMainQueue();
  }
}

TEST_F(PluginTest, LimitsAreOfTheProcess) {
  EXPECT_GT(VECameraPlugin.maxContextPixels, 1000000u);
  EXPECT_GT(VECameraPlugin.maxMovieDataURLBytes, 1000000u);
  const auto maxContextPixels = VECameraPlugin.maxContextPixels;
  VECameraPlugin.maxContextPixels = 99;
  VECameraPlugin.maxMovieDataURLBytes = 1000;
  const auto platform = PlatformHost::shared()->platform();
  EXPECT_EQ(platform.maxMovieDataUrlBytes, 1000u);
  EXPECT_FALSE(platform.graphics.beginImageContext({10, 10})->currentContext());
  EXPECT_TRUE(platform.graphics.beginImageContext({9, 11})->currentContext());
  VECameraPlugin.maxContextPixels = maxContextPixels;
}

TEST_F(PluginTest, WhatATaskThrowsIsLogged) {
  const auto platform = PlatformHost::shared()->platform();
  platform.tasks.start(platform.background, []() -> vecamera::Task<void> {
    throw std::runtime_error("a bug");
    co_return;
  }());
  EXPECT_TRUE(runMainQueueUntil([&] { return !fake.log.lines.all().empty(); }));
  EXPECT_THAT(fake.log.lines.all(), ElementsAre(testing::HasSubstr("a bug")));
}

}  // namespace
}  // namespace vecamera_ios
