#include "device/imaging/base/ThreadBudget.h"

#include <future>
#include <new>
#include <random>

#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngRows.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

/// Pieces of work that are counted.
struct Pieces {
  int left = 0;
  int done = 0;

  std::function<bool()> doOne() {
    return [this] {
      if (left == 0) return false;
      --left;
      ++done;
      return true;
    };
  }
};

TEST(WorkQueueTest, AWorkerStartsOnlyWhereFewerThreadsAreActive) {
  QueueExecutor queue;
  const ThreadBudget two(2, queue);
  const ThreadBudget::Lease one(two);
  Pieces pieces{3};
  WorkQueue work(two, pieces.doOne());
  EXPECT_TRUE(work.requestWorker());
  EXPECT_TRUE(work.requestWorker());
  EXPECT_EQ(queue.pending(), 1u);
  {
    // It was requested, but another picture was faster.
    const ThreadBudget::Lease other(two);
    queue.runAll();
    EXPECT_EQ(pieces.done, 0);
    EXPECT_FALSE(work.requestWorker());
    EXPECT_EQ(queue.pending(), 0u);
  }
  EXPECT_TRUE(work.requestWorker());
  queue.runAll();
  EXPECT_EQ(pieces.done, 3);
  EXPECT_TRUE(work.end());
}

TEST(WorkQueueTest, AWorkerEndsWhereAnotherPictureComes) {
  QueueExecutor queue;
  const ThreadBudget two(2, queue);
  const ThreadBudget::Lease one(two);
  std::optional<ThreadBudget::Lease> other;
  int done = 0;
  WorkQueue work(two, [&] {
    other.emplace(two);
    return ++done < 3;
  });
  work.requestWorker();
  queue.runAll();
  EXPECT_EQ(done, 1);
}

TEST(WorkQueueTest, AWorkerThatStartsTooLateDoesNothing) {
  QueueExecutor queue;
  Pieces pieces{3};
  {
    WorkQueue work({2, queue}, pieces.doOne());
    work.requestWorker();
    EXPECT_TRUE(work.end());
    EXPECT_FALSE(work.requestWorker());
  }
  queue.runAll();
  EXPECT_EQ(pieces.done, 0);
}

TEST(WorkQueueTest, APieceThatThrowsFailsTheWorkAndEndsNothingElse) {
  QueueExecutor queue;
  WorkQueue work({2, queue}, []() -> bool { throw std::bad_alloc(); });
  work.requestWorker();
  queue.runAll();
  EXPECT_TRUE(work.requestWorker());
  EXPECT_FALSE(work.end());
}

TEST(WorkQueueTest, MoreWorkersStartWhereMoreThreadsAreAllowed) {
  QueueExecutor queue;
  const ThreadBudget four(4, queue);
  const ThreadBudget::Lease one(four);
  Pieces pieces;
  WorkQueue work(four, pieces.doOne());
  for (int i = 0; i < 5; ++i) work.requestWorker();
  EXPECT_EQ(queue.pending(), 3u);
}

Bitmap noise(std::size_t width, std::size_t height) {
  std::mt19937 random(3);
  return bitmapOf(width, height, [&](std::size_t x, std::size_t y) {
    return Rgba{static_cast<int>(random() % 256), static_cast<int>((x + random() % 9) % 256),
                static_cast<int>(y % 256)};
  });
}

bool readsAll(const std::vector<std::uint8_t>& png, const ThreadBudget& threads) {
  const auto header = *readHeader(png);
  const auto rows = openPngRows(png, header, {}, threads);
  Bitmap pixels = *Bitmap::uninitialized(header.width, header.height);
  return rows && (*rows)->read(pixels.row(0), header.height) && (*rows)->finish();
}

TEST(ThreadBudgetTest, PicturesDoNotWaitForWorkersThatNeverStart) {
  QueueExecutor never;
  const ThreadBudget two(2, never);
  const auto png = *encodePngBitmap(noise(1200, 900));
  EXPECT_EQ(*encodePngBitmap(noise(1200, 900), two), png);
  EXPECT_TRUE(readsAll(png, two));
  EXPECT_GE(never.pending(), 2u);
  // All of what they would have worked on is gone.
  never.runAll();
}

TEST(ThreadBudgetTest, APictureHasWorkersOnlyWhereItsOwnThreadLeavesRoom) {
  QueueExecutor queue;
  const ThreadBudget two(2, queue);
  ImageFactory images({}, two);
  const auto image = images.imageWithData(Data(*encodePngBitmap(noise(1200, 900))));
  const auto workersRequested = [&](auto&& make) {
    EXPECT_TRUE(make());
    const std::size_t requested = queue.pending();
    queue.runAll();
    return requested;
  };
  const auto png = [&] { return images.UIImagePNGRepresentation(image); };
  const auto jpeg = [&] { return images.UIImageJPEGRepresentation(image, 0.8); };
  EXPECT_GE(workersRequested(png), 1u);
  EXPECT_GE(workersRequested(jpeg), 1u);
  const ThreadBudget::Lease other(two);
  EXPECT_EQ(workersRequested(png), 0u);
  EXPECT_EQ(workersRequested(jpeg), 0u);
}

TEST(ThreadBudgetTest, PicturesMayBeMadeOnTheWorkersOwnExecutor) {
  const auto png = *encodePngBitmap(noise(1200, 900));
  ThreadPoolExecutor pool(3);
  const ThreadBudget three(3, pool);
  std::vector<std::future<bool>> results;
  for (int i = 0; i < 6; ++i) {
    const auto made = std::make_shared<std::promise<bool>>();
    results.push_back(made->get_future());
    pool.post([&, made] {
      const ThreadBudget::Lease lease(three);
      made->set_value(*encodePngBitmap(noise(1200, 900), three) == png && readsAll(png, three));
    });
  }
  for (auto& result : results) EXPECT_TRUE(result.get());
}

}  // namespace
}  // namespace vecamera::device::imaging
