#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Photos = PHAuthorizationStatus;
using Camera = AVAuthorizationStatus;

const std::string noCamera = "NO_PERMISSION 'Not have permission to use the camera.'";

class TakePictureTest : public PluginTest {
 protected:
  TakePictureTest() {
    fake.bundles.texts = {{"CAMERA_PERMISSION_REJECT_CONFIRM", "No camera"},
                          {"PHOTOLIBRARY_PERMISSION_REJECT_CONFIRM", "No photos"},
                          {"SETTINGS", "Settings"},
                          {"CANCEL", "Cancel"}};
  }
  /// "picker", an alert's message, or nothing.
  std::string onScreen() const {
    if (controller->shown.empty()) return "";
    return controller->alert() ? controller->alert()->message() : "picker";
  }
  std::vector<std::string> titles() const {
    std::vector<std::string> found{controller->alert()->title(), controller->alert()->message()};
    for (const auto& action : controller->alert()->actions()) found.push_back(action.title);
    return found;
  }
};

TEST_F(TakePictureTest, DoesNothingBeforeTheMainQueueRuns) {
  const auto callback = issue({});
  EXPECT_FALSE(pending());
  EXPECT_EQ(plugin->inspect().currentCallBack, nullptr);
  EXPECT_THAT(callback->positionsRead(), IsEmpty());
  fake.mainQueue.runOne();
  EXPECT_TRUE(pending());
  EXPECT_EQ(plugin->inspect().currentCallBack, callback);
  EXPECT_NE(picker(), nullptr) << "made, but not presented yet";
  EXPECT_EQ(onScreen(), "");
  fake.mainQueue.runOne();
  EXPECT_EQ(onScreen(), "picker");
  EXPECT_TRUE(pending()) << "until the presentation is complete";
  fake.mainQueue.runOne();
  EXPECT_FALSE(pending());
}

TEST_F(TakePictureTest, SourceAndAuthorizationDecideWhatIsShown) {
  const struct {
    int source;
    Camera camera;
    Photos photos;
    std::string shown;
  } rows[] = {
      {1, Camera::authorized, Photos::denied, "picker"},
      {1, Camera::restricted, Photos::authorized, "No camera"},
      {1, Camera::denied, Photos::authorized, "No camera"},
      {1, Camera(9), Photos::authorized, ""},
      {0, Camera::denied, Photos::authorized, "picker"},
      {2, Camera::denied, Photos::authorized, "picker"},
      {0, Camera::authorized, Photos::restricted, "No photos"},
      {2, Camera::authorized, Photos::denied, "No photos"},
      {0, Camera::authorized, Photos::limited, ""},
      {0, Camera::authorized, Photos(9), ""},
      {5, Camera::authorized, Photos::authorized, ""},
  };
  fake.imagePickers.available.insert(5);
  for (const auto& row : rows) {
    fake.captureDevice.status = row.camera;
    fake.photoLibrary.status = row.photos;
    controller->shown.clear();
    const auto callback = take({{source, row.source}});
    EXPECT_EQ(onScreen(), row.shown) << row.source;
    EXPECT_EQ(pending(), row.shown != "picker");
    EXPECT_THAT(callback->answers(), IsEmpty());
  }
  EXPECT_THAT(fake.log.lines.all(), IsEmpty());
}

TEST_F(TakePictureTest, AMissingSourceIsLoggedAndAnswered) {
  fake.imagePickers.available = {0};
  const std::string where = std::string(pluginSourceFile) + ":121 takePicture(_:)";
  for (const int given : {1, 2, 5}) {
    fake.log.lines.clear();
    const auto callback = take({{source, given}});
    EXPECT_THAT(callback->answers(),
                ElementsAre("OBJECT_REFERENCE_FAILED 'Camera disabled device'"));
    EXPECT_THAT(fake.log.lines.all(),
                ElementsAre("error [] Camera.getPicture: source type " + std::to_string(given) +
                            " not available. @" + where));
    EXPECT_TRUE(pending());
    EXPECT_EQ(onScreen(), "");
  }
}

TEST_F(TakePictureTest, AnUndecidedCameraIsAskedForAndTheAnswerDecides) {
  fake.captureDevice.status = Camera::notDetermined;
  for (const bool granted : {true, false}) {
    controller->shown.clear();
    const auto callback = take({});
    EXPECT_EQ(onScreen(), "") << "not before the user decides";
    fake.captureDevice.asked(granted);
    EXPECT_EQ(onScreen(), "") << "not on the platform's thread";
    fake.settle();
    EXPECT_EQ(onScreen(), granted ? "picker" : "No camera");
    EXPECT_THAT(callback->answers(), IsEmpty());
  }
}

TEST_F(TakePictureTest, AnUndecidedLibraryIsAskedForInALaterJobAndAnswersItsOwnCommand) {
  const std::string refused = "debug PHAuthorization denied or restricted";
  const struct {
    Photos decided;
    std::string shown, log;
  } rows[] = {{Photos::denied, "", refused},
              {Photos::restricted, "", refused},
              {Photos::authorized, "picker", "debug PHAuthorization Authorized"},
              {Photos::limited, "", ""},
              {Photos::notDetermined, "", ""}};
  for (const auto& row : rows) {
    controller->shown.clear();
    fake.log.lines.clear();
    fake.photoLibrary.asked = nullptr;
    fake.photoLibrary.status = Photos::notDetermined;
    const auto callback = issue({{source, library}});
    fake.mainQueue.runOne();
    EXPECT_FALSE(fake.photoLibrary.asked);
    fake.mainQueue.runOne();
    const auto decide = fake.photoLibrary.asked;
    ASSERT_TRUE(decide);
    const auto newer = take({{source, library}});
    decide(row.decided);
    fake.settle();
    EXPECT_EQ(onScreen(), row.shown);
    std::vector<std::string> answers, log;
    if (row.log == refused) answers = {"NO_PERMISSION 'has no access to PhotoLibrary'"};
    if (!row.log.empty()) log = {row.log};
    EXPECT_EQ(callback->answers(), answers);
    EXPECT_THAT(newer->answers(), IsEmpty());
    EXPECT_EQ(fake.log.lines.all(), log);
  }
}

TEST_F(TakePictureTest, APlugInThatIsGoneDuringAPromptEndsTheFlow) {
  fake.captureDevice.status = Camera::notDetermined;
  fake.photoLibrary.status = Photos::notDetermined;
  const auto first = take({}), second = take({{source, library}});
  const std::weak_ptr<VECameraPlugin> gone = plugin;
  plugin = nullptr;
  EXPECT_TRUE(gone.expired()) << "the prompts hold the plug-in weakly";
  fake.captureDevice.asked(true);
  fake.captureDevice.asked(false);
  fake.photoLibrary.asked(Photos::authorized);
  fake.photoLibrary.asked(Photos::denied);
  fake.settle();
  EXPECT_EQ(onScreen(), "");
  EXPECT_THAT(first->answers(), IsEmpty());
  EXPECT_THAT(second->answers(), ElementsAre("NO_PERMISSION 'has no access to PhotoLibrary'"));
}

TEST_F(TakePictureTest, AJobQueuedForAPlugInThatIsGoneDoesNothing) {
  fake.photoLibrary.status = Photos::notDetermined;
  const auto callback = issue({{source, library}});
  fake.mainQueue.runOne();
  plugin->retryPermission();
  const std::weak_ptr<VECameraPlugin> gone = plugin;
  plugin = nullptr;
  EXPECT_TRUE(gone.expired());
  fake.settle();
  EXPECT_FALSE(fake.photoLibrary.asked);
  EXPECT_EQ(onScreen(), "");
  EXPECT_THAT(callback->answers(), IsEmpty());
}

TEST_F(TakePictureTest, TheAuthorizationForVideoAndNoOtherIsReadAndAskedFor) {
  for (const auto status : {Camera::authorized, Camera::notDetermined, Camera::denied}) {
    fake.captureDevice.status = status;
    take({});
  }
  plugin->imagePickerControllerDidCancel(picker());
  fake.settle();
  EXPECT_THAT(fake.captureDevice.mediaTypes.all(),
              ElementsAre("vide", "vide", "vide", "vide", "vide"));
}

TEST_F(TakePictureTest, HandlersOfPermissionsActOnThePlatformsThread) {
  fake.captureDevice.status = Camera::notDetermined;
  fake.photoLibrary.status = Photos::notDetermined;
  take({});
  fake.captureDevice.asked(true);
  EXPECT_NE(picker(), nullptr);
  fake.settle();
  controller->shown.clear();
  fake.captureDevice.asked(false);
  fake.mainQueue.runOne();
  EXPECT_EQ(onScreen(), "No camera") << "one job presents the alert, which is built already";
  fake.settle();

  const auto earlier = picker();
  const auto callback = take({{source, library}});
  fake.photoLibrary.asked(Photos::authorized);
  EXPECT_NE(picker(), earlier);
  fake.photoLibrary.asked(Photos::denied);
  EXPECT_THAT(callback->answers(), SizeIs(1));
}

TEST_F(TakePictureTest, TheLibraryIsAskedForWhateverItsAuthorizationIsByThen) {
  for (const auto status : {Photos::denied, Photos::authorized, Photos::limited}) {
    fake.photoLibrary.status = Photos::notDetermined;
    fake.photoLibrary.asked = nullptr;
    issue({{source, library}});
    fake.mainQueue.runOne();
    fake.photoLibrary.status = status;
    fake.settle();
    EXPECT_TRUE(fake.photoLibrary.asked);
    EXPECT_EQ(onScreen(), "");
  }
}

TEST_F(TakePictureTest, TheCamerasCancelReturnsToIdleAfterItsAnswerAndTouchesNothingElse) {
  plugin->setVWebView(std::make_shared<VelmoraWebView>());
  take({{destination, dataUrl}, {geolocation, true}});
  finish(cameraInfo());
  fake.captureDevice.status = Camera::denied;
  const auto callback = take({});
  const auto before = plugin->inspect();
  ASSERT_TRUE(before.hasPendingOperation && before.pickerController && before.data &&
              before.metadata && before.hasLocationManager);
  callback->onAnswer = [this] { EXPECT_TRUE(pending() && picker()) << "the answer comes first"; };
  controller->press(1);
  EXPECT_THAT(callback->answers(), ElementsAre(noCamera));
  const auto after = plugin->inspect();
  EXPECT_FALSE(after.hasPendingOperation || after.pickerController);
  EXPECT_EQ(after.currentCallBack, callback);
  EXPECT_EQ(after.data, before.data);
  EXPECT_EQ(after.metadata, before.metadata);
  EXPECT_TRUE(after.hasLocationManager && plugin->webView() && plugin->viewController());
}

TEST_F(TakePictureTest, TheTwoAlertsAnswerAndResetDifferently) {
  const struct {
    int source;
    std::size_t action;
    bool hasSettings;
    std::vector<std::string> answers;
    bool reset;
  } rows[] = {{camera, 0, true, {}, false},
              {camera, 0, false, {}, false},
              {camera, 1, true, {noCamera}, true},
              {library, 0, true, {noCamera}, false},
              {library, 0, false, {}, false},
              {library, 1, true, {"NO_PERMISSION 'has no access to PhotoLibrary.'"}, false}};
  for (const auto& row : rows) {
    fake.captureDevice.status = Camera::authorized;
    take({});
    fake.captureDevice.status = Camera::denied;
    fake.photoLibrary.status = Photos::denied;
    controller->shown.clear();
    const auto older = take({{source, row.source}});
    controller->shown.erase(controller->shown.begin(), controller->shown.end() - 1);
    const auto alert = controller->alert();
    ASSERT_TRUE(alert);
    EXPECT_THAT(older->answers(), IsEmpty()) << "not before the user chooses";
    const auto newer = take({{source, 1}, {geolocation, false}});
    controller->calls.clear();
    fake.application.opened.clear();
    fake.application.settings =
        row.hasSettings ? std::optional(URL("app-settings:")) : std::nullopt;
    alert->actions()[row.action].handler(alert);
    EXPECT_THAT(controller->calls.all(), ElementsAre("dismiss animated"));
    EXPECT_EQ(newer->answers(), row.answers) << "the latest command gets the answer";
    EXPECT_THAT(older->answers(), IsEmpty());
    EXPECT_EQ(pending(), !row.reset);
    EXPECT_EQ(picker() == nullptr, row.reset);
    EXPECT_THAT(fake.application.opened.all(), SizeIs(row.action == 0 && row.hasSettings ? 1 : 0));
  }
}

TEST_F(TakePictureTest, AlertsAreShownOnTheControllerOfTheirMoment) {
  fake.captureDevice.status = Camera::denied;
  plugin->dispose();
  issue({});
  fake.mainQueue.runOne();
  plugin->setViewController(controller);
  fake.settle();
  EXPECT_EQ(onScreen(), "") << "the camera's alert looks at once";
  plugin->setViewController(nullptr);
  plugin->retryPermission();
  plugin->setViewController(controller);
  fake.settle();
  EXPECT_EQ(onScreen(), "No photos") << "the library's alert looks when it is shown";
  EXPECT_THAT(controller->calls.all(), ElementsAre("present animated"));
  EXPECT_THAT(titles(), ElementsAre("", "No photos", "Settings", "Cancel"));
  EXPECT_EQ(controller->alert()->preferredStyle(), UIAlertControllerStyle::alert);
  for (const auto& action : controller->alert()->actions())
    EXPECT_EQ(action.style, UIAlertActionStyle::defaultStyle);
}

TEST_F(TakePictureTest, ThePickerGoesToTheNewerControllerAndTheCamerasAlertToTheOneItHad) {
  const auto newer = std::make_shared<FakeController>(fake.mainQueue);
  for (const auto status : {Camera::authorized, Camera::denied}) {
    fake.captureDevice.status = status;
    plugin->setViewController(controller);
    issue({});
    fake.mainQueue.runOne();
    plugin->setViewController(newer);
    fake.settle();
    EXPECT_THAT(newer->shown, SizeIs(1)) << "the picker";
    EXPECT_THAT(controller->shown, SizeIs(status == Camera::denied ? 1 : 0)) << "the alert";
  }
}

TEST_F(TakePictureTest, AnAlertOutlivesThePlugInAndThenOnlyDismissesItself) {
  fake.captureDevice.status = Camera::denied;
  fake.photoLibrary.status = Photos::denied;
  const auto first = take({});
  const auto second = take({{source, library}});
  const auto alerts = controller->shown;
  const std::weak_ptr<VECameraPlugin> gone = plugin;
  plugin = nullptr;
  EXPECT_TRUE(gone.expired());
  controller->calls.clear();
  for (const auto& shown : alerts) {
    const auto alert = std::get<std::shared_ptr<UIAlertController>>(shown);
    alert->actions()[1].handler(alert);
  }
  EXPECT_THAT(controller->calls.all(), ElementsAre("dismiss animated", "dismiss animated"));
  EXPECT_THAT(first->answers(), IsEmpty());
  EXPECT_THAT(second->answers(), IsEmpty());
}

TEST_F(TakePictureTest, AnAlertThatThePlatformTookOffItselfDismissesNothingElse) {
  fake.captureDevice.status = Camera::denied;
  const auto callback = take({});
  const auto alert = controller->alert();
  alert->setPeer(nullptr);
  controller->calls.clear();
  alert->actions()[1].handler(alert);
  EXPECT_THAT(controller->calls.all(), IsEmpty());
  EXPECT_THAT(callback->answers(), SizeIs(1));
}

TEST_F(TakePictureTest, TextsComeFromTheBundleAnewEachTime) {
  plugin->retryPermission();
  fake.settle();
  controller->press(1);  // No command is in flight: nothing is answered.
  fake.bundles.texts.erase("SETTINGS");
  plugin->retryPermission();
  fake.settle();
  EXPECT_THAT(titles(), ElementsAre("", "No photos", "SETTINGS", "Cancel"));
  for (bool* missing : {&fake.bundles.present, &fake.bundles.opens}) {
    *missing = false;
    plugin->retryPermission();
    fake.settle();
    EXPECT_THAT(titles(), ElementsAre("", "", "", ""));
    *missing = true;
  }
}

TEST_F(TakePictureTest, ThePickerIsConfiguredFromTheOptions) {
  using Mode = UIImagePickerControllerCameraCaptureMode;
  const std::vector<std::string> available{"public.image", "public.movie"};
  const struct {
    std::optional<std::int64_t> source;
    std::optional<MediaType> media;
    bool hasTypes;
    std::vector<std::string> types;
    Mode mode;
    std::int64_t device;
  } rows[] = {
      {1, MediaType::mediaTypeVideo, true, {"public.movie"}, Mode::video, 0},
      {1, MediaType::mediaTypePicture, true, {"public.image"}, Mode::photo, 1},
      {{}, MediaType::mediaTypePicture, true, {"public.image"}, Mode::photo, 1},
      {1, MediaType::mediaTypeAll, true, {"public.image"}, Mode::photo, 1},
      {1, {}, true, {"public.image"}, Mode::photo, 1},
      {0, MediaType::mediaTypeVideo, true, {"public.video"}, Mode::photo, 0},
      {2, MediaType::mediaTypePicture, true, {"public.image"}, Mode::photo, 0},
      {0, MediaType::mediaTypeAll, true, available, Mode::photo, 0},
      {2, {}, true, available, Mode::photo, 0},
      {0, MediaType::mediaTypeAll, false, {"public.image"}, Mode::photo, 0},
  };
  for (const auto& row : rows) {
    fake.imagePickers.mediaTypes = row.hasTypes ? std::optional(available) : std::nullopt;
    fake.process.printed.clear();
    const auto options = std::make_shared<PictureOptions>();
    options->sourceType = row.source;
    options->mediaType = row.media;
    options->cameraDirection = UIImagePickerControllerCameraDevice::front;
    options->allowsEditing = true;
    CameraPicker made;
    made.setup(options, fake.imagePickers, fake.process);
    EXPECT_EQ(made.sourceType(), row.source.value_or(1));
    EXPECT_EQ(made.mediaTypes(), row.types);
    EXPECT_EQ(made.cameraCaptureMode(), row.mode);
    EXPECT_EQ(made.cameraDevice(), row.device);
    EXPECT_TRUE(made.allowsEditing());
    EXPECT_EQ(made.pictureOptions(), options);
    EXPECT_THAT(fake.process.printed.all(), ElementsAre("cameraDirection 1"));
  }
}

TEST_F(TakePictureTest, ThePickerIsPresentedFullScreenWithThePlugInAsItsDelegate) {
  take({{editing, true}});
  const auto first = std::dynamic_pointer_cast<CameraPicker>(picker());
  EXPECT_EQ(first->modalPresentationStyle(), UIModalPresentationStyle::fullScreen);
  EXPECT_EQ(first->delegate(), plugin);
  EXPECT_THAT(controller->calls.all(), ElementsAre("present animated"));
  EXPECT_TRUE(first->postUrl().empty() && !first->cropToSize() && !first->webView());
  first->viewWillAppear(true);
  EXPECT_THAT(controller->calls.all(), ElementsAre("present animated", "status bar"));
  plugin->dispose();
  const auto callback = take({});
  EXPECT_NE(picker(), first) << "made and kept, though nothing can present it";
  EXPECT_TRUE(pending());
  EXPECT_THAT(callback->answers(), IsEmpty());
}

TEST_F(TakePictureTest, AnEarlierPickerIsReplacedAndStaysUp) {
  take({});
  const auto first = picker();
  take({});
  const auto second = picker();
  EXPECT_NE(second, first);
  const auto refused = take({{media, 2}});
  EXPECT_THAT(refused->answers(), ElementsAre("INVALID_PARAM 'Not supported mediaType'"));
  EXPECT_EQ(picker(), second);
  for (const auto& shown : {first, second})
    EXPECT_EQ(shown->presentingViewController(), controller);
  EXPECT_THAT(controller->calls.all(), ElementsAre("present animated", "present animated"));
}

TEST_F(TakePictureTest, TheCameraDoesNotOfferAllMedia) {
  const auto callback = take({{media, 2}});
  EXPECT_THAT(callback->answers(), ElementsAre("INVALID_PARAM 'Not supported mediaType'"));
  EXPECT_EQ(picker(), nullptr);
  EXPECT_TRUE(pending());
}

}  // namespace
}  // namespace vecamera
