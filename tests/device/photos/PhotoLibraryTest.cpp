#include "device/photos/PhotoLibrary.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/contracts/PhotosContract.h"
#include "tests/device/photos/PhotosTestSupport.h"

namespace vecamera::device::photos {
namespace {

class FixedClock : public NSClock {
 public:
  Date now() const override { return Date(std::chrono::seconds(1'000)); }
};

class ScriptedAuthorization : public PhotoAuthorization {
 public:
  explicit ScriptedAuthorization(Executor& queue) : queue_(queue) {}
  PHAuthorizationStatus status() override { return current; }
  void request(std::function<void(PHAuthorizationStatus)> handler) override {
    queue_.post([this, handler = std::move(handler)] {
      current = answer;
      handler(current);
    });
  }

  PHAuthorizationStatus current = PHAuthorizationStatus::authorized;
  PHAuthorizationStatus answer = PHAuthorizationStatus::denied;

 private:
  Executor& queue_;
};

class StoredPhotos : public PhotosUnderTest {
 public:
  PHPhotoLibrary& library() override { return photoLibrary; }
  PHImageManager& images() override { return imageManager; }
  void authorize(PHAuthorizationStatus status) override { authorization.current = status; }
  void settle() override {
    while (queue.runAll() + prompts.runAll() > 0) {
    }
  }
  Data picture() override { return std::get<Data>(testPicture("contract").content); }
  std::string pictureUTI() override { return "public.jpeg"; }
  std::size_t assetCount() override { return identifiersIn(*store).size(); }

  TemporaryFolder folder;
  FixedClock clock;
  QueueExecutor queue;
  QueueExecutor prompts;
  ScriptedAuthorization authorization{prompts};
  std::unique_ptr<LibraryStore> store = openLibrary(folder.path());
  std::vector<std::string> events;
  PhotoLibrary photoLibrary{*store, clock, queue, authorization, [this](const SavedAsset& saved) {
                              events.push_back(saved.type + " " + saved.format + " " +
                                               std::to_string(saved.bytes) + " " + saved.id);
                            }};
  ImageManager imageManager{*store, queue, authorization};
};

using Fill = std::function<void(PHAssetCreationRequest&)>;

Fill adding(Data data, PHAssetResourceType type = PHAssetResourceType::photo) {
  return [data, type](PHAssetCreationRequest& request) { request.addResource(type, data, {}); };
}
Fill addingFile(const std::filesystem::path& path) {
  return [path](PHAssetCreationRequest& request) {
    request.addResource(PHAssetResourceType::photo, URL("file://" + path.string()), {});
  };
}

/// Makes a change with one request and gives its error.
std::optional<NSError> change(StoredPhotos& photos, const Fill& fill) {
  std::optional<NSError> reported;
  photos.library().performChanges(
      [fill](PHAssetChanges& changes) { fill(changes.creationRequestForAsset()); },
      [&](bool success, std::optional<NSError> error) {
        EXPECT_EQ(success, !error);
        reported = std::move(error);
      });
  photos.settle();
  return reported;
}

INSTANTIATE_TEST_SUITE_P(OnSQLite, PhotosContract,
                         testing::Values([]() -> std::unique_ptr<PhotosUnderTest> {
                           return std::make_unique<StoredPhotos>();
                         }));

TEST(PhotoLibraryTest, ObserverLearnsOfEachNewAssetBetweenCommitAndHandler) {
  StoredPhotos photos;
  photos.library().performChanges(
      [&](PHAssetChanges& changes) {
        changes.creationRequestForAsset().addResource(PHAssetResourceType::photo,
                                                      Data::copyOf("JPEG:4x3:1"), {});
        changes.creationRequestForAsset().addResource(PHAssetResourceType::video,
                                                      Data::copyOf("MOVIE:64x48:2.5"), {});
      },
      [&](bool, std::optional<NSError>) { photos.events.push_back("handler"); });
  photos.settle();

  const auto records = photos.store->list();
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 2u);
  EXPECT_EQ(photos.events,
            (std::vector<std::string>{"photo jpeg 10 " + (*records)[0].identifier,
                                      "video mp4 15 " + (*records)[1].identifier, "handler"}));
  EXPECT_EQ((*records)[0].created, FixedClock().now());
  EXPECT_EQ((*records)[1].durationSeconds, 2.5);
}

TEST(PhotoLibraryTest, ABadRequestFailsWithThePlatformsCode) {
  StoredPhotos photos;
  const auto closed = photos.folder.path() / "closed";
  const auto loop = photos.folder.path() / "loop";
  writeText(closed, "JPEG:4x3:1");
  std::filesystem::permissions(closed, std::filesystem::perms::none);
  std::filesystem::create_symlink(loop, loop);
  const struct {
    const char* what;
    Fill fill;
    std::int64_t code;
  } cases[] = {
      {"two resources",
       [&](PHAssetCreationRequest& request) {
         adding(photos.picture())(request);
         adding(photos.picture())(request);
       },
       3300},
      {"no picture", adding(Data::copyOf("this is text")), 3302},
      {"no bytes", adding(Data()), 3302},
      {"a picture for a movie", adding(photos.picture(), PHAssetResourceType::video), 3302},
      {"no file", addingFile(photos.folder.path() / "none"), 3302},
      {"a folder", addingFile(photos.folder.path()), 3302},
      {"a file for a folder", addingFile(closed / "none"), 3302},
      {"a name that no file can have", addingFile("/" + std::string(300, 'a')), 3302},
      {"links that go round", addingFile(loop), 3302},
      {"a file that may not be read", addingFile(closed), 3302},
  };
  for (const auto& bad : cases) {
    // Root may read everything.
    if (bad.what == cases[std::size(cases) - 1].what && geteuid() == 0) continue;
    const auto error = change(photos, bad.fill);
    ASSERT_TRUE(error) << bad.what;
    EXPECT_EQ(error->domain, "PHPhotosErrorDomain") << bad.what;
    EXPECT_EQ(error->code, bad.code) << bad.what;
  }
  EXPECT_EQ(photos.assetCount(), 0u);
}

TEST(PhotoLibraryTest, RequestWithoutAResourceIsPassedOver) {
  StoredPhotos photos;
  EXPECT_FALSE(change(photos, [](PHAssetCreationRequest&) {}));
  EXPECT_EQ(photos.assetCount(), 0u);
}

TEST(PhotoLibraryTest, LimitedAccessIsEnoughAndARefusalHasTheStockSentence) {
  StoredPhotos photos;
  photos.authorization.current = PHAuthorizationStatus::limited;
  EXPECT_FALSE(change(photos, adding(photos.picture())));
  ASSERT_TRUE(photos.store->add({testPicture("a", "A/L0/001")}));
  const URL address("assets-library://asset/asset.JPG?id=A&ext=JPG");
  const auto assets = photos.library().fetchAssetsWithALAssetURLs({address}, {});
  ASSERT_EQ(assets.size(), 1u);
  bool hasBytes = false;
  photos.images().requestImageDataAndOrientationForAsset(
      assets[0], {},
      [&](const auto& data, const auto&, auto, const auto&) { hasBytes = data.has_value(); });
  photos.settle();
  EXPECT_TRUE(hasBytes);

  photos.authorization.current = PHAuthorizationStatus::denied;
  const auto error = change(photos, adding(photos.picture()));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->localizedDescription(),
            "The operation couldn’t be completed. (PHPhotosErrorDomain error 3311.)");
}

TEST(PhotoLibraryTest, ChangeAsksTheUserWhereNothingIsDecided) {
  StoredPhotos photos;
  for (const auto answer : {PHAuthorizationStatus::denied, PHAuthorizationStatus::limited}) {
    photos.authorization.current = PHAuthorizationStatus::notDetermined;
    photos.authorization.answer = answer;
    const auto error = change(photos, adding(photos.picture()));
    EXPECT_EQ(error ? error->code : 0, answer == PHAuthorizationStatus::denied ? 3311 : 0);
  }
  EXPECT_EQ(photos.assetCount(), 1u);
}

TEST(PhotoLibraryTest, PromptThatIsNeverAnsweredLeavesTheChangeOpen) {
  StoredPhotos photos;
  photos.authorization.current = PHAuthorizationStatus::notDetermined;
  bool ended = false;
  photos.library().performChanges([&](PHAssetChanges&) { ended = true; },
                                  [&](bool, std::optional<NSError>) { ended = true; });
  photos.queue.runAll();
  EXPECT_FALSE(ended);
  EXPECT_EQ(photos.prompts.pending(), 1u);
}

TEST(PhotoLibraryTest, StoreThatFailsIsReportedWithItsReason) {
  StoredPhotos photos;
  std::filesystem::remove_all(photos.folder.path() / "originals");
  const auto reported = change(photos, adding(photos.picture()));
  ASSERT_TRUE(reported);
  EXPECT_EQ(reported->domain, "PHPhotosErrorDomain");
  EXPECT_THAT(reported->localizedDescription(), testing::HasSubstr("cannot be written"));
  EXPECT_TRUE(photos.events.empty());
  EXPECT_EQ(photos.assetCount(), 0u);
}

TEST(PhotoLibraryTest, AssetsOfTheDeviceAreFoundByIdentifierAndNamedByAddress) {
  StoredPhotos photos;
  ASSERT_TRUE(photos.store->add({testPicture("beach", "A1B2/L0/001")}));
  photos.authorization.current = PHAuthorizationStatus::denied;
  const auto asset = photos.photoLibrary.assetWithIdentifier("A1B2/L0/001");
  ASSERT_TRUE(asset);
  EXPECT_EQ(referenceURLText(*asset), "assets-library://asset/asset.JPG?id=A1B2&ext=JPG");
  EXPECT_FALSE(photos.photoLibrary.assetWithIdentifier("A1B2"));
}

TEST(ImageManagerTest, HandsOutTheStoredOrientation) {
  StoredPhotos photos;
  NewAsset rotated = testPicture("", "T/L0/001");
  rotated.content = Data::copyOf("JPEG:30x40:6");
  ASSERT_TRUE(photos.store->add({rotated}));
  CGImagePropertyOrientation seen = 0;
  photos.images().requestImageDataAndOrientationForAsset(
      photos.photoLibrary.assetWithIdentifier("T/L0/001"), std::nullopt,
      [&](std::optional<Data>, std::optional<std::string>, CGImagePropertyOrientation orientation,
          std::optional<Dictionary>) { seen = orientation; });
  photos.settle();
  EXPECT_EQ(seen, 6u);
}

TEST(ImageManagerTest, HasNoDataForAnAssetThatWasRemovedOrLostItsFile) {
  StoredPhotos photos;
  ASSERT_TRUE(photos.store->add({testPicture("a", "A/L0/001"), testPicture("b", "B/L0/001")}));
  const auto removed = photos.photoLibrary.assetWithIdentifier("A/L0/001");
  const auto lost = photos.photoLibrary.assetWithIdentifier("B/L0/001");
  ASSERT_TRUE(photos.store->remove("A/L0/001"));
  std::filesystem::remove(photos.folder.path() / "originals/2.jpg");

  int handlers = 0;
  for (const auto& asset : {removed, lost}) {
    photos.images().requestImageDataAndOrientationForAsset(
        asset, std::nullopt,
        [&](std::optional<Data> data, std::optional<std::string>, CGImagePropertyOrientation,
            std::optional<Dictionary> info) {
          ++handlers;
          EXPECT_FALSE(data);
          ASSERT_TRUE(info);
          EXPECT_TRUE(find(*info, "PHImageErrorKey"));
        });
  }
  photos.settle();
  EXPECT_EQ(handlers, 2);
}

}  // namespace
}  // namespace vecamera::device::photos
