#include "VECamera/runtime/Executor.h"

#include <future>
#include <thread>

#include "tests/module/runtime/RuntimeTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;

TEST(QueueExecutorTest, RunsJobsInOrderNeverInlineAndDropsTheRest) {
  std::vector<int> seen;
  {
    QueueExecutor queue;
    queue.post([&] {
      seen.push_back(1);
      queue.post([&] { seen.push_back(3); });
    });
    queue.post([&, kept = Sentinel()] { seen.push_back(2); });
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(queue.runOne());
    EXPECT_THAT(seen, ElementsAre(1));
    EXPECT_EQ(queue.runAll(), 2u);
    EXPECT_FALSE(queue.runOne());
    queue.post([&, kept = Sentinel()] { seen.push_back(4); });
  }
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  EXPECT_EQ(Sentinel::live, 0);
}

TEST(QueueExecutorTest, RunUntilWaitsForJobsOfOtherThreadsAndStopsAtOnce) {
  QueueExecutor queue;
  std::atomic<int> count = 0;
  std::thread poster([&] {
    for (int i = 0; i < 5; ++i) queue.post([&] { ++count; });
  });
  queue.runUntil([&] { return count == 3; });
  poster.join();
  EXPECT_EQ(count, 3);
  EXPECT_EQ(queue.pending(), 2u);
}

TEST(ThreadPoolExecutorTest, DropsTheJobsThatHaveNotStartedWhenItEnds) {
  std::atomic<int> ran = 0;
  auto pool = std::make_unique<ThreadPoolExecutor>(1);
  std::promise<void> ending;
  pool->post([&, raw = pool.get()] {
    ending.get_future().wait();
    // A pool that is ending refuses jobs, which frees what they hold at once.
    for (std::weak_ptr<int> refused;;) {
      auto token = std::make_shared<int>();
      refused = token;
      raw->post([&ran, held = std::move(token)] { ++ran; });
      if (refused.expired()) return;
    }
  });
  pool->post([&ran, kept = Sentinel()] { ++ran; });
  ending.set_value();
  pool = nullptr;
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(Sentinel::live, 0);
}

}  // namespace
}  // namespace vecamera
