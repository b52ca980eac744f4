#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Status = AVAssetExportSessionStatus;

const std::string path = "/app/tmp/velmora_photo_20261116020327.mp4";
std::string logged(const std::string& sentence) {
  return "error [] error : " + sentence + " @" + std::string(pluginSourceFile) +
         ":0 resultForVideo(_:info:)";
}

const std::string failure = "FAIL_TAKE_PICTURE {errorMsg: 'Fail take picture'}";

class ResultForVideoTest : public PluginTest {
 protected:
  const Dictionary movie{{std::string(UIImagePickerControllerMediaType), "public.movie"},
                         {std::string(UIImagePickerControllerMediaURL), URL("file:///m.mov")}};

  /// The page's command, up to the export that it waits for.
  std::shared_ptr<FakeCallBack> export_(Arguments arguments) {
    fake.log.lines.clear();
    const auto callback = take(std::move(arguments));
    finish(movie);
    EXPECT_THAT(callback->answers(), IsEmpty()) << "not before the movie is exported";
    return callback;
  }
  void endExport(const std::string& contents = "movie") {
    fake.files.files[path] = Data::copyOf(contents);
    fake.assetExports.sessions.back()->end(Status::completed);
    fake.settle();
  }
  /// The picker's answer for a picker that carries no options.
  void finishWithoutOptions() {
    const auto bare = std::make_shared<CameraPicker>();
    controller->presentViewController(bare, true, nullptr);
    plugin->imagePickerControllerDidFinishPickingMediaWithInfo(bare, movie);
    fake.settle();
  }
};

TEST_F(ResultForVideoTest,
       TheMovieIsExportedToAFreshMpeg4FileAndItsFileUrlGoesThroughTheTransformer) {
  for (const Arguments& arguments : {Arguments{{destination, fileUri}}, {{destination, 9}}}) {
    const auto callback = export_(arguments);
    EXPECT_THAT(
        fake.assetExports.calls.all(),
        ElementsAre("asset file:///m.mov", "export with AVAssetExportPresetHighestQuality"));
    EXPECT_EQ(fake.assetExports.sessions.back()->fileType, "public.mpeg-4");
    EXPECT_EQ(fake.assetExports.sessions.back()->output, "file://" + path);
    endExport();
    EXPECT_THAT(callback->answers(),
                ElementsAre("success {callbackURI: 'app:file://" + path + "'}"));
    EXPECT_THAT(fake.log.lines.all(), IsEmpty());
    EXPECT_THAT(fake.files.files, SizeIs(1));
    fake.files.files.clear();
    fake.assetExports.calls.clear();
  }
}

TEST_F(ResultForVideoTest, AMovieIsDeliveredInTheBackgroundAndAnsweredOnTheMainActor) {
  const auto callback = export_({{destination, fileUri}});
  fake.assetExports.sessions.back()->end(Status::completed);
  expectBackgroundJob();
  fake.manualBackground.runAll();
  EXPECT_THAT(callback->answers(), IsEmpty());
  fake.mainQueue.runAll();
  EXPECT_THAT(callback->answers(), SizeIs(1));
}

TEST_F(ResultForVideoTest, WhatKeepsThePickedFileLivesUntilTheExportHasEnded) {
  auto owner = std::make_shared<int>();
  const std::weak_ptr<int> kept = owner;
  take({{destination, fileUri}});
  finish({{std::string(UIImagePickerControllerMediaType), "public.movie"},
          {std::string(UIImagePickerControllerMediaURL), URL("file:///m.mov", std::move(owner))}});
  EXPECT_FALSE(kept.expired());
  endExport();
  EXPECT_TRUE(kept.expired());
}

TEST_F(ResultForVideoTest, WithoutOptionsAFileIsAnswered) {
  const auto callback = take({{album, true}});
  finishWithoutOptions();
  endExport();
  EXPECT_THAT(callback->answers(), ElementsAre("success {callbackURI: 'app:file://" + path + "'}"));
  EXPECT_THAT(fake.photoLibrary.changes, IsEmpty());
}

TEST_F(ResultForVideoTest, WhatCannotBeExportedOrReadIsAFailure) {
  const std::string key(UIImagePickerControllerMediaURL);
  for (const Dictionary& info : {Dictionary{{key, Value()}}, {{key, "file:///m.mov"}}}) {
    const auto callback = take({{destination, fileUri}});
    auto given = info;
    finish([&] {
      auto all = given;
      all.merge(Dictionary(movie));
      return all;
    }());
    EXPECT_THAT(callback->answers(), ElementsAre(failure));
  }
  fake.assetExports.makesSessions = false;
  auto callback = take({{destination, fileUri}});
  finish(movie);
  EXPECT_THAT(callback->answers(), ElementsAre(failure));
  fake.assetExports.makesSessions = true;

  for (const auto status : {Status::failed, Status::cancelled}) {
    callback = export_({{destination, nativeUri}, {album, true}});
    fake.assetExports.sessions.back()->end(status, errorSaying("no codec"));
    fake.settle();
    EXPECT_THAT(callback->answers(), ElementsAre(failure));
    EXPECT_THAT(fake.log.lines.all(), ElementsAre(logged("no codec")));
    EXPECT_THAT(fake.photoLibrary.changes, IsEmpty());
  }

  callback = export_({{destination, dataUrl}});
  fake.assetExports.sessions.back()->end(Status::completed);
  fake.settle();
  EXPECT_THAT(callback->answers(), ElementsAre(failure)) << "no file";
  fake.files.goodReads = 1;
  callback = export_({{destination, dataUrl}});
  endExport(std::string(786432, 'm'));
  EXPECT_THAT(callback->answers(), ElementsAre(failure));
  EXPECT_THAT(fake.files.files, SizeIs(1)) << "the file of a failed step stays";
}

TEST_F(ResultForVideoTest, ADataUrlIsEncodedInPiecesAndItsFileRemoved) {
  auto callback = export_({{destination, dataUrl}});
  endExport();
  EXPECT_THAT(callback->answers(),
              ElementsAre("success {callbackURI: 'data:video/mp4;base64,b64:movie'}"));
  EXPECT_THAT(fake.files.removed.all(), ElementsAre(path));

  const std::string first(786432, 'm');
  callback = export_({{destination, dataUrl}});
  endExport(first + "rest");
  EXPECT_THAT(
      callback->answers(),
      ElementsAre("success {callbackURI: 'data:video/mp4;base64,b64:" + first + "b64:rest'}"));
}

TEST_F(ResultForVideoTest, ADataUrlBeyondTheHostsLimitIsAFailure) {
  auto platform = fake.platform();
  platform.maxMovieDataUrlBytes = 30;
  plugin = VECameraPlugin::create(platform);
  plugin->setViewController(controller);
  const std::pair<std::string, std::string> rows[] = {
      {"movie.", "success {callbackURI: 'data:video/mp4;base64,b64:movie.'}"},
      {"movie..", failure}};
  for (const auto& [contents, answer] : rows) {
    const auto callback = export_({{destination, dataUrl}});
    endExport(contents);
    EXPECT_THAT(callback->answers(), ElementsAre(answer));
  }
}

TEST_F(ResultForVideoTest, ANewLibraryMovieIsAnsweredWithItsAddress) {
  const std::string address = "app:file://assets-library://asset/asset.MP4?id=NEW-1%26ext=MP4";
  const struct {
    bool success;
    std::optional<NSError> error;
    std::string answer;
    std::optional<std::string> placeholder = "NEW-1";
  } rows[] = {{true, {}, "success {callbackURI: '" + address + "'}"},
              {true, {}, failure, std::nullopt},
              {true, {}, failure, "not a URL"},
              {false, {}, failure},
              {false, errorSaying("refused"), failure}};
  for (const auto& row : rows) {
    fake.photoLibrary.placeholder = row.placeholder;
    const auto callback = export_({{destination, nativeUri}, {album, true}});
    endExport();
    EXPECT_THAT(callback->answers(), IsEmpty()) << "not before the library has changed";
    fake.photoLibrary.finishChange(row.success, row.error);
    expectBackgroundJob();
    fake.settle();
    EXPECT_THAT(callback->answers(), ElementsAre(row.answer));
    if (row.error) {
      EXPECT_THAT(fake.log.lines.all(), ElementsAre(logged("refused")));
    }
    EXPECT_THAT(fake.photoLibrary.changes, IsEmpty()) << "saved once";
    EXPECT_THAT(fake.files.files, SizeIs(1));
    fake.files.files.clear();
  }
  EXPECT_THAT(fake.photoLibrary.added.all(), testing::Each("type 2 of file://" + path));
}

TEST_F(ResultForVideoTest, TheAlbumSaveIsDetachedAndADataUrlsFileLivesUntilItEnds) {
  const std::string failed =
      "error [] error : full @" + std::string(pluginSourceFile) + ":354 resultForImage(_:info:)";
  const struct {
    int destination;
    bool success;
    std::optional<NSError> error;
    std::vector<std::string> log;
  } rows[] = {
      {dataUrl, true, {}, {"debug taskResult true", "debug save photoAlbum success"}},
      {fileUri, false, {}, {"debug taskResult false"}},
      {dataUrl, true, errorSaying("full"), {failed}},
  };
  for (const auto& row : rows) {
    const auto callback = export_({{destination, row.destination}, {album, true}});
    endExport();
    EXPECT_THAT(callback->answers(), SizeIs(1)) << "the answer does not wait for the album";
    EXPECT_THAT(fake.files.files, SizeIs(1)) << "the album still needs it";
    fake.photoLibrary.finishChange(row.success, row.error);
    expectBackgroundJob();
    fake.settle();
    std::vector<std::string> log{"debug saveToPhotoAlbum true"};
    log.insert(log.end(), row.log.begin(), row.log.end());
    EXPECT_EQ(fake.log.lines.all(), log);
    EXPECT_THAT(callback->answers(), SizeIs(1));
    EXPECT_EQ(fake.files.files.contains(path), row.destination == fileUri);
    fake.files.files.clear();
  }
}

}  // namespace
}  // namespace vecamera
