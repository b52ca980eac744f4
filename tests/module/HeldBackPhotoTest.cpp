#include "VECamera/location/GpsDictionary.h"
#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono;

const std::string fileName = "/app/tmp/velmora_photo_20261116020327";
const Date lateEvening = sys_days{2024y / March / 1} + 23h + 59min + 59s + 123456us;

class HeldBackPhotoTest : public PluginTest {
 protected:
  HeldBackPhotoTest() {
    fake.coreLocation.fix = [] { return CLLocation{{-33.5, 151.2}, 12, lateEvening}; };
  }
  /// A camera photo that waits for its location.
  std::shared_ptr<FakeCallBack> capture(int form, Arguments more = {},
                                        Dictionary info = cameraInfo()) {
    more.merge(Arguments{{destination, form}, {geolocation, true}, {quality, 100}});
    auto callback = take(more);
    finish(std::move(info));
    return callback;
  }
};

TEST_F(HeldBackPhotoTest, TheGpsDictionaryKeepsSignsBesideItsTextReferences) {
  const double nan = std::nan("");
  const std::string stamps = "DateStamp: '2024:03:01', ";
  const std::string time = ", TimeStamp: '23:59:59.123456'}";
  const std::tuple<double, double, double, std::string> rows[] = {
      {-33.5, 151.2, 12,
       "Altitude: 12, AltitudeRef: '0', " + stamps +
           "Latitude: -33.5, LatitudeRef: 'S', Longitude: 151.2, LongitudeRef: 'E'"},
      {0, 0, 0,
       "Altitude: 0, AltitudeRef: '0', " + stamps +
           "Latitude: 0, LatitudeRef: 'N', Longitude: 0, LongitudeRef: 'E'"},
      {1, -2.5, -5,
       "Altitude: -5, AltitudeRef: '1', " + stamps +
           "Latitude: 1, LatitudeRef: 'N', Longitude: -2.5, LongitudeRef: 'W'"},
      {1, 2, nan, stamps + "Latitude: 1, LatitudeRef: 'N', Longitude: 2, LongitudeRef: 'E'"}};
  for (const auto& [latitude, longitude, altitude, expected] : rows) {
    fake.coreLocation.fix = [=, la = latitude, lo = longitude, al = altitude] {
      return CLLocation{{la, lo}, al, lateEvening};
    };
    const auto manager = fake.coreLocation.makeLocationManager();
    EXPECT_EQ(describe(gpsDictionary(*manager, fake.dateFormatters, fake.process)),
              "{" + expected + time);
  }
  fake.dateFormatters.knowsZones = false;
  const auto gps =
      gpsDictionary(*fake.coreLocation.makeLocationManager(), fake.dateFormatters, fake.process);
  EXPECT_EQ(describe(*find(gps, kCGImagePropertyGPSTimeStamp)), "'08:59:59.123456'");
  EXPECT_EQ(describe(*find(gps, kCGImagePropertyGPSDateStamp)), "'2024:03:02'")
      << "the device's own zone, where UTC is unknown";
}

TEST_F(HeldBackPhotoTest, AManagerIsMadeOnTheFirstReadAndNeverStartedByIt) {
  EXPECT_FALSE(plugin->inspect().hasLocationManager);
  const auto manager = plugin->locationManager();
  EXPECT_EQ(plugin->locationManager(), manager);
  EXPECT_EQ(manager->desiredAccuracy(), kCLLocationAccuracyNearestTenMeters);
  EXPECT_EQ(manager->delegate(), plugin);
  plugin->setLocationManager(nullptr);
  EXPECT_NE(plugin->locationManager(), manager);
  plugin->setLocationManager(manager);
  EXPECT_EQ(plugin->locationManager(), manager);
  EXPECT_THAT(fake.coreLocation.calls.all(), ElementsAre("make", "make"));
}

TEST_F(HeldBackPhotoTest, ACameraPhotoIsHeldBackUntilTheFirstUpdate) {
  const auto callback = capture(fileUri);
  EXPECT_THAT(callback->answers(), IsEmpty());
  EXPECT_NE(picker(), nullptr);
  EXPECT_EQ(describe(*plugin->inspect().data), "bytes[jpeg(photo@1)]");
  EXPECT_EQ(describe(*plugin->inspect().metadata), "{{Exif}: {Lens: 'wide'}}")
      << "only the EXIF part is kept";
  EXPECT_THAT(fake.coreLocation.calls.all(),
              ElementsAre("make", "perform requestWhenInUseAuthorization", "start"));
  fake.coreLocation.calls.clear();
  update();
  EXPECT_THAT(callback->answers(),
              ElementsAre("success {callbackURI: <app:file://" + fileName + ".jpg>}"));
  EXPECT_EQ(describe(fake.files.files[fileName + ".jpg"]), "bytes[jpeg(photo@1)]");
  EXPECT_THAT(fake.imageIO.calls.all(),
              ElementsAre("destination public.jpeg x1 over jpeg(photo@1)",
                          testing::AllOf(testing::HasSubstr("{Exif}: {Lens: 'wide'}"),
                                         testing::HasSubstr("{GPS}: {Altitude: 12")),
                          "finalize"));
  const auto idle = plugin->inspect();
  EXPECT_FALSE(idle.hasPendingOperation || idle.pickerController || idle.data || idle.metadata ||
               idle.hasLocationManager);
  update();
  EXPECT_EQ(callback->answers().size(), 1u) << "later updates find no manager";
  EXPECT_THAT(fake.coreLocation.calls.all(), ElementsAre("stop"));
}

TEST_F(HeldBackPhotoTest, APhotoThatCannotBeEncodedReplacesAnEarlierOne) {
  capture(dataUrl);
  ASSERT_TRUE(plugin->inspect().data);
  fake.images.encodes = false;
  const auto callback = capture(dataUrl);
  EXPECT_FALSE(plugin->inspect().data);
  update();
  EXPECT_THAT(callback->answers(), ElementsAre("success {}"));
}

TEST_F(HeldBackPhotoTest, TheGpsDictionaryReplacesAnEarlierOne) {
  fake.imageIO.properties = Dictionary{{"{GPS}", Dictionary{{"Speed", 5}, {"Altitude", 1}}}};
  take({{destination, fileUri}, {source, library}, {geolocation, true}});
  finish({{std::string(UIImagePickerControllerPHAsset), std::make_shared<FakeAsset>("A")}});
  fake.imageManager.requests.front()(Data(), {}, 1, {});
  fake.settle();
  ASSERT_EQ(plugin->inspect().metadata, fake.imageIO.properties);
  fake.imageIO.calls.clear();
  plugin->locationManager();
  take({{destination, dataUrl}, {source, library}});
  update();
  EXPECT_THAT(fake.imageIO.calls.all(),
              testing::Contains(testing::AllOf(testing::HasSubstr("Altitude: 12"),
                                               testing::Not(testing::HasSubstr("Speed")))));
}

TEST_F(HeldBackPhotoTest, WithoutUsableMetadataThePhotoWaitsAndNoLocationIsAskedFor) {
  const std::string key(UIImagePickerControllerMediaMetadata);
  for (const Dictionary& info : {Dictionary(), Dictionary{{key, "text"}}}) {
    const auto callback = capture(dataUrl, {}, info);
    EXPECT_THAT(callback->answers(), IsEmpty());
    EXPECT_TRUE(plugin->inspect().data);
    EXPECT_FALSE(plugin->inspect().metadata);
    EXPECT_THAT(fake.coreLocation.calls.all(), IsEmpty());
  }
  capture(dataUrl, {}, {{key, Dictionary{{"{Exif}", "text"}}}});
  EXPECT_EQ(plugin->inspect().metadata, Dictionary());
  EXPECT_THAT(fake.coreLocation.calls.all(), testing::Contains("start"));
}

TEST_F(HeldBackPhotoTest, PngAndNativeUrisStartNoLocation) {
  for (const auto& [form, encoded] : {std::pair(fileUri, 1), std::pair(nativeUri, 0)}) {
    const auto callback = capture(form, {{encoding, encoded}});
    EXPECT_FALSE(plugin->inspect().data || plugin->inspect().metadata);
    EXPECT_THAT(fake.coreLocation.calls.all(), IsEmpty());
    EXPECT_THAT(callback->answers(), IsEmpty());
  }
}

TEST_F(HeldBackPhotoTest, TheHeldBackResultIsAnsweredByItsDestination) {
  const std::string file = "success {callbackURI: <app:file://" + fileName;
  const struct {
    int form, encoding;
    std::string temporary;
    std::optional<NSError> error;
    std::vector<std::string> answers;
    std::size_t files;
  } rows[] = {
      {dataUrl, 0, "/t/", {}, {"success {callbackURI: bytes[b64:jpeg(photo@1)]}"}, 0},
      {dataUrl, 1, "/t/", {}, {"success {}"}, 0},
      {fileUri, 0, "/app/tmp/", {}, {file + ".jpg>}"}, 1},
      {fileUri, 9, "/app/tmp/", {}, {file + ".jpg>}"}, 0},
      {fileUri, 1, "/app/tmp/", {}, {file + ".png>}"}, 0},
      {fileUri, 0, "/a b/", {}, {"UNABLE_FILE_WRITE {errorMsg: 'Invalid file path'}"}, 0},
      {fileUri, 0, "/t/", errorSaying("full"), {"UNABLE_FILE_WRITE {errorMsg: 'full'}"}, 0},
      {nativeUri, 0, "/t/", {}, {}, 0},
      {9, 0, "/t/", {}, {}, 0},
  };
  for (const auto& row : rows) {
    fake.files.temporary = row.temporary;
    fake.files.writeError = row.error;
    fake.files.files.clear();
    fake.photoLibrary.changes.clear();
    const auto callback = capture(row.form, {{encoding, row.encoding}, {album, true}});
    EXPECT_THAT(callback->answers(), IsEmpty());
    const auto changes = fake.photoLibrary.changes.size();
    plugin->imagePickerControllerReturnImageResult();
    fake.settle();
    EXPECT_EQ(callback->answers(), row.answers);
    EXPECT_EQ(fake.files.files.size(), row.files) << "without bytes nothing is written";
    EXPECT_EQ(fake.photoLibrary.changes.size(), changes) << "nothing more goes to the album";
    const auto idle = plugin->inspect();
    EXPECT_FALSE(idle.hasPendingOperation || idle.pickerController || idle.data || idle.metadata);
    plugin->imagePickerControllerReturnImageResult();
    EXPECT_EQ(callback->answers(), row.answers) << "a second call answers nothing";
  }
}

TEST_F(HeldBackPhotoTest, AnUpdateWithoutMetadataStillAnswers) {
  const auto callback = capture(dataUrl, {}, {});
  plugin->locationManager();
  update();
  EXPECT_THAT(callback->answers(), ElementsAre("success {callbackURI: bytes[b64:jpeg(photo@1)]}"));
  EXPECT_THAT(fake.imageIO.calls.all(), IsEmpty());
}

TEST_F(HeldBackPhotoTest, AFailedEmbeddingIsSilent) {
  for (bool* broken :
       {&fake.images.decodes, &fake.imageIO.makesSources, &fake.imageIO.makesDestinations}) {
    *broken = false;
    const auto callback = capture(dataUrl);
    update();
    EXPECT_THAT(callback->answers(),
                ElementsAre("success {callbackURI: bytes[b64:jpeg(photo@1)]}"));
    *broken = true;
  }
  EXPECT_THAT(fake.imageIO.calls.all(), IsEmpty());
  EXPECT_THAT(fake.log.lines.all(), testing::Each("debug saveToPhotoAlbum false"));
}

TEST_F(HeldBackPhotoTest, AnUpdateWithoutALocationIsFatalAfterTheManagerIsReleased) {
  capture(dataUrl);
  fake.coreLocation.fix = [] { return std::nullopt; };
  EXPECT_THROW(update(), FatalError);
  EXPECT_FALSE(plugin->inspect().hasLocationManager);
}

}  // namespace
}  // namespace vecamera
