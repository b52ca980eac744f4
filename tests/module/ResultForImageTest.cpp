#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string fileName = "/app/tmp/velmora_photo_20261116020327";
const std::string reference(UIImagePickerControllerReferenceURL);
const std::string assetKey(UIImagePickerControllerPHAsset);

class ResultForImageTest : public PluginTest {
 protected:
  using Setup = std::function<void(FakePlatform&)>;
  static void noSetup(FakePlatform&) {}

  /// One command from its arguments to its answers; changes of the library succeed at once.
  std::vector<std::string> answersTo(Arguments arguments, Dictionary info = {}) {
    const auto callback = take(std::move(arguments));
    finish(std::move(info));
    return callback->answers();
  }
  static Arguments with(Arguments base, const Arguments& more) {
    for (const auto& [position, value] : more) base[position] = value;
    return base;
  }
};

TEST_F(ResultForImageTest, APictureIsChosenRotatedAndScaledAsAsked) {
  const auto edited = std::make_shared<FakeImage>("edited", CGSize{10, 20});
  const std::string editedKey(UIImagePickerControllerEditedImage);
  const struct {
    Arguments arguments;
    Dictionary info;
    bool yieldsImages;
    std::string image;
  } rows[] = {
      {{}, {{editedKey, edited}}, true, "photo@1"},
      {{{editing, true}}, {{editedKey, edited}}, true, "edited@0"},
      {{{editing, true}}, {{editedKey, "none"}}, true, "photo@0"},
      {{{width, 20}, {height, 20}}, {}, true, "scaled photo@0"},
      {{{width, 20}, {height, 20}}, {}, false, "photo@0"},
      {{{width, 0}, {height, 20}}, {}, true, "photo@0"},
      {{{width, -1}, {height, 0}}, {}, true, "photo@1"},
      {{{orientation, true}, {quality, 100}}, {}, true, "rotated@1"},
      {{{orientation, true}, {width, 9}, {height, 9}}, {}, true, "scaled rotated@0"},
  };
  for (const auto& row : rows) {
    fake.graphics.yieldsImages = row.yieldsImages;
    const auto arguments = with(row.arguments, {{destination, dataUrl}, {source, library}});
    EXPECT_THAT(
        answersTo(arguments, row.info),
        ElementsAre("success {callbackURI: 'data:image/jpeg;base64,b64:jpeg(" + row.image + ")'}"));
  }
}

TEST_F(ResultForImageTest, WithoutBytesNothingIsDelivered) {
  const Dictionary noImage{{std::string(UIImagePickerControllerOriginalImage), "text"}};
  for (const int given : {dataUrl, fileUri}) {
    EXPECT_THAT(answersTo({{destination, given}}, noImage), ElementsAre("success {}"));
    EXPECT_THAT(answersTo({{destination, given}, {encoding, 5}}), ElementsAre("success {}"));
    fake.graphics.yieldsImages = false;  // A failed correction leaves no picture.
    EXPECT_THAT(answersTo({{destination, given}, {orientation, true}}), ElementsAre("success {}"));
    fake.graphics.yieldsImages = true;
    fake.images.encodes = false;
    EXPECT_THAT(answersTo({{destination, given}, {encoding, 1}, {album, true}}),
                ElementsAre("success {}"));
    fake.images.encodes = true;
  }
  EXPECT_THAT(answersTo({{destination, 9}, {album, true}}), ElementsAre("success {}"));
  EXPECT_THAT(fake.files.files, IsEmpty());
  EXPECT_THAT(fake.photoLibrary.changes, IsEmpty());
}

TEST_F(ResultForImageTest, PlainFilesAreWrittenUnderAFreshNameAndTransformed) {
  const Arguments file{{destination, fileUri}, {source, library}};
  EXPECT_THAT(answersTo(file),
              ElementsAre("success {callbackURI: 'app:file://" + fileName + ".jpg'}"))
      << "the host's function gets a file URL";
  EXPECT_EQ(describe(fake.files.files[fileName + ".jpg"]), "bytes[jpeg(photo@1)]");
  EXPECT_THAT(answersTo(with(file, {{encoding, 1}})),
              ElementsAre("success {callbackURI: 'app:file://" + fileName + ".png'}"));
  EXPECT_EQ(describe(fake.files.files[fileName + ".png"]), "bytes[png(photo)]");

  fake.files.createFails = true;
  fake.files.files.clear();
  EXPECT_THAT(answersTo(file),
              ElementsAre("UNABLE_FILE_WRITE {errorMsg: 'Fail write image file'}"));
  fake.files.createFails = false;
  fake.files.temporary = "/my app/tmp/";
  EXPECT_THAT(answersTo(file), ElementsAre("UNABLE_FILE_WRITE {errorMsg: 'Invalid image path'}"));
  EXPECT_THAT(fake.files.files, SizeIs(1)) << "the file stays";
}

TEST_F(ResultForImageTest, ALibraryPictureWithGeolocationIsAnsweredWithAUrlValueAfterItsDataCame) {
  const auto picked = std::make_shared<FakeAsset>("PICKED"),
             old = std::make_shared<FakeAsset>("OLD");
  fake.photoLibrary.assetsByUrl["assets-library://old"] = old;
  const Dictionary asset{{assetKey, picked}};
  const Dictionary both{{assetKey, picked}, {reference, URL("assets-library://old")}};
  const Dictionary unknown{{assetKey, picked}, {reference, URL("assets-library://gone")}};
  const std::string done = "success {callbackURI: <app:file://" + fileName + ".jpg>}";
  const struct {
    int source;
    Dictionary info;
    Setup setup;
    std::optional<Data> original;
    std::string asked, answer;
  } rows[] = {
      {0, asset, noSetup, Data(), "PICKED with options", done},
      {2, both, noSetup, Data(), "OLD with options", done},
      {0, unknown, noSetup, Data(), "PICKED with options", done},
      {0, {{assetKey, photo}}, noSetup, {}, "", "success {}"},
      {0, {}, noSetup, {}, "", "success {}"},
      {0,
       asset,
       noSetup,
       {},
       "PICKED with options",
       "UNABLE_FILE_WRITE {errorMsg: 'Failed to fetch image data'}"},
      {0, asset, [](auto& f) { f.files.temporary = "/my app"; }, Data(), "PICKED with options",
       "success {}"},
      {0, asset,
       [](auto& f) { f.files.temporary = "/app/tmp/", f.files.writeError = errorSaying("full"); },
       Data(), "PICKED with options", "UNABLE_FILE_WRITE {errorMsg: 'full'}"},
  };
  for (const auto& row : rows) {
    row.setup(fake);
    fake.files.files.clear();
    fake.imageManager.asked.clear();
    const auto callback = take({{destination, fileUri}, {source, row.source}, {geolocation, true}});
    finish(row.info);
    if (!row.asked.empty()) {
      EXPECT_THAT(fake.imageManager.asked.all(), ElementsAre(row.asked));
      EXPECT_THAT(callback->answers(), IsEmpty()) << "not before the data came";
      fake.imageManager.requests.front()(row.original, "public.heic", 1, {});
      fake.imageManager.requests.clear();
      expectBackgroundJob();
      fake.settle();
    }
    EXPECT_THAT(callback->answers(), ElementsAre(row.answer));
    EXPECT_EQ(fake.files.files.size(), row.answer == done ? 1u : 0u);
    for (const auto& [path, bytes] : fake.files.files)
      EXPECT_EQ(describe(bytes), "bytes[jpeg(photo@1)]") << "never the merged bytes";
  }
}

TEST_F(ResultForImageTest, ALibraryPicturesMetadataIsMergedAndTheMergeDropped) {
  const std::vector<std::string> merge{"destination public.jpeg x1 over jpeg(photo@1)",
                                       "add {of: 'asset'}", "finalize"};
  const std::pair<Setup, bool> rows[] = {
      {noSetup, true},
      {[](auto& f) { f.imageIO.properties = std::nullopt; }, false},
      {[](auto& f) { f.imageIO.makesSources = false; }, false},
      {[](auto& f) { f.imageIO.type = std::nullopt; }, false},
      {[](auto& f) { f.imageIO.makesDestinations = false; }, false}};
  for (const auto& [setup, merges] : rows) {
    fake.imageIO.calls.clear();
    fake.imageIO.properties = Dictionary{{"of", "asset"}};
    fake.imageIO.makesSources = fake.imageIO.makesDestinations = true;
    fake.imageIO.type = "public.jpeg";
    setup(fake);
    const auto callback = take({{destination, fileUri}, {source, library}, {geolocation, true}});
    finish({{assetKey, std::make_shared<FakeAsset>("A")}});
    fake.imageManager.requests.front()(Data::copyOf("original"), {}, 1, {});
    fake.imageManager.requests.clear();
    fake.settle();
    EXPECT_EQ(fake.imageIO.calls.all(), merges ? merge : std::vector<std::string>());
    EXPECT_EQ(plugin->inspect().metadata, fake.imageIO.properties);
    EXPECT_EQ(describe(*plugin->inspect().data), "bytes[jpeg(photo@1)]") << "not the merged bytes";
    EXPECT_EQ(describe(fake.files.files[fileName + ".jpg"]), "bytes[jpeg(photo@1)]");
    EXPECT_THAT(callback->answers(), SizeIs(1));
    fake.files.files.clear();
  }
}

TEST_F(ResultForImageTest, TheLibrarysPropertiesReplaceTheCapturesUnlessTheOriginalIsNoPicture) {
  const Dictionary captured{{"{Exif}", Dictionary{{"Lens", "wide"}}}};
  for (const auto& properties : {std::optional(Dictionary{{"of", "asset"}}), {}}) {
    fake.imageIO.properties = properties;
    take({{destination, fileUri}, {source, library}, {geolocation, true}});
    auto info = cameraInfo();
    info[assetKey] = std::make_shared<FakeAsset>("A");
    finish(info);
    ASSERT_EQ(plugin->inspect().metadata, captured);
    fake.imageManager.requests.front()(Data::copyOf("original"), {}, 1, {});
    fake.imageManager.requests.clear();
    fake.settle();
    EXPECT_EQ(plugin->inspect().metadata, properties.value_or(captured));
    fake.files.files.clear();
  }
}

TEST_F(ResultForImageTest, APictureOfTheLibraryIsNamedByItsReferenceAndNotSavedAgain) {
  const auto answers = answersTo({{source, library}, {album, true}},
                                 {{reference, URL("assets-library://asset/a.JPG?id=1&ext=JPG")}});
  EXPECT_THAT(answers, ElementsAre("success {callbackURI: "
                                   "'app:file://assets-library://asset/a.JPG?id=1&ext=JPG'}"));
  EXPECT_THAT(fake.log.lines.all(), ElementsAre("debug saveToPhotoAlbum false"));
  EXPECT_THAT(fake.photoLibrary.changes, IsEmpty());
}

TEST_F(ResultForImageTest, ANewAssetIsNamedByANativeUriWithEscapedAmpersands) {
  const std::string jpeg = "app:file://assets-library://asset/asset.JPG?id=NEW-1%26ext=JPG";
  const std::string png = "app:file://assets-library://asset/asset.PNG?id=NEW-1%26ext=PNG";
  const std::string spaced = "assets-library://asset/asset.JPG?id=A B&ext=JPG";
  const auto placeholder = [](std::optional<std::string> given) {
    return [given](FakePlatform& f) { f.photoLibrary.placeholder = given; };
  };
  const struct {
    int encoding;
    Setup setup;
    bool success;
    std::optional<NSError> error;
    std::string answer;
    std::optional<std::string> logged;
  } rows[] = {
      {0, noSetup, true, {}, "success {callbackURI: '" + jpeg + "'}", jpeg},
      {7, noSetup, true, {}, "success {callbackURI: '" + jpeg + "'}", jpeg},
      {1, noSetup, true, {}, "success {callbackURI: '" + png + "'}", png},
      {0, noSetup, false, {}, "success {}", {}},
      {0, noSetup, true, errorSaying("refused"), "UNABLE_FILE_WRITE {errorMsg: 'refused'}", {}},
      {0, placeholder(std::nullopt), true, {}, "success {}", {}},
      {0,
       placeholder("A B"),
       true,
       {},
       "UNABLE_FILE_WRITE {errorMsg: 'URL PathIsWrong " + spaced + "'}",
       {}},
      {0,
       [](auto& f) { f.photoLibrary.placeholder = "N", f.urls.encodes = false; },
       true,
       {},
       "success {}",
       ""},
      {0, [](auto& f) { f.images.encodes = false; }, true, {}, "success {}", {}},
  };
  for (const auto& row : rows) {
    row.setup(fake);
    fake.log.lines.clear();
    const auto callback = take({{encoding, row.encoding}});
    finish();
    EXPECT_THAT(callback->answers(), IsEmpty()) << "not before the library has changed";
    fake.photoLibrary.finishChange(row.success, row.error);
    expectBackgroundJob();
    fake.settle();
    EXPECT_THAT(callback->answers(), ElementsAre(row.answer));
    std::vector<std::string> log{"debug saveToPhotoAlbum false"};
    if (row.logged) log.insert(log.begin(), "debug nativeUri :" + *row.logged);
    EXPECT_EQ(fake.log.lines.all(), log);
  }
  EXPECT_THAT(fake.photoLibrary.added.all(), Contains("type 1 png(photo)").Times(8));
}

TEST_F(ResultForImageTest, ANewAssetIsSavedTwiceWhenTheAlbumIsAskedForToo) {
  const auto callback = take({{album, true}});
  finish();
  fake.photoLibrary.finishChange(true);
  fake.settle();
  EXPECT_THAT(callback->answers(), SizeIs(1));
  ASSERT_EQ(fake.photoLibrary.changes.size(), 1u);
  fake.photoLibrary.finishChange(true);
  fake.settle();
  EXPECT_THAT(fake.photoLibrary.added.all(), ElementsAre("type 1 png(photo)", "type 1 png(photo)"));
}

TEST_F(ResultForImageTest, TheAlbumSaveIsDetachedAndItsResultOnlyLogged) {
  const std::string failed =
      "error [] error : full @" + std::string(pluginSourceFile) + ":354 resultForImage(_:info:)";
  const struct {
    bool success;
    std::optional<NSError> error;
    std::vector<std::string> log;
  } rows[] = {{true, {}, {"debug taskResult true", "debug save photoAlbum success"}},
              {false, {}, {"debug taskResult false"}},
              {true, errorSaying("full"), {failed}}};
  for (const auto& row : rows) {
    fake.log.lines.clear();
    const auto callback = take({{destination, dataUrl}, {album, true}, {source, library}});
    finish();
    EXPECT_THAT(callback->answers(), SizeIs(1)) << "the answer does not wait for the album";
    fake.photoLibrary.finishChange(row.success, row.error);
    expectBackgroundJob();
    fake.settle();
    std::vector<std::string> log{"debug saveToPhotoAlbum true"};
    log.insert(log.end(), row.log.begin(), row.log.end());
    EXPECT_EQ(fake.log.lines.all(), log);
    EXPECT_THAT(callback->answers(), SizeIs(1));
  }
}

TEST_F(ResultForImageTest, AnUnknownEncodingDeliversNothingButIsStillSavedToTheAlbum) {
  EXPECT_THAT(answersTo({{destination, dataUrl}, {encoding, 5}, {album, true}}),
              ElementsAre("success {}"));
  fake.photoLibrary.finishChange(true);
  EXPECT_THAT(fake.photoLibrary.added.all(), ElementsAre("type 1 png(photo)"));
}

}  // namespace
}  // namespace vecamera
