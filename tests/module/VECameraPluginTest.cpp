#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using namespace std::chrono;

const std::string removalFailed = "UNABLE_FILE_REMOVE 'One or more files failed to be deleted.'";

class VECameraPluginTest : public PluginTest {
 protected:
  std::vector<std::string> cleanup() {
    const auto callback = std::make_shared<FakeCallBack>();
    plugin->cleanup(callback);
    return callback->answers();
  }
  Value call(std::string_view selector, std::vector<Value> arguments = {}) {
    const auto* operation = plugin->operationForSelector(selector);
    return operation ? (*operation)(arguments) : Value("no such selector");
  }
};

TEST_F(VECameraPluginTest, TemporaryNamesCarryTheDeviceTimeOnATwelveHourClock) {
  const auto day = sys_days{2026y / November / 16} - 9h;
  const std::string prefix = "/app/tmp/velmora_photo_20261116";
  const std::tuple<Date, std::string, std::string> rows[] = {
      {deviceAfternoon(), "jpg", "020327.jpg"},
      {deviceAfternoon() - 12h, "jpg", "020327.jpg"},
      {day, "mp4", "120000.mp4"},
      {day + 12h + 5min, "PNG", "120500.PNG"},
      {day + 23h + 59min, ".jpg", "115900..jpg"},
      {day, "", "120000."}};
  for (const auto& [time, extension, name] : rows) {
    fake.clock.time = time;
    EXPECT_EQ(plugin->tempFilePath(extension), prefix + name);
    EXPECT_EQ(plugin->tempFilePath(extension), prefix + name) << "a name is not taken by asking";
  }
  fake.files.temporary = std::nullopt;
  EXPECT_THROW(plugin->tempFilePath("jpg"), FatalError);
}

TEST_F(VECameraPluginTest, ATakenNameIsWaitedForAndNotVaried) {
  const std::string path = "/app/tmp/velmora_photo_20261116020327.jpg";
  fake.files.pollsUntilFree[path] = 1000;
  int waits = 0;
  fake.files.onWait = [&](std::string_view waitedFor) {
    EXPECT_EQ(waitedFor, path);
    fake.clock.time += 1s;
    ++waits;
  };
  EXPECT_EQ(plugin->tempFilePath("jpg"), path) << "the date is taken once";
  EXPECT_EQ(fake.files.pollsUntilFree[path], -1) << "asked until it was free, and no further";
  EXPECT_EQ(waits, 1000) << "between each two questions";
}

TEST_F(VECameraPluginTest, CleanupRemovesEveryEntryAndStopsAtTheFirstFailure) {
  const std::string where = " @" + std::string(pluginSourceFile) + ":190 cleanup(_:)";
  const std::vector<std::string> success{"success"}, failure{removalFailed};
  const struct {
    std::optional<std::string> temporary;
    std::optional<Array> entries;
    std::vector<std::string> answers, removed, log;
  } rows[] = {
      {"/app/tmp/", {}, failure, {}, {}},
      {"/app/tmp/", Array(), success, {}, {}},
      {"/app/tmp/",
       Array{"a", "d", "d/b"},
       success,
       {"/app/tmp/a", "/app/tmp/d", "/app/tmp/d/b"},
       {}},
      {"/app/tmp/", Array{"a", 5, "b"}, success, {"/app/tmp/a"}, {}},
      {"/app/tmp/",
       Array{"a", "x y", "b"},
       failure,
       {"/app/tmp/a"},
       {"error [] Failed to delete: /app/tmp/x y (error: locked" + where}},
      {"/app/tmp/", Array{"a", "\\", "b"}, success, {"/app/tmp/a", "/app/tmp/b"}, {}},
      {"/a b/", Array{"a", "b"}, success, {}, {}},
      {std::nullopt, Array{"a"}, success, {}, {}},
  };
  fake.files.unremovable = {"/app/tmp/x%20y"};
  for (const auto& row : rows) {
    fake.files.removed.clear();
    fake.log.lines.clear();
    fake.files.temporary = row.temporary;
    fake.files.entries = row.entries;
    EXPECT_EQ(cleanup(), row.answers);
    EXPECT_EQ(fake.files.removed.all(), row.removed);
    EXPECT_EQ(fake.log.lines.all(), row.log);
  }
  EXPECT_THAT(pluginSourceFile, EndsWith("VECamera/core/VECameraPlugin.cpp"));
}

TEST_F(VECameraPluginTest, CleanupLeavesACommandInFlightAlone) {
  const auto callback = take({});
  const auto shown = picker();
  cleanup();
  EXPECT_EQ(plugin->inspect().currentCallBack, callback);
  EXPECT_EQ(picker(), shown);
  EXPECT_THAT(callback->answers(), IsEmpty());
}

TEST_F(VECameraPluginTest, TheHostsFunctionGetsAFileUrlAndItsMissingResultGivesTheInputBack) {
  const auto through = [this](std::string text) {
    return plugin->urlTransformer(URL(std::move(text))).absoluteString();
  };
  EXPECT_EQ(through("/a/b.jpg"), "/a/b.jpg") << "no command yet";
  const auto callback = take({});
  EXPECT_EQ(through("file:///a"), "app:file:///a");
  EXPECT_EQ(through("filed"), "app:filed") << "a plain prefix test";
  EXPECT_EQ(through("/a/b.jpg"), "app:file:///a/b.jpg");
  EXPECT_EQ(through("File:///a"), "app:file://File:///a") << "a test of case";
  transform = [](const URL&) { return std::nullopt; };
  EXPECT_EQ(through("/a/b.jpg"), "/a/b.jpg");
  callback->delegate = std::make_shared<FakeCommandDelegate>(nullptr);
  EXPECT_EQ(through("/a/b.jpg"), "/a/b.jpg");
  callback->delegate = nullptr;
  EXPECT_EQ(through("/a/b.jpg"), "/a/b.jpg");
}

TEST_F(VECameraPluginTest, DisposeDropsOnlyTheViewsAndAHeldBackPhotoStillGetsItsAnswer) {
  fake.coreLocation.fix = [] { return CLLocation(); };
  plugin->setVWebView(std::make_shared<VelmoraWebView>());
  const auto callback = take({{destination, dataUrl}, {geolocation, true}});
  finish(cameraInfo());
  const auto shown = picker();
  const auto before = plugin->inspect();
  ASSERT_TRUE(shown && before.data && before.metadata && before.hasLocationManager);
  plugin->dispose();
  EXPECT_EQ(plugin->webView(), nullptr);
  EXPECT_EQ(plugin->viewController(), nullptr);
  const auto after = plugin->inspect();
  EXPECT_EQ(after.currentCallBack, callback);
  EXPECT_EQ(after.pickerController, shown);
  EXPECT_EQ(after.data, before.data);
  EXPECT_EQ(after.metadata, before.metadata);
  EXPECT_TRUE(after.hasLocationManager);
  EXPECT_THAT(callback->answers(), IsEmpty());
  update();
  EXPECT_THAT(callback->answers(), testing::SizeIs(1));

  take({});
  EXPECT_TRUE(pending()) << "nothing presents its picker";
  plugin->dispose();
  EXPECT_TRUE(pending());
}

TEST_F(VECameraPluginTest, ANewerCommandReplacesTheOlderWhichIsNeverAnswered) {
  const auto older = take({{source, library}}), newer = take({{source, library}});
  plugin->imagePickerControllerDidCancel(picker());
  fake.settle();
  EXPECT_THAT(older->answers(), IsEmpty());
  EXPECT_THAT(newer->answers(), ElementsAre("NO_PERMISSION {errorMsg: 'no image selected'}"));
}

TEST_F(VECameraPluginTest, ASelectorReachesItsOperation) {
  const auto view = std::make_shared<VelmoraWebView>();
  const auto manager = fake.coreLocation.makeLocationManager();
  call("setVWebView:", {view});
  EXPECT_EQ(call("webView").object<VelmoraWebView>(), view);
  call("setWebView:", {Value()});
  EXPECT_TRUE(call("webView").isNull());
  EXPECT_EQ(call("viewController").object<FakeController>(), controller);
  call("setLocationManager:", {manager});
  EXPECT_EQ(call("locationManager").object<CLLocationManager>(), manager);
  fake.bundles.texts = {{"CANCEL", "Stop"}};
  EXPECT_EQ(call("getLocalizingString:", {"CANCEL"}), Value("Stop"));
  EXPECT_EQ(call("tempFilePath:", {"jpg"}), Value(plugin->tempFilePath("jpg")));
  EXPECT_EQ(call("urlTransformer:", {URL("file:///a")}), Value(URL("file:///a")));

  const auto command = std::make_shared<FakeCallBack>(
      Arguments{{destination, dataUrl}, {source, library}, {geolocation, true}});
  call("takePicture:", {command});
  fake.settle();
  EXPECT_EQ(call("usesGeolocation"), Value(true));
  call("imagePickerController:didFinishPickingMediaWithInfo:", {picker(), Dictionary()});
  fake.settle();
  take({});
  call("imagePickerControllerDidCancel:", {picker()});
  fake.settle();
  EXPECT_EQ(picker(), nullptr);
  take({});
  call("imagePickerControllerReturnImageResult");
  EXPECT_EQ(picker(), nullptr);
  fake.coreLocation.fix = [] { return CLLocation(); };
  call("locationManager:didUpdateLocations:", {manager, Array()});
  EXPECT_FALSE(plugin->inspect().hasLocationManager);
  call("cleanup:", {command});
  EXPECT_THAT(command->answers(),
              ElementsAre("FAIL_TAKE_PICTURE {errorMsg: 'Fail take picture'}", "success"));
  call("retryPermission");
  fake.settle();
  EXPECT_NE(controller->alert(), nullptr);
  call("dispose");
  EXPECT_TRUE(call("viewController").isNull());
  call("setViewController:", {controller});
  EXPECT_EQ(plugin->viewController(), controller);
}

TEST_F(VECameraPluginTest, SettersTakeNothing) {
  const auto view = std::make_shared<VelmoraWebView>();
  for (const auto* setter : {"setVWebView:", "setWebView:"}) {
    call(setter, {view});
    EXPECT_EQ(plugin->webView(), view);
    call(setter, {Value()});
    EXPECT_EQ(plugin->webView(), nullptr);
  }
  call("setViewController:", {Value()});
  EXPECT_EQ(plugin->viewController(), nullptr);
  call("setLocationManager:", {fake.coreLocation.makeLocationManager()});
  call("setLocationManager:", {Value()});
  EXPECT_FALSE(plugin->inspect().hasLocationManager);
}

TEST_F(VECameraPluginTest, UnknownSelectorsAndArgumentsOfTheWrongTypeDoNothing) {
  for (const auto* unknown : {"", "takePicture", "pluginInitialize", "handleOpenURL:", "onReset"})
    EXPECT_EQ(plugin->operationForSelector(unknown), nullptr) << unknown;
  for (const Value& wrong : {Value(), Value(5), Value(photo)}) {
    EXPECT_TRUE(call("takePicture:", {wrong}).isNull());
    EXPECT_TRUE(call("cleanup:", {wrong}).isNull());
    EXPECT_TRUE(call("urlTransformer:", {wrong}).isNull());
    call("imagePickerController:didFinishPickingMediaWithInfo:", {wrong, wrong});
    call("imagePickerControllerDidCancel:", {wrong});
    call("locationManager:didUpdateLocations:", {wrong, wrong});
    fake.settle();
  }
  EXPECT_FALSE(pending());
  EXPECT_THAT(controller->calls.all(), IsEmpty());
}

}  // namespace
}  // namespace vecamera
