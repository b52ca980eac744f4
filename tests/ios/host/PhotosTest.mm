#import "ios/Sources/Photos.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "device/photos/PhotoLibrary.h"
#include "ios/Sources/Value.h"
#include "tests/contracts/PhotosContract.h"
#include "tests/device/photos/PhotosTestSupport.h"
#include "tests/ios/host/ServicesPhone.h"

namespace vecamera_ios {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The user, who refuses when the queue runs.
class User : public vecamera::device::photos::PhotoAuthorization {
 public:
  explicit User(vecamera::Executor& queue) : queue_(queue) {}
  vecamera::PHAuthorizationStatus status() override { return current; }
  void request(std::function<void(vecamera::PHAuthorizationStatus)> handler) override {
    queue_.post([this, handler = std::move(handler)] {
      handler(current = vecamera::PHAuthorizationStatus::denied);
    });
  }
  vecamera::PHAuthorizationStatus current = vecamera::PHAuthorizationStatus::authorized;

 private:
  vecamera::Executor& queue_;
};

/// The adapters over the phone's classes over the device's own library.
class PhonePhotos : public vecamera::PhotosUnderTest {
 public:
  vecamera::PHPhotoLibrary& library() override { return library_; }
  vecamera::PHImageManager& images() override { return images_; }
  void authorize(vecamera::PHAuthorizationStatus status) override { user_.current = status; }
  void settle() override {
    while (queue_.runAll() + prompts_.runAll() + phone_.runMain() + phone_.runBackground() > 0) {
    }
  }
  vecamera::Data picture() override { return vecamera::Data::copyOf("JPEG:4x3:1:picture"); }
  std::string pictureUTI() override { return "public.jpeg"; }
  std::size_t assetCount() override {
    return vecamera::device::photos::identifiersIn(*store_).size();
  }

 private:
  vecamera::device::photos::TemporaryFolder folder_;
  vecamera::ManualClock clock_;
  vecamera::QueueExecutor queue_;
  vecamera::QueueExecutor prompts_;
  User user_{prompts_};
  std::unique_ptr<vecamera::device::photos::LibraryStore> store_ =
      vecamera::device::photos::openLibrary(folder_.path());
  vecamera::device::photos::PhotoLibrary deviceLibrary_{*store_, clock_, queue_, user_};
  vecamera::device::photos::ImageManager deviceImages_{*store_, queue_, user_};
  ServicesPhone phone_{{.photoLibrary = &deviceLibrary_, .imageManager = &deviceImages_}};
  PhotoLibrary library_;
  ImageManager images_;
};

using vecamera::PhotosContract;
INSTANTIATE_TEST_SUITE_P(OnThePhone, PhotosContract,
                         testing::Values([]() -> std::unique_ptr<vecamera::PhotosUnderTest> {
                           return std::make_unique<PhonePhotos>();
                         }));

class PhotosTest : public testing::Test {
 protected:
  /// What a change came to: "ok", "no", or its error.
  std::string change(vecamera::PHPhotoLibrary::ChangeBlock block, bool success,
                     std::optional<vecamera::NSError> error = std::nullopt) {
    std::vector<std::string> ended;
    library.performChanges(std::move(block), [&](bool done, std::optional<vecamera::NSError> why) {
      ended.push_back(why ? why->domain + " " + why->localizedDescription() : done ? "ok" : "no");
    });
    EXPECT_THAT(ended, IsEmpty());
    phone.fake.photoLibrary.finishChange(success, std::move(error));
    EXPECT_EQ(ended.size(), 1u);
    return ended.at(0);
  }

  ServicesPhone phone;
  PhotoLibrary library;
  ImageManager images;
};

TEST_F(PhotosTest, LimitedAccessIsReportedAsAuthorized) {
  using enum vecamera::PHAuthorizationStatus;
  for (const auto& [device, host] :
       {std::pair(notDetermined, notDetermined), std::pair(restricted, restricted),
        std::pair(denied, denied), std::pair(authorized, authorized),
        std::pair(limited, authorized)}) {
    phone.fake.photoLibrary.status = device;
    EXPECT_EQ(library.authorizationStatus(), host);
    std::vector<vecamera::PHAuthorizationStatus> answers;
    library.requestAuthorization([&](auto status) { answers.push_back(status); });
    phone.fake.photoLibrary.asked(device);
    phone.fake.photoLibrary.asked(device);
    EXPECT_THAT(answers, ElementsAre(host)) << "once";
  }
}

TEST_F(PhotosTest, AnswerThatComesInsideTheCallIsHandedOnAfterIt) {
  class Decided : public vecamera::FakePhotoLibrary {
    void requestAuthorization(
        std::function<void(vecamera::PHAuthorizationStatus)> handler) override {
      handler(vecamera::PHAuthorizationStatus::authorized);
    }
  } decided;
  ServicesPhone other({.photoLibrary = &decided});
  int answers = 0;
  library.requestAuthorization([&](auto) { ++answers; });
  EXPECT_EQ(answers, 0);
  other.settle();
  EXPECT_EQ(answers, 1);
}

TEST_F(PhotosTest, ChangeEndsWithTheLibrarysFlagAndError) {
  const auto nothing = [](vecamera::PHAssetChanges&) {};
  EXPECT_EQ(change(nothing, true), "ok");
  EXPECT_EQ(change(nothing, false), "no");
  EXPECT_EQ(change(nothing, true, vecamera::errorSaying("full")), "Fake full");
}

TEST_F(PhotosTest, ResourceThatTheFrameworkRefusesFailsTheChange) {
  const struct {
    vecamera::URL url;
    std::string ended;
  } rows[] = {
      {vecamera::URL("http://example.org/a.mp4"),
       "NSInvalidArgumentException A resource needs a file's URL."},
      {vecamera::URL(""), "NSURLErrorDomain The operation couldn’t be completed. "
                          "(NSURLErrorDomain error -1002.)"},
  };
  for (const auto& row : rows) {
    const auto addsFile = [&](vecamera::PHAssetChanges& changes) {
      changes.creationRequestForAsset().addResource(vecamera::PHAssetResourceType::video, row.url,
                                                    {});
    };
    EXPECT_EQ(change(addsFile, true), row.ended);
    EXPECT_THAT(phone.fake.photoLibrary.added.all(), IsEmpty());
  }
}

TEST_F(PhotosTest, PlaceholderMayBeMissing) {
  for (const std::optional<std::string>& placeholder :
       {std::optional<std::string>("A"), std::optional<std::string>()}) {
    phone.fake.photoLibrary.placeholder = placeholder;
    std::optional<std::string> seen = "never asked";
    change(
        [&](vecamera::PHAssetChanges& changes) {
          seen = changes.creationRequestForAsset().placeholderLocalIdentifier();
        },
        true);
    EXPECT_EQ(seen, placeholder);
  }
}

TEST_F(PhotosTest, FileOfAChangeIsKeptUntilTheChangeEnds) {
  auto file = std::make_shared<int>();
  const std::weak_ptr<int> kept = file;
  const auto url = std::make_shared<std::optional<vecamera::URL>>(
      vecamera::URL("file:///movie.mp4", std::move(file)));
  bool wasKept = false;
  library.performChanges(
      [url](vecamera::PHAssetChanges& changes) {
        changes.creationRequestForAsset().addResource(vecamera::PHAssetResourceType::video, **url,
                                                      {});
        url->reset();
      },
      [&](bool, auto) { wasKept = !kept.expired(); });
  phone.fake.photoLibrary.finishChange(true);
  EXPECT_TRUE(wasKept);
  EXPECT_TRUE(kept.expired());
  EXPECT_THAT(phone.fake.photoLibrary.added.all(), ElementsAre("type 2 of file:///movie.mp4"));
}

TEST_F(PhotosTest, FirstAnswerForAPictureIsHandedOnAndNoOther) {
  std::vector<std::string> results;
  const auto ask = [&](std::optional<vecamera::PHImageRequestOptions> options) {
    @autoreleasepool {
      const auto asset = library.fetchAssetsWithALAssetURLs({vecamera::URL("known")}, {}).at(0);
      images.requestImageDataAndOrientationForAsset(
          asset, options, [&](auto data, auto uti, auto orientation, auto info) {
            results.push_back(vecamera::describe(data ? vecamera::Value(*data) : nullptr) + " " +
                              uti.value_or("none") + " " + std::to_string(orientation) + " " +
                              (info ? vecamera::describe(*info) : "none"));
          });
    }
    auto handler = phone.fake.imageManager.requests.front();
    phone.fake.imageManager.requests.pop_front();
    return handler;
  };
  phone.fake.photoLibrary.assetsByUrl["known"] = std::make_shared<vecamera::FakeAsset>("A");
  const auto first = vecamera::Data::copyOf("first");

  const auto handler = ask(vecamera::PHImageRequestOptions());
  handler(first, "public.heic", 6, vecamera::Dictionary{{"a", 1}});
  handler(vecamera::Data::copyOf("second"), "public.heic", 1, std::nullopt);
  // No other may follow: one that is in the cloud is called degraded, too.
  ask(std::nullopt)(std::nullopt, std::nullopt, 1,
                    vecamera::Dictionary{{"PHImageResultIsDegradedKey", true}});
  EXPECT_THAT(results, ElementsAre("bytes[first] public.heic 6 {a: 1}",
                                   "null none 1 {PHImageResultIsDegradedKey: true}"));
  EXPECT_THAT(phone.fake.imageManager.asked.all(), ElementsAre("A with options", "A"));
}

TEST_F(PhotosTest, NothingOfAChangeStaysAlive) {
  change(
      [](vecamera::PHAssetChanges& changes) {
        changes.creationRequestForAsset().addResource(vecamera::PHAssetResourceType::photo,
                                                      vecamera::Data::copyOf("png"), {});
      },
      true);
  EXPECT_EQ(vecamera::ios::livingObjects("PHAssetCreationRequest"), 0u);
  EXPECT_EQ(assetOf(nil), nullptr);
}

}  // namespace
}  // namespace vecamera_ios
