#import "ios/Sources/AVFoundation.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/device/photos/PhotosTestSupport.h"
#include "tests/ios/host/ServicesPhone.h"

namespace vecamera_ios {
namespace {

using enum vecamera::AVAssetExportSessionStatus;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CaptureDeviceTest, StatusAndAnswerAreThoseOfTheCamera) {
  ServicesPhone phone;
  CaptureDevice device;
  for (const auto status :
       {vecamera::AVAuthorizationStatus::notDetermined, vecamera::AVAuthorizationStatus::restricted,
        vecamera::AVAuthorizationStatus::denied, vecamera::AVAuthorizationStatus::authorized}) {
    phone.fake.captureDevice.status = status;
    EXPECT_EQ(device.authorizationStatusForMediaType(vecamera::AVMediaTypeVideo), status);
  }
  for (const bool granted : {true, false}) {
    std::vector<bool> answers;
    device.requestAccessForMediaType(vecamera::AVMediaTypeVideo,
                                     [&](bool answer) { answers.push_back(answer); });
    EXPECT_THAT(answers, IsEmpty());
    phone.fake.captureDevice.asked(granted);
    phone.fake.captureDevice.asked(!granted);
    EXPECT_THAT(answers, ElementsAre(granted)) << "once";
  }
  EXPECT_THAT(phone.fake.captureDevice.mediaTypes.all(), testing::Each("vide"));
}

TEST(CaptureDeviceTest, TypeThatNeedsNoPermissionIsRefusedAfterTheCall) {
  ServicesPhone phone;
  CaptureDevice device;
  EXPECT_EQ(device.authorizationStatusForMediaType("text"),
            vecamera::AVAuthorizationStatus::restricted);
  std::vector<bool> answers;
  device.requestAccessForMediaType("text", [&](bool answer) { answers.push_back(answer); });
  EXPECT_THAT(answers, IsEmpty());
  phone.settle();
  EXPECT_THAT(answers, ElementsAre(false));
}

class AssetExportsTest : public testing::Test {
 protected:
  std::shared_ptr<vecamera::AVAssetExportSession> session(
      std::shared_ptr<const void> owner = nullptr) {
    @autoreleasepool {
      return exports.exportSessionWithAsset(
          exports.assetWithURL(vecamera::URL("file:///movie.mov", std::move(owner))),
          vecamera::AVAssetExportPresetHighestQuality);
    }
  }
  /// Starts the export into the test's file.
  void start(vecamera::AVAssetExportSession& session,
             std::string_view type = vecamera::AVFileTypeMPEG4) {
    session.setOutputFileType(type);
    session.setOutputURL(vecamera::URL("file://" + file.string()));
    session.exportAsynchronouslyWithCompletionHandler([this] {
      ++ends;
      fileWasThere = std::filesystem::exists(file);
    });
    EXPECT_EQ(ends, 0);
  }
  vecamera::FakeExportSession& device() { return *phone.fake.assetExports.sessions.back(); }
  void writeFile() { std::ofstream(file) << "half a movie"; }

  vecamera::device::photos::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "out.mp4";
  ServicesPhone phone;
  AssetExports exports;
  int ends = 0;
  bool fileWasThere = false;
};

TEST_F(AssetExportsTest, ExportGetsWhatWasSetAndEndsOnce) {
  const auto made = session();
  start(*made);
  made->exportAsynchronouslyWithCompletionHandler([this] { ++ends; });  // the phone would raise
  EXPECT_THAT(
      phone.fake.assetExports.calls.all(),
      ElementsAre("asset file:///movie.mov", "export with AVAssetExportPresetHighestQuality"));
  EXPECT_EQ(device().fileType, "public.mpeg-4");
  EXPECT_EQ(device().output, "file://" + file.string());
  EXPECT_EQ(made->status(), unknown);
  writeFile();
  device().end(completed);
  device().end(completed);
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(made->status(), completed);
  EXPECT_FALSE(made->error());
  EXPECT_TRUE(fileWasThere);
}

TEST_F(AssetExportsTest, FileOfAnExportThatDidNotCompleteIsGoneWhenTheHandlerRuns) {
  for (const auto status : {failed, cancelled}) {
    ends = 0;
    const auto made = session();
    start(*made);
    writeFile();
    device().end(status, vecamera::errorSaying("no room"));
    EXPECT_EQ(ends, 1);
    EXPECT_FALSE(fileWasThere);
    EXPECT_EQ(made->status(), status);
    EXPECT_EQ(made->error()->localizedDescription(), "no room");
  }
}

TEST_F(AssetExportsTest, WhatTheSettersCannotTakeFailsTheExport) {
  const auto badType = session();
  start(*badType, "public.3gpp");
  const auto badURL = session();
  badURL->setOutputFileType(vecamera::AVFileTypeMPEG4);
  badURL->setOutputURL(vecamera::URL("http://example.org/a.mp4"));
  badURL->exportAsynchronouslyWithCompletionHandler([this] { ++ends; });
  EXPECT_EQ(ends, 0) << "not inside the call";
  phone.settle();
  EXPECT_EQ(ends, 2);
  for (const auto& made : {badType, badURL}) {
    EXPECT_EQ(made->status(), failed);
    EXPECT_EQ(made->error()->domain, "NSInvalidArgumentException");
  }
}

TEST_F(AssetExportsTest, ReleasedSessionGoesOnAndKeepsItsMovieUntilTheEnd) {
  auto movie = std::make_shared<int>();
  const std::weak_ptr<int> kept = movie;
  @autoreleasepool {
    auto made = session(std::move(movie));
    start(*made);
    made = nullptr;
  }
  EXPECT_FALSE(kept.expired());
  EXPECT_EQ(vecamera::ios::livingObjects("AVAssetExportSession"), 1u);
  @autoreleasepool {
    device().end(completed);
  }
  EXPECT_EQ(ends, 1);
  // The device's session, as a phone's may, still holds its block.
  EXPECT_TRUE(kept.expired());
  phone.fake.assetExports.sessions.clear();
  EXPECT_EQ(vecamera::ios::livingObjects("AVAssetExportSession"), 0u);
}

TEST_F(AssetExportsTest, NoSessionWhereTheAssetCannotBeExported) {
  EXPECT_EQ(exports.assetWithURL(vecamera::URL("")), nullptr);
  EXPECT_EQ(exports.exportSessionWithAsset(nullptr, vecamera::AVAssetExportPresetHighestQuality),
            nullptr);
  phone.fake.assetExports.makesSessions = false;
  EXPECT_EQ(session(), nullptr);
}

}  // namespace
}  // namespace vecamera_ios
