#include <gmock/gmock.h>

#include "tests/module/FakePlatform.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string textOf(const NSError& error) {
  return error.domain + " " + std::to_string(error.code) + " " + describe(error.userInfo);
}

Task<void> change(PHPhotoLibrary& library, Executor& resumed, Lines& out) {
  std::string line;
  try {
    const auto block = [](PHAssetChanges& changes) { changes.creationRequestForAsset(); };
    const bool success = co_await performChangesAsync(library, resumed, block);
    line = success ? "true" : "false";
  } catch (const NSErrorException& thrown) {
    line = textOf(thrown.error());
  }
  out.add(line);
}

Task<void> fetch(PHImageManager& manager, Executor& resumed, Lines& out) {
  std::string line;
  try {
    const auto got = co_await requestImageDataAndOrientationAsync(
        manager, resumed, std::make_shared<FakeAsset>("A"), PHImageRequestOptions{});
    line = describe(Value(got.data)) + " " + got.dataUTI.value_or("none") + " " +
           std::to_string(got.orientation) + " " + (got.info ? describe(*got.info) : "none");
  } catch (const NSErrorException& thrown) {
    line = textOf(thrown.error());
  }
  out.add(line);
}

TEST(PhotosAdaptersTest, PerformChangesGivesTheFlagOrThrowsTheErrorWhateverTheFlagSays) {
  const auto error = errorSaying("full");
  const struct {
    bool success;
    std::optional<NSError> error;
    std::string given;
  } rows[] = {{true, {}, "true"},
              {false, {}, "false"},
              {false, error, "Fake 7 {NSLocalizedDescription: 'full'}"},
              {true, error, "Fake 7 {NSLocalizedDescription: 'full'}"}};
  for (const auto& row : rows) {
    FakePlatform fake;
    Lines out;
    fake.tasks.start(fake.mainQueue, change(fake.photoLibrary, fake.background, out));
    fake.settle();
    ASSERT_EQ(fake.photoLibrary.changes.size(), 1u);
    fake.photoLibrary.finishChange(row.success, row.error);
    EXPECT_THAT(out.all(), IsEmpty()) << "the handler resumes nothing inline";
    fake.settle();
    EXPECT_THAT(out.all(), ElementsAre(row.given));
  }
}

TEST(PhotosAdaptersTest, RequestImageDataGivesAllFourValuesOrTheFixedError) {
  const std::string noData =
      "PHImageManagerError 0 {NSLocalizedDescription: 'Failed to fetch image data'}";
  const Dictionary info{{"PHImageCancelledKey", true}};
  const struct {
    std::optional<Data> data;
    std::optional<std::string> dataUTI;
    std::optional<Dictionary> info;
    std::string given;
  } rows[] = {{Data::copyOf("x"), "public.heic", info,
               "bytes[x] public.heic 6 {PHImageCancelledKey: true}"},
              {Data(), {}, {}, "bytes[] none 6 none"},
              {{}, "public.heic", info, noData},
              {{}, {}, {}, noData}};
  for (const auto& row : rows) {
    FakePlatform fake;
    Lines out;
    fake.tasks.start(fake.mainQueue, fetch(fake.imageManager, fake.background, out));
    fake.settle();
    EXPECT_THAT(fake.imageManager.asked.all(), ElementsAre("A with options"));
    fake.imageManager.requests.front()(row.data, row.dataUTI, 6, row.info);
    fake.settle();
    EXPECT_THAT(out.all(), ElementsAre(row.given));
  }
}

TEST(PhotosAdaptersTest, AHandlerThatRunsTwiceIsLoggedUnderTheAdaptersName) {
  FakePlatform fake;
  Lines out;
  fake.tasks.start(fake.mainQueue, change(fake.photoLibrary, fake.background, out));
  fake.tasks.start(fake.mainQueue, fetch(fake.imageManager, fake.background, out));
  fake.settle();
  const auto changed = fake.photoLibrary.changes.front().completion;
  const auto fetched = fake.imageManager.requests.front();
  changed(true, {});
  fetched({}, {}, 1, {});
  EXPECT_DEBUG_DEATH(changed(true, {}), "performChangesAsync");
  EXPECT_DEBUG_DEATH(fetched(Data(), {}, 1, {}), "requestImageDataAndOrientationAsync");
  fake.settle();
  EXPECT_EQ(out.all().size(), 2u);
}

TEST(PhotosAdaptersTest, AWaiterWhoseHandlerNeverRunsEndsWithItsScopeAndALateHandlerDoesNothing) {
  FakePlatform fake;
  Lines out;
  fake.tasks.start(fake.mainQueue, change(fake.photoLibrary, fake.background, out));
  fake.tasks.start(fake.mainQueue, fetch(fake.imageManager, fake.background, out));
  fake.settle();
  EXPECT_EQ(fake.tasks.liveCount(), 2u);
  fake.tasks.join();
  fake.photoLibrary.finishChange(true);
  fake.imageManager.requests.front()(Data(), {}, 1, {});
  fake.settle();
  EXPECT_THAT(out.all(), IsEmpty());
}

}  // namespace
}  // namespace vecamera
