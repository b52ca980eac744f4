#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VECamera/platform/Photos.h"

namespace vecamera {

/// A photo library with its image manager, for the contract's tests. It starts empty and
/// authorized.
class PhotosUnderTest {
 public:
  virtual ~PhotosUnderTest() = default;
  virtual PHPhotoLibrary& library() = 0;
  virtual PHImageManager& images() = 0;
  virtual void authorize(PHAuthorizationStatus status) = 0;
  /// Runs everything that has been posted.
  virtual void settle() = 0;
  /// The bytes of a picture that the library takes, and the type that it sees in them.
  virtual Data picture() = 0;
  virtual std::string pictureUTI() = 0;
  virtual std::size_t assetCount() = 0;
};

/// Gives the same kind of library each time it is called.
using MakePhotos = std::unique_ptr<PhotosUnderTest> (*)();

/// What every photo library and image manager keeps to.
class PhotosContract : public testing::TestWithParam<MakePhotos> {
 protected:
  struct Answer {
    int blockRuns = 0;
    int handlerRuns = 0;
    bool success = false;
    std::optional<NSError> error;
    std::optional<std::string> placeholder;
  };
  struct Fetched {
    int handlerRuns = 0;
    std::optional<Data> data;
    std::optional<std::string> uti;
    CGImagePropertyOrientation orientation = 0;
  };
  using Fill = std::function<void(PHAssetCreationRequest&)>;

  void SetUp() override { photos_ = GetParam()(); }
  PHPhotoLibrary& library() { return photos_->library(); }

  std::shared_ptr<Answer> start(std::vector<Fill> requests) {
    auto answer = std::make_shared<Answer>();
    library().performChanges(
        [answer, requests = std::move(requests)](PHAssetChanges& changes) {
          ++answer->blockRuns;
          for (const Fill& fill : requests) {
            PHAssetCreationRequest& request = changes.creationRequestForAsset();
            fill(request);
            answer->placeholder = request.placeholderLocalIdentifier();
          }
        },
        [answer](bool success, std::optional<NSError> error) {
          ++answer->handlerRuns;
          answer->success = success;
          answer->error = std::move(error);
        });
    return answer;
  }
  std::shared_ptr<Answer> change(std::vector<Fill> requests) {
    auto answer = start(std::move(requests));
    photos_->settle();
    EXPECT_EQ(answer->handlerRuns, 1);
    return answer;
  }
  /// Makes the change, which is refused as a whole.
  void expectRefusal(std::vector<Fill> requests, int blockRuns) {
    const auto answer = change(std::move(requests));
    EXPECT_EQ(answer->blockRuns, blockRuns);
    EXPECT_FALSE(answer->success);
    ASSERT_TRUE(answer->error);
    EXPECT_FALSE(answer->error->localizedDescription().empty());
    EXPECT_EQ(photos_->assetCount(), 0u);
  }
  Fill adding(Data data, PHAssetResourceType type = PHAssetResourceType::photo) {
    return [data, type](PHAssetCreationRequest& request) { request.addResource(type, data, {}); };
  }
  Fill addingPicture() { return adding(photos_->picture()); }
  std::vector<std::shared_ptr<PHAsset>> fetch(const std::string& identifier) {
    return library().fetchAssetsWithALAssetURLs(
        {URL("assets-library://asset/asset.JPG?id=" + identifier + "&ext=JPG")}, {});
  }
  Fetched request(const std::shared_ptr<PHAsset>& asset) {
    auto fetched = std::make_shared<Fetched>();
    photos_->images().requestImageDataAndOrientationForAsset(
        asset, std::nullopt,
        [fetched](std::optional<Data> data, std::optional<std::string> uti,
                  CGImagePropertyOrientation orientation, std::optional<Dictionary>) {
          ++fetched->handlerRuns;
          fetched->data = std::move(data);
          fetched->uti = std::move(uti);
          fetched->orientation = orientation;
        });
    EXPECT_EQ(fetched->handlerRuns, 0) << "The handler ran inside the call.";
    photos_->settle();
    EXPECT_EQ(fetched->handlerRuns, 1);
    return *fetched;
  }

  std::unique_ptr<PhotosUnderTest> photos_;
};

TEST_P(PhotosContract, ChangeRunsAfterTheCallAndBringsTheAssetUnderItsPlaceholder) {
  const auto answer = start({addingPicture()});
  EXPECT_EQ(answer->blockRuns, 0);
  EXPECT_EQ(answer->handlerRuns, 0);
  photos_->settle();
  EXPECT_EQ(answer->blockRuns, 1);
  EXPECT_EQ(answer->handlerRuns, 1);
  EXPECT_TRUE(answer->success);
  EXPECT_FALSE(answer->error);

  ASSERT_TRUE(answer->placeholder);
  const auto assets = fetch(*answer->placeholder);
  ASSERT_EQ(assets.size(), 1u);
  EXPECT_EQ(assets[0]->localIdentifier(), *answer->placeholder);

  const Fetched fetched = request(assets[0]);
  EXPECT_EQ(fetched.data, photos_->picture());
  EXPECT_EQ(fetched.uti, photos_->pictureUTI());
  EXPECT_EQ(fetched.orientation, 1u);
}

TEST_P(PhotosContract, ChangeWithoutRequestsSucceedsAndCreatesNothing) {
  const auto answer = change({});
  EXPECT_EQ(answer->blockRuns, 1);
  EXPECT_TRUE(answer->success);
  EXPECT_FALSE(answer->error);
  EXPECT_EQ(photos_->assetCount(), 0u);
}

TEST_P(PhotosContract, EachRequestOfAChangeBringsItsOwnAsset) {
  EXPECT_TRUE(change({addingPicture(), addingPicture()})->success);
  EXPECT_EQ(photos_->assetCount(), 2u);
}

TEST_P(PhotosContract, ABadRequestFailsTheWholeChange) {
  const struct {
    const char* what;
    Fill fill;
  } cases[] = {
      {"two resources",
       [this](PHAssetCreationRequest& request) {
         addingPicture()(request);
         addingPicture()(request);
       }},
      {"no picture", adding(Data::copyOf("this is text"))},
      {"no bytes", adding(Data())},
      {"no file",
       [](PHAssetCreationRequest& request) {
         request.addResource(PHAssetResourceType::video, URL("file:///none.mp4"), {});
       }},
      {"a picture for a movie", adding(photos_->picture(), PHAssetResourceType::video)},
  };
  for (const auto& bad : cases) {
    SCOPED_TRACE(bad.what);
    expectRefusal({addingPicture(), bad.fill}, 1);
  }
}

TEST_P(PhotosContract, LibraryThatMayNotBeChangedRefusesBeforeTheBlockRuns) {
  for (const auto status : {PHAuthorizationStatus::denied, PHAuthorizationStatus::restricted}) {
    photos_->authorize(status);
    expectRefusal({addingPicture()}, 0);
  }
}

TEST_P(PhotosContract, ChangeStartedInsideAChangeIsOneOfItsOwn) {
  std::shared_ptr<Answer> inner;
  const auto outer = change({addingPicture(), [&](PHAssetCreationRequest& request) {
                               inner = start({addingPicture()});
                               EXPECT_EQ(inner->blockRuns, 0);
                               addingPicture()(request);
                             }});
  EXPECT_TRUE(outer->success);
  EXPECT_TRUE(inner->success);
  EXPECT_EQ(photos_->assetCount(), 3u);
}

TEST_P(PhotosContract, UnknownAddressesAreLeftOutOfAFetch) {
  const auto known = change({addingPicture()})->placeholder.value();
  const auto assets = library().fetchAssetsWithALAssetURLs(
      {URL("assets-library://asset/asset.JPG?id=NOBODY&ext=JPG"), URL("file:///tmp/a.jpg"),
       URL("assets-library://asset/asset.JPG?id=" + known + "&ext=JPG")},
      {});
  ASSERT_EQ(assets.size(), 1u);
  EXPECT_EQ(assets[0]->localIdentifier(), known);
}

TEST_P(PhotosContract, NothingIsReadWithoutPermission) {
  const auto identifier = change({addingPicture()})->placeholder.value();
  const auto asset = fetch(identifier).at(0);
  for (const auto status : {PHAuthorizationStatus::denied, PHAuthorizationStatus::restricted,
                            PHAuthorizationStatus::notDetermined}) {
    photos_->authorize(status);
    EXPECT_TRUE(fetch(identifier).empty());
    EXPECT_FALSE(request(asset).data);
  }
  photos_->authorize(PHAuthorizationStatus::authorized);
  EXPECT_EQ(fetch(identifier).size(), 1u);
  EXPECT_TRUE(request(asset).data);
}

TEST_P(PhotosContract, ImageManagerHasNoDataForAForeignAsset) {
  struct Foreign : PHAsset {
    std::string localIdentifier() const override { return "FOREIGN/L0/001"; }
  };
  EXPECT_FALSE(request(std::make_shared<Foreign>()).data);
  EXPECT_FALSE(request(nullptr).data);
}

}  // namespace vecamera
