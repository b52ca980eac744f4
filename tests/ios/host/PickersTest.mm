#include "ios/Sources/Pickers.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ios/Sources/Value.h"
#include "ios/Sources/ViewControllers.h"
#include "tests/ios/host/TestPhone.h"

@interface CountingPicker : CameraPicker {
 @public
  int statusBarRequests;
}
@end
@implementation CountingPicker
- (void)setNeedsStatusBarAppearanceUpdate {
  ++statusBarRequests;
}
@end

namespace vecamera_ios {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vecamera::ios::drainMainQueue;
using vecamera::ios::livingObjects;

using Picker = std::shared_ptr<vecamera::UIImagePickerController>;
using Source = vecamera::UIImagePickerControllerSourceType;

/// Records the calls.
class Delegate : public vecamera::UIImagePickerControllerDelegate {
 public:
  void imagePickerControllerDidFinishPickingMediaWithInfo(Picker picker,
                                                          vecamera::Dictionary info) override {
    finished.emplace_back(std::move(picker), std::move(info));
  }
  void imagePickerControllerDidCancel(Picker picker) override {
    cancelled.push_back(std::move(picker));
  }
  std::vector<std::pair<Picker, vecamera::Dictionary>> finished;
  std::vector<Picker> cancelled;
};

class PickersTest : public TestPhone {
 protected:
  static Picker makeRecord(std::int64_t source, std::vector<std::string> types) {
    auto record = std::make_shared<vecamera::CameraPicker>();
    record->setSourceType(source);
    record->setMediaTypes(std::move(types));
    return record;
  }
  static std::vector<std::string> textsOf(NSArray<NSString*>* texts) {
    std::vector<std::string> made;
    for (NSString* text in texts) made.push_back(toText(text));
    return made;
  }
  static std::string pathOf(const vecamera::URL& url) { return toText(toNSURL(url).path); }
  /// The movie's URL that the module gets where the picker gives this file.
  static std::optional<vecamera::URL> moviePicked(const std::string& path) {
    const auto info =
        pickerInfoOf(@{UIImagePickerControllerMediaURL : [NSURL fileURLWithPath:toNSString(path)]});
    const auto* value = find(info, vecamera::UIImagePickerControllerMediaURL);
    return value && value->url() ? std::optional(*value->url()) : std::nullopt;
  }
};

TEST_F(PickersTest, APickerIsSetUpAsItsRecordSays) {
  @autoreleasepool {
    auto record = makeRecord(Source::camera, {"public.movie"});
    record->setCameraCaptureMode(vecamera::UIImagePickerControllerCameraCaptureMode::video);
    record->setAllowsEditing(true);
    record->setModalPresentationStyle(vecamera::UIModalPresentationStyle::fullScreen);
    CameraPicker* picker = makePicker(record);
    EXPECT_EQ(picker.sourceType, UIImagePickerControllerSourceTypeCamera);
    EXPECT_THAT(textsOf(picker.mediaTypes), ElementsAre("public.movie"));
    EXPECT_EQ(picker.cameraCaptureMode, UIImagePickerControllerCameraCaptureModeVideo);
    EXPECT_EQ(picker.cameraDevice, UIImagePickerControllerCameraDeviceRear);
    EXPECT_TRUE(picker.allowsEditing);
    EXPECT_EQ(picker.modalPresentationStyle, UIModalPresentationFullScreen);
    EXPECT_EQ(picker.record, record);

    record = makeRecord(Source::camera, {"public.image"});
    record->setCameraDevice(vecamera::UIImagePickerControllerCameraDevice::front);
    EXPECT_EQ(makePicker(record).cameraDevice, UIImagePickerControllerCameraDeviceFront);

    // UIKit raises where a field of the camera is set with another source.
    record = makeRecord(Source::photoLibrary, {"public.image", "public.movie"});
    record->setCameraDevice(vecamera::UIImagePickerControllerCameraDevice::front);
    record->setModalPresentationStyle(vecamera::UIModalPresentationStyle::pageSheet);
    picker = makePicker(record);
    EXPECT_THAT(textsOf(picker.mediaTypes), ElementsAre("public.image", "public.movie"));
    EXPECT_EQ(picker.modalPresentationStyle, UIModalPresentationPageSheet);
    EXPECT_TRUE(picker.modalInPresentation);
    // Libraries know movies by another name than the module.
    picker = makePicker(makeRecord(Source::photoLibrary, {"public.video"}));
    EXPECT_THAT(textsOf(picker.mediaTypes), ElementsAre("public.movie"));
    picker = makePicker(makeRecord(Source::photoLibrary, {"public.image", "public.video"}));
    EXPECT_THAT(textsOf(picker.mediaTypes), ElementsAre("public.image"));
    fake.imagePickers.mediaTypes = {{"public.image"}};
    EXPECT_EQ(makePicker(makeRecord(Source::photoLibrary, {"public.video"})), nil);
  }
}

TEST_F(PickersTest, APickerThatUIKitRefusesIsNotPresented) {
  @autoreleasepool {
    fake.imagePickers.available = {Source::photoLibrary};
    ::UIViewController* const native = [[::UIViewController alloc] init];
    vecamera::UIImagePickerController::Origin archive;
    archive.coder.emplace();
    for (const auto& record : {makeRecord(Source::camera, {"public.image"}),
                               makeRecord(Source::photoLibrary, {"public.audio"}),
                               Picker(std::make_shared<vecamera::CameraPicker>(archive))}) {
      bool isCompleted = false;
      viewControllerOf(native)->presentViewController(record, true, [&] { isCompleted = true; });
      drainMainQueue();
      EXPECT_FALSE(isCompleted);
      EXPECT_FALSE(native.presentedViewController);
      EXPECT_FALSE(record->presentingViewController());
    }
  }
}

TEST_F(PickersTest, ARecordComesBackToItsDelegateAndEndsWithItsPicker) {
  const auto delegate = std::make_shared<Delegate>();
  std::weak_ptr<vecamera::UIImagePickerController> weakRecord;
  @autoreleasepool {
    ::UIViewController* const native = [[::UIViewController alloc] init];
    const auto controller = viewControllerOf(native);
    auto record = makeRecord(Source::photoLibrary, {"public.image"});
    weakRecord = record;
    record->setDelegate(delegate);
    controller->presentViewController(record, true, nullptr);
    drainMainQueue();
    auto* const picker = static_cast<::UIImagePickerController*>(native.presentedViewController);
    [picker.delegate imagePickerController:picker
             didFinishPickingMediaWithInfo:@{UIImagePickerControllerMediaType : @"public.image"}];
    [picker.delegate imagePickerControllerDidCancel:picker];
    ASSERT_THAT(delegate->finished, SizeIs(1));
    EXPECT_EQ(delegate->finished[0].first, record);
    EXPECT_EQ(*find(delegate->finished[0].second, vecamera::UIImagePickerControllerMediaType),
              vecamera::Value("public.image"));
    EXPECT_THAT(delegate->cancelled, ElementsAre(record));
    EXPECT_EQ(record->presentingViewController(), controller);

    EXPECT_FALSE(picker.beingDismissed);

    *delegate = {};
    controller->dismissViewControllerAnimated(true, nullptr);
    drainMainQueue();
  }
  EXPECT_TRUE(weakRecord.expired());
  EXPECT_EQ(livingObjects("CameraPicker"), 0u);
}

TEST_F(PickersTest, APickerWhoseDelegateIsGoneIsDismissedOnce) {
  @autoreleasepool {
    ::UIViewController* const root = [[::UIViewController alloc] init];
    ::UIViewController* const native = [[::UIViewController alloc] init];
    [root presentViewController:native animated:YES completion:nil];
    drainMainQueue();
    for (const bool isCancelled : {true, false}) {
      const auto record = makeRecord(Source::photoLibrary, {"public.image"});
      viewControllerOf(native)->presentViewController(record, true, nullptr);
      drainMainQueue();
      auto* const picker = static_cast<::UIImagePickerController*>(native.presentedViewController);
      if (isCancelled)
        [picker.delegate imagePickerControllerDidCancel:picker];
      else
        [picker.delegate imagePickerController:picker didFinishPickingMediaWithInfo:@{}];
      EXPECT_TRUE(picker.beingDismissed);
      [picker.delegate imagePickerControllerDidCancel:picker];
      drainMainQueue();
      EXPECT_FALSE(native.presentedViewController);
      EXPECT_EQ(root.presentedViewController, native);
    }
    [root dismissViewControllerAnimated:NO completion:nil];
    drainMainQueue();
  }
  EXPECT_EQ(livingObjects("CameraPicker"), 0u);
}

TEST_F(PickersTest, AppearingAsksForTheStatusBar) {
  @autoreleasepool {
    CountingPicker* const picker = [[CountingPicker alloc] init];
    [picker viewWillAppear:YES];
    EXPECT_EQ(picker->statusBarRequests, 1);
  }
}

TEST_F(PickersTest, APickerOfTheAppsOwnHasARecord) {
  @autoreleasepool {
    ::UIViewController* const root = [[::UIViewController alloc] init];
    for (CameraPicker* picker in @[
           [[CameraPicker alloc] init],
           [[CameraPicker alloc] initWithNavigationBarClass:Nil toolbarClass:Nil],
           [[CameraPicker alloc] initWithRootViewController:root],
           [[CameraPicker alloc] initWithNibName:nil bundle:nil]
         ]) {
      EXPECT_EQ(toText(picker.postUrl), "");
      EXPECT_FALSE(picker.cropToSize);
      EXPECT_EQ(picker.webView, nil);
      EXPECT_TRUE(std::dynamic_pointer_cast<vecamera::CameraPicker>(pickerOf(picker)));
      EXPECT_EQ(pickerOf(picker), pickerOf(picker));
    }
    ::UIImagePickerController* const plain = [[::UIImagePickerController alloc] init];
    plain.sourceType = UIImagePickerControllerSourceTypeCamera;
    [root presentViewController:plain animated:YES completion:nil];
    drainMainQueue();
    const auto record = pickerOf(plain);
    EXPECT_FALSE(std::dynamic_pointer_cast<vecamera::CameraPicker>(record));
    EXPECT_EQ(record->sourceType(), Source::camera);
    EXPECT_EQ(record->presentingViewController(), viewControllerOf(root));
    EXPECT_FALSE(pickerOf(nil));
    [root dismissViewControllerAnimated:NO completion:nil];
    drainMainQueue();
  }
}

TEST_F(PickersTest, APickedMovieStaysAsLongAsItsURL) {
  @autoreleasepool {
    const std::string original = folder() / "picked.MOV";
    std::ofstream(original) << "a movie";
    auto url = moviePicked(original);
    ASSERT_TRUE(url);
    const std::string kept = pathOf(*url);
    fs::remove(original);
    EXPECT_EQ(fs::path(kept).extension(), ".MOV");
    EXPECT_FALSE(kept.starts_with(toText(NSTemporaryDirectory())));
    std::string text;
    std::getline(std::ifstream(kept), text);
    EXPECT_EQ(text, "a movie");

    auto copy = url;
    url = std::nullopt;
    EXPECT_TRUE(fs::exists(kept));
    std::thread([last = std::exchange(copy, std::nullopt)] {}).join();
    EXPECT_FALSE(fs::exists(kept));

    // What cannot be kept goes on as it is.
    EXPECT_EQ(pathOf(moviePicked(original).value()), original);
    const auto elsewhere = pickerInfoOf(
        @{UIImagePickerControllerMediaURL : [NSURL URLWithString:@"https://example.com/a.mov"]});
    EXPECT_EQ(find(elsewhere, vecamera::UIImagePickerControllerMediaURL)->url()->absoluteString(),
              "https://example.com/a.mov");
    EXPECT_THAT(pickerInfoOf(nil), IsEmpty());
  }
}

TEST_F(PickersTest, MediaTypesAreKnownOffTheMainThreadOnceTheSourceWasAskedFor) {
  ImagePickers pickers;
  std::optional<std::vector<std::string>> types;
  // The stand-in ends the process where UIKit is asked off the main thread.
  const auto ask = [&] {
    std::thread([&] { types = pickers.availableMediaTypesForSourceType(0); }).join();
  };
  @autoreleasepool {
    ask();
    EXPECT_FALSE(types);
    EXPECT_TRUE(pickers.isSourceTypeAvailable(0));
    ask();
    EXPECT_EQ(types, fake.imagePickers.mediaTypes);
    // UIKit may list types of a source that is not there.
    fake.imagePickers.available = {};
    EXPECT_FALSE(pickers.isSourceTypeAvailable(0));
    ask();
    EXPECT_FALSE(types);
  }
}

}  // namespace
}  // namespace vecamera_ios
