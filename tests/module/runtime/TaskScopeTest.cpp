#include "VECamera/runtime/TaskScope.h"

#include <future>
#include <latch>
#include <thread>

#include "tests/module/runtime/RuntimeTest.h"

namespace vecamera {
namespace {

class TaskScopeTest : public RuntimeTest {};

TEST_F(TaskScopeTest, JoinDropsWaitingQueuedAndUnstartedTasksWithAllTheirFrames) {
  std::optional<Continuation<int>> waiting, woken;
  tasks.start(main, wait(seen, waiting, background));
  tasks.start(main, wait(seen, woken, background));
  tasks.start(main, visit(seen, main, background));
  main.runAll();
  woken->resume(2);
  tasks.start(main, keep(seen, nested(10)));
  EXPECT_EQ(tasks.liveCount(), 4u);
  EXPECT_EQ(background.pending(), 2u);
  seen.clear();

  tasks.join();
  EXPECT_EQ(tasks.liveCount(), 0u);
  EXPECT_EQ(Sentinel::live, 0);
  waiting->resume(3);
  tasks.start(main, keep(seen, number(9)));
  main.runAll();
  background.runAll();
  EXPECT_TRUE(seen.empty()) << "jobs and handlers that come late do nothing";
}

Task<void> holdUp(std::latch& running, std::shared_future<void> released, Executor& next,
                  std::atomic<bool>& passed, Sentinel = {}) {
  running.count_down();
  released.wait();
  co_await resumeOn(next);
  passed = true;
}

TEST_F(TaskScopeTest, JoinWaitsForARunningTaskAndDropsItAtItsNextSuspension) {
  ThreadPoolExecutor pool(1);
  std::latch running(1);
  std::promise<void> release;
  std::atomic<bool> passed = false;
  tasks.start(pool, holdUp(running, release.get_future().share(), background, passed));
  running.wait();
  std::thread joining([&] { tasks.join(); });
  EXPECT_EQ(Sentinel::live, 1);
  release.set_value();
  joining.join();
  EXPECT_EQ(Sentinel::live, 0);
  background.runAll();
  EXPECT_FALSE(passed);
}

TEST_F(TaskScopeTest, PostsWithoutALockAndJoinWaitsForAPostUnderWay) {
  struct SlowExecutor : Executor {
    void post(Job) override {
      entered.count_down();
      released.wait();
    }
    std::latch entered{1}, released{1};
  } slow;
  std::thread starting([&] { tasks.start(slow, keep(seen, number(1))); });
  slow.entered.wait();
  const auto live = std::async(std::launch::async, [&] { tasks.liveCount(); });
  EXPECT_EQ(live.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  const auto joined = std::async(std::launch::async, [&] { tasks.join(); });
  EXPECT_EQ(joined.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  slow.released.count_down();
  starting.join();
}

TEST_F(TaskScopeTest, AScopeJoinsWhenItEnds) {
  std::optional<Continuation<int>> waiter;
  {
    TaskScope inner(nullptr);
    inner.start(main, wait(seen, waiter, main));
    inner.start(main, keep(seen, failing(0)));
    main.runAll();
  }
  EXPECT_EQ(Sentinel::live, 0);
  waiter->resume(1);
  EXPECT_EQ(main.pending(), 0u);
}

Task<void> wander(Executor& here, Executor& there, std::latch& done, Sentinel = {}) {
  for (int i = 0; i < 10; ++i) {
    co_await resumeOn(there);
    // The handler races with the rest of the suspension.
    const auto start = [&here, i](Continuation<int> waiter) {
      here.post([waiter, i] { waiter.resume(i); });
    };
    const int given = co_await suspendUntilResumed<int>("race", i % 2 ? here : there, start);
    if (given != i) throw std::runtime_error("wrong number");
  }
  done.count_down();
}

TEST(TaskScopeThreadsTest, TasksHopAndRaceWithTheirHandlersOnTwoPools) {
  constexpr int count = 100;
  std::atomic<int> errors = 0;
  ThreadPoolExecutor left(2), right(2);
  TaskScope tasks([&](std::exception_ptr) { ++errors; });
  std::latch done(count);
  for (int i = 0; i < count; ++i) tasks.start(i % 2 ? left : right, wander(left, right, done));
  done.wait();
  tasks.join();
  EXPECT_EQ(errors, 0);
  EXPECT_EQ(Sentinel::live, 0);
}

TEST(TaskScopeThreadsTest, JoinDropsTasksInFullFlight) {
  for (int round = 0; round < 30; ++round) {
    std::latch neverDone(1000);
    ThreadPoolExecutor left(2), right(2);
    TaskScope tasks(nullptr);
    for (int i = 0; i < 30; ++i) tasks.start(left, wander(left, right, neverDone));
    tasks.join();
    EXPECT_EQ(tasks.liveCount(), 0u);
    ASSERT_EQ(Sentinel::live, 0);
  }
}

}  // namespace
}  // namespace vecamera
