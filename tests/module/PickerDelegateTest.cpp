#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PickerDelegateTest : public PluginTest {};

TEST_F(PickerDelegateTest, APictureIsAnsweredAfterTheDismissalAndTheBackgroundWork) {
  const auto callback = take({{destination, dataUrl}, {source, library}});
  const auto shown = picker();
  plugin->imagePickerControllerDidFinishPickingMediaWithInfo(
      shown, {{std::string(UIImagePickerControllerMediaType), "public.image"},
              {std::string(UIImagePickerControllerOriginalImage), photo}});
  EXPECT_NE(shown->presentingViewController(), nullptr);
  fake.mainQueue.runOne();
  EXPECT_EQ(shown->presentingViewController(), nullptr);
  EXPECT_THAT(controller->calls.all(), ElementsAre("present animated", "dismiss animated"));
  fake.mainQueue.runAll();
  EXPECT_EQ(fake.manualBackground.runAll(), 1u);
  EXPECT_THAT(callback->answers(), IsEmpty()) << "the answer is the main actor's";
  EXPECT_NE(picker(), nullptr);
  fake.mainQueue.runAll();
  EXPECT_THAT(callback->answers(),
              ElementsAre("success {callbackURI: 'data:image/jpeg;base64,b64:jpeg(photo@1)'}"));
  EXPECT_EQ(picker(), nullptr);
  EXPECT_FALSE(pending());
}

TEST_F(PickerDelegateTest, WhatIsNoPictureOrHasNoOptionsGoesToTheVideoResult) {
  const std::string key(UIImagePickerControllerMediaType);
  const struct {
    bool hasOptions;
    Value type;
  } rows[] = {{true, "public.movie"},
              {true, "public.image.x"},
              {true, {}},
              {true, 5},
              {false, "public.image"}};
  for (const auto& row : rows) {
    const auto callback = take({{geolocation, true}});
    auto shown = picker();
    if (!row.hasOptions) {
      shown = std::make_shared<CameraPicker>();
      shown->setSourceType(camera);
      controller->presentViewController(shown, true, nullptr);
    }
    plugin->imagePickerControllerDidFinishPickingMediaWithInfo(shown, {{key, row.type}});
    fake.settle();
    EXPECT_THAT(callback->answers(),
                ElementsAre("FAIL_TAKE_PICTURE {errorMsg: 'Fail take picture'}"))
        << "no location is waited for";
    EXPECT_EQ(picker(), nullptr);
  }
}

TEST_F(PickerDelegateTest, PickersThatCannotBeDismissedLeaveTheCommandOpen) {
  const auto callback = take({});
  const auto foreign = std::make_shared<UIImagePickerController>();
  controller->presentViewController(foreign, true, nullptr);
  plugin->imagePickerControllerDidFinishPickingMediaWithInfo(foreign, {});
  const auto unseen = std::make_shared<CameraPicker>();
  plugin->imagePickerControllerDidFinishPickingMediaWithInfo(unseen, {});
  plugin->imagePickerControllerDidCancel(unseen);
  fake.settle();
  EXPECT_THAT(callback->answers(), IsEmpty());
  EXPECT_NE(picker(), nullptr);
  foreign->setSourceType(camera);
  plugin->imagePickerControllerDidCancel(foreign);
  fake.settle();
  EXPECT_THAT(callback->answers(), ElementsAre("NO_PERMISSION {errorMsg: 'no image selected'}"))
      << "a cancelled picker may be of any class";
}

TEST_F(PickerDelegateTest, CancelNamesTheAccessThatIsMissing) {
  using Camera = AVAuthorizationStatus;
  using Photos = PHAuthorizationStatus;
  const struct {
    int source;
    Camera camera;
    Photos photos;
    std::string message;
  } rows[] = {{1, Camera::denied, Photos::authorized, "has no access to camera"},
              {1, Camera::notDetermined, Photos::denied, "has no access to camera"},
              {1, Camera::authorized, Photos::denied, "no image selected"},
              {0, Camera::denied, Photos::authorized, "no image selected"},
              {0, Camera::authorized, Photos::denied, "has no access to assets"},
              {2, Camera::authorized, Photos::limited, "has no access to assets"}};
  for (const auto& row : rows) {
    fake.captureDevice.status = Camera::authorized;
    fake.photoLibrary.status = Photos::authorized;
    const auto callback = take({{source, row.source}});
    fake.captureDevice.status = row.camera;
    fake.photoLibrary.status = row.photos;
    plugin->imagePickerControllerDidCancel(picker());
    fake.mainQueue.runOne();
    EXPECT_THAT(callback->answers(), IsEmpty()) << "not before the picker is gone";
    fake.settle();
    EXPECT_THAT(callback->answers(),
                ElementsAre("NO_PERMISSION {errorMsg: '" + row.message + "'}"));
    EXPECT_EQ(picker(), nullptr);
  }
}

TEST_F(PickerDelegateTest, ASecondTapDoesNothing) {
  for (const bool cancels : {true, false}) {
    const auto callback = take({{destination, fileUri}, {source, library}});
    controller->calls.clear();
    const auto shown = picker();
    for (int tap = 0; tap < 2; ++tap) {
      if (cancels)
        plugin->imagePickerControllerDidCancel(shown);
      else
        plugin->imagePickerControllerDidFinishPickingMediaWithInfo(shown, {});
    }
    fake.settle();
    EXPECT_THAT(controller->calls.all(), ElementsAre("dismiss animated"));
    EXPECT_THAT(callback->answers(), testing::SizeIs(1));
  }
}

TEST_F(PickerDelegateTest, WithoutACommandAPickerIsDismissedAndNothingIsAnswered) {
  for (const bool cancels : {true, false}) {
    const auto shown = std::make_shared<CameraPicker>();
    controller->presentViewController(shown, true, nullptr);
    if (cancels)
      plugin->imagePickerControllerDidCancel(shown);
    else
      plugin->imagePickerControllerDidFinishPickingMediaWithInfo(shown, {});
    fake.settle();
    EXPECT_EQ(shown->presentingViewController(), nullptr);
  }
}

TEST_F(PickerDelegateTest, APlugInReleasedBeforeItsTaskStartsAnswersNothingAndLaterAnswersStill) {
  for (const int mainJobs : {1, 2, 3}) {
    plugin = VECameraPlugin::create(fake.platform());
    plugin->setViewController(controller);
    const std::weak_ptr<VECameraPlugin> gone = plugin;
    const auto callback = take({{destination, dataUrl}, {source, library}});
    plugin->imagePickerControllerDidFinishPickingMediaWithInfo(
        picker(), {{std::string(UIImagePickerControllerMediaType), "public.image"},
                   {std::string(UIImagePickerControllerOriginalImage), photo}});
    // The dismissal, its completion, and the task's first step.
    for (int i = 0; i < mainJobs; ++i) ASSERT_TRUE(fake.mainQueue.runOne());
    plugin = nullptr;
    EXPECT_EQ(gone.expired(), mainJobs < 3);
    fake.settle();
    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(callback->answers().size(), mainJobs < 3 ? 0u : 1u);
  }
}

TEST_F(PickerDelegateTest, TeardownDropsAPictureInFlightWithItsPlugIn) {
  const auto callback = take({{source, library}});
  finish();
  ASSERT_EQ(fake.photoLibrary.changes.size(), 1u);
  const std::weak_ptr<VECameraPlugin> gone = plugin;
  plugin = nullptr;
  EXPECT_FALSE(gone.expired());
  fake.tasks.join();
  EXPECT_TRUE(gone.expired());
  fake.photoLibrary.finishChange(true);
  fake.settle();
  EXPECT_THAT(callback->answers(), IsEmpty());
}

}  // namespace
}  // namespace vecamera
