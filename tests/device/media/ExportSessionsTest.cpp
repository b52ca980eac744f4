#include "device/media/ExportSessions.h"

#include <stdexcept>

#include "device/foundation/Urls.h"
#include "device/media/base/MediaErrors.h"
#include "tests/device/media/MediaTest.h"

namespace vecamera::device::media {
namespace {

using testing::ElementsAre;
using Status = AVAssetExportSessionStatus;

class ExportSessionsTest : public MediaTest {
 protected:
  std::shared_ptr<AVAssetExportSession> session(const URL& source) {
    return exports.exportSessionWithAsset(exports.assetWithURL(source),
                                          AVAssetExportPresetHighestQuality);
  }
  /// One of the movie to "out.mp4".
  std::shared_ptr<AVAssetExportSession> ready() {
    auto made = session(urlOf("in.mp4"));
    made->setOutputFileType(AVFileTypeMPEG4);
    made->setOutputURL(urlOf("out.mp4"));
    return made;
  }
  void start(const std::shared_ptr<AVAssetExportSession>& session) {
    session->exportAsynchronouslyWithCompletionHandler([this] { ++handled; });
  }
  URL urlOf(std::string_view name) const {
    return foundation::Urls().fileURLWithPath(path(name).string());
  }

  QueueExecutor queue;
  std::function<void(float)> observer;
  bool isCancelled = false;
  std::vector<std::string> calls;
  ExportSessions exports{
      queue,
      {[this](float progress) {
         if (observer) observer(progress);
       },
       [this] { return isCancelled; },
       [this](const NSError& error) { calls.push_back(error.localizedDescription()); }}};
  int handled = 0;
  std::filesystem::path movie = make("in.mp4", pictures + asPhones);
};

TEST_F(ExportSessionsTest, AnExportRunsOnItsQueueAndEndsOnce) {
  const auto export_ = ready();
  EXPECT_EQ(export_->status(), Status::unknown);
  std::vector<float> reported;
  observer = [&](float progress) {
    reported.push_back(progress);
    EXPECT_EQ(export_->status(), Status::exporting);
    EXPECT_EQ(export_->progress(), progress);
  };
  start(export_);
  start(export_);
  EXPECT_EQ(export_->status(), Status::waiting);
  EXPECT_EQ(handled, 0);
  EXPECT_THAT(names(), ElementsAre("in.mp4"));
  queue.runAll();
  EXPECT_EQ(handled, 1);
  EXPECT_EQ(export_->status(), Status::completed);
  EXPECT_EQ(export_->progress(), 1);
  EXPECT_EQ(reported.back(), 1);
  EXPECT_FALSE(export_->error().has_value());
  EXPECT_EQ(probed(path("out.mp4")).errors, "");

  export_->cancelExport();
  EXPECT_EQ(export_->status(), Status::completed);
}

TEST_F(ExportSessionsTest, ACancelledExportEndsAsCancelledAndLeavesNoFile) {
  enum class When { beforeStart, whileWaiting, whileExporting };
  for (const When when : {When::beforeStart, When::whileWaiting, When::whileExporting}) {
    const auto export_ = ready();
    handled = 0;
    if (when == When::beforeStart) export_->cancelExport();
    start(export_);
    if (when == When::whileWaiting) export_->cancelExport();
    observer = [&](float) { export_->cancelExport(); };
    queue.runAll();
    EXPECT_EQ(handled, 1);
    EXPECT_EQ(export_->status(), Status::cancelled);
    ASSERT_TRUE(export_->error().has_value());
    EXPECT_TRUE(isMediaError(*export_->error(), AVError::operationCancelled));
    EXPECT_LT(export_->progress(), 1);
    EXPECT_THAT(names(), ElementsAre("in.mp4"));
  }
}

TEST_F(ExportSessionsTest, AnExportThatCannotBeDoneFailsWithTheReason) {
  write(path("taken.mp4"), "kept");
  struct Case {
    const char* name;
    URL source;
    std::string_view type;
    std::optional<URL> target;
    AVError code;
  };
  const Case cases[] = {
      {"type", urlOf("in.mp4"), "com.apple.quicktime-movie", urlOf("out.mp4"),
       AVError::exportFailed},
      {"no type", urlOf("in.mp4"), "", urlOf("out.mp4"), AVError::exportFailed},
      {"no target", urlOf("in.mp4"), AVFileTypeMPEG4, std::nullopt, AVError::unknown},
      {"remote target", urlOf("in.mp4"), AVFileTypeMPEG4, URL("https://a.test/out.mp4"),
       AVError::unknown},
      {"remote source", URL("https://a.test/in.mp4"), AVFileTypeMPEG4, urlOf("out.mp4"),
       AVError::unknown},
      {"missing source", urlOf("none.mp4"), AVFileTypeMPEG4, urlOf("out.mp4"), AVError::unknown},
      {"missing folder", urlOf("in.mp4"), AVFileTypeMPEG4, urlOf("none/out.mp4"), AVError::unknown},
      {"taken target", urlOf("in.mp4"), AVFileTypeMPEG4, urlOf("taken.mp4"),
       AVError::fileAlreadyExists},
  };
  for (const Case& each : cases) {
    const auto export_ = session(each.source);
    export_->setOutputFileType(each.type);
    if (each.target) export_->setOutputURL(*each.target);
    handled = 0;
    start(export_);
    queue.runAll();
    EXPECT_EQ(handled, 1) << each.name;
    EXPECT_EQ(export_->status(), Status::failed) << each.name;
    ASSERT_TRUE(export_->error().has_value()) << each.name;
    EXPECT_TRUE(isMediaError(*export_->error(), each.code))
        << each.name << ": " << export_->error()->localizedDescription();
    EXPECT_THAT(names(), ElementsAre("in.mp4", "taken.mp4")) << each.name;
  }
  EXPECT_EQ(textOf(read(path("taken.mp4"))), "kept");
}

TEST_F(ExportSessionsTest, AnExportIsSupervised) {
  const auto statusOfOne = [&] {
    calls.clear();
    std::filesystem::remove(path("out.mp4"));
    const auto export_ = ready();
    export_->exportAsynchronouslyWithCompletionHandler([&] { calls.push_back("handled"); });
    queue.runAll();
    return export_->status();
  };
  EXPECT_EQ(statusOfOne(), Status::completed);
  EXPECT_THAT(calls, ElementsAre("handled"));

  observer = [&](float) { isCancelled = true; };
  EXPECT_EQ(statusOfOne(), Status::cancelled);
  EXPECT_THAT(calls, ElementsAre("Cancelled.", "handled"));

  isCancelled = false;
  observer = [](float) { throw std::length_error("too long"); };
  EXPECT_EQ(statusOfOne(), Status::failed);
  EXPECT_THAT(calls, ElementsAre(testing::HasSubstr("too long"), "handled"));
  EXPECT_THAT(names(), ElementsAre("in.mp4"));
}

TEST_F(ExportSessionsTest, ASessionThatNobodyHoldsGoesOnToItsEnd) {
  const auto spaced = path("a b%20c.mp4");
  std::filesystem::rename(movie, spaced);
  auto export_ = session(urlOf("a b%20c.mp4"));
  export_->setOutputFileType(AVFileTypeMPEG4);
  export_->setOutputURL(urlOf("out.mp4"));
  start(export_);
  export_.reset();
  queue.runAll();
  EXPECT_EQ(handled, 1);
  EXPECT_TRUE(std::filesystem::exists(path("out.mp4")));
}

TEST_F(ExportSessionsTest, OnlyItsOwnAssetsAndTheHighestQualityHaveASession) {
  class Foreign : public AVAsset {};
  const auto asset = exports.assetWithURL(urlOf("in.mp4"));
  EXPECT_EQ(exports.exportSessionWithAsset(asset, "AVAssetExportPresetLowQuality"), nullptr);
  EXPECT_EQ(exports.exportSessionWithAsset(nullptr, AVAssetExportPresetHighestQuality), nullptr);
  EXPECT_EQ(exports.exportSessionWithAsset(std::make_shared<Foreign>(),
                                           AVAssetExportPresetHighestQuality),
            nullptr);
}

}  // namespace
}  // namespace vecamera::device::media
