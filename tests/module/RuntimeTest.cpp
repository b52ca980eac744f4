#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <latch>
#include <numeric>

#include "VECamera/runtime/Continuation.h"
#include "VECamera/runtime/Task.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

/// Counts the objects that live, so that a frame that is not freed shows.
struct Sentinel {
  Sentinel() { ++live; }
  Sentinel(const Sentinel&) { ++live; }
  ~Sentinel() { --live; }
  static inline std::atomic<int> live{0};
};

class RuntimeTest : public testing::Test {
 protected:
  ~RuntimeTest() override {
    tasks.join();
    EXPECT_EQ(Sentinel::live, 0);
  }
  static std::string messageOf(std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& thrown) {
      return thrown.what();
    }
  }

  std::vector<std::string> errors;
  std::vector<int> seen;
  QueueExecutor main;
  QueueExecutor background;
  TaskScope tasks{[this](std::exception_ptr error) { errors.push_back(messageOf(error)); }};
};

class TaskTest : public RuntimeTest {};
class ContinuationTest : public RuntimeTest {};
class TaskScopeTest : public RuntimeTest {};

Task<int> number(int value, Sentinel = {}) {
  co_return value;
}

Task<int> nested(int depth, Sentinel = {}) {
  if (depth == 0) co_return 0;
  const int below = co_await nested(depth - 1);
  co_return below + 1;
}

Task<int> failing(int depth, Sentinel = {}) {
  if (depth == 0) throw std::runtime_error("bottom");
  const int below = co_await failing(depth - 1);
  co_return below;
}

Task<int> counted(int turns) {
  int sum = 0;
  for (int i = 0; i < turns; ++i) sum += co_await number(1);
  co_return sum;
}

Task<void> keep(std::vector<int>& into, Task<int> task, Sentinel = {}) {
  const int value = co_await std::move(task);
  into.push_back(value);
}

Task<void> visit(std::vector<int>& into, QueueExecutor& first, QueueExecutor& second,
                 Sentinel = {}) {
  into.push_back(1);
  co_await resumeOn(second);
  into.push_back(2);
  co_await resumeOn(first);
  into.push_back(3);
}

// Transfers use no stack where the compiler makes tail calls of them: always for one compiler, in
// release builds without sanitizers for the other. There the chain is longer than any stack.
#if defined(__clang__) || \
    (defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__))
constexpr int links = 100'000;
#else
constexpr int links = 1'000;
#endif

TEST_F(TaskTest, AChainOrALoopOfManyTasksGivesItsValueWithoutStack) {
  tasks.start(main, keep(seen, nested(links)));
  tasks.start(main, keep(seen, counted(links)));
  EXPECT_EQ(main.runAll(), 2u);
  EXPECT_THAT(seen, ElementsAre(links, links));
  EXPECT_EQ(tasks.liveCount(), 0u);
}

TEST_F(TaskTest, ATaskThatIsNeverAwaitedRunsNothingAndFreesItsFrame) {
  {
    auto dropped = keep(seen, number(1));
    auto moved = std::move(dropped);
    moved = keep(seen, number(2));
    EXPECT_EQ(Sentinel::live, 2) << "assigning frees the earlier frames";
  }
  EXPECT_EQ(Sentinel::live, 0);
  EXPECT_TRUE(seen.empty());
}

TEST_F(TaskTest, ATaskStartsOnItsExecutorAndResumesOnTheOneThatItNames) {
  tasks.start(main, visit(seen, main, background));
  EXPECT_TRUE(seen.empty());
  main.runAll();
  EXPECT_THAT(seen, ElementsAre(1));
  background.runAll();
  EXPECT_THAT(seen, ElementsAre(1, 2));
  EXPECT_EQ(tasks.liveCount(), 1u);
  main.runAll();
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  EXPECT_EQ(tasks.liveCount(), 0u);
}

TEST_F(TaskTest, AnErrorPassesAllAwaitersToTheSinkAndEndsOnlyItsOwnTask) {
  tasks.start(main, keep(seen, failing(5)));
  tasks.start(main, keep(seen, number(7)));
  main.runAll();
  EXPECT_THAT(errors, ElementsAre("bottom"));
  EXPECT_THAT(seen, ElementsAre(7));
  EXPECT_EQ(Sentinel::live, 0);
}

/// Waits for the continuation that it puts into `out`, and keeps what comes.
Task<void> wait(std::vector<int>& into, std::optional<Continuation<int>>& out, Executor& resumed,
                bool inlineResume = false, Sentinel = {}) {
  const auto start = [&out, inlineResume](Continuation<int> waiter) {
    out = waiter;
    if (inlineResume) waiter.resume(5);
  };
  const int value = co_await suspendUntilResumed<int>("waiting for a number", resumed, start);
  into.push_back(value);
}

TEST_F(ContinuationTest, AContinuationResumesItsWaiterOnTheNamedExecutorAndNeverInline) {
  enum class Resumed { value, error, insideStart, fromAnotherThread };
  for (const Resumed how :
       {Resumed::value, Resumed::error, Resumed::insideStart, Resumed::fromAnotherThread}) {
    seen.clear();
    errors.clear();
    std::optional<Continuation<int>> waiter;
    tasks.start(main, wait(seen, waiter, background, how == Resumed::insideStart));
    main.runAll();
    ASSERT_TRUE(waiter);
    EXPECT_EQ(background.pending(), how == Resumed::insideStart ? 1u : 0u);
    if (how == Resumed::value) waiter->resume(5);
    if (how == Resumed::error)
      waiter->resumeThrowing(std::make_exception_ptr(std::runtime_error("refused")));
    if (how == Resumed::fromAnotherThread) std::thread([&] { waiter->resume(5); }).join();
    EXPECT_TRUE(seen.empty() && errors.empty()) << "not before the executor runs";
    EXPECT_EQ(background.runAll(), 1u);
    EXPECT_EQ(seen.size() + errors.size(), 1u);
    EXPECT_EQ(errors.size(), how == Resumed::error ? 1u : 0u);
  }
}

TEST_F(ContinuationTest, ASecondResumptionIsAnErrorThatNamesTheOperation) {
  std::optional<Continuation<int>> waiter;
  tasks.start(main, wait(seen, waiter, main));
  main.runAll();
  waiter->resume(1);
  const auto again = [&] { waiter->resume(2); };
  EXPECT_THAT(again, ThrowsMessage<std::logic_error>(HasSubstr("waiting for a number")));
  main.runAll();
  EXPECT_THAT(seen, ElementsAre(1));
  EXPECT_THROW(waiter->resumeThrowing(nullptr), std::logic_error);
}

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
  EXPECT_THROW(waiting->resume(4), std::logic_error);
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

TEST(QueueExecutor, RunsJobsInOrderNeverInlineAndDropsTheRest) {
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

TEST(QueueExecutor, RunUntilWaitsForJobsOfOtherThreadsAndStopsAtOnce) {
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

TEST(ThreadPoolExecutor, DropsTheJobsThatHaveNotStartedWhenItEnds) {
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

TEST(TaskScope, TasksHopAndRaceWithTheirHandlersOnTwoPools) {
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

TEST(TaskScope, JoinDropsTasksInFullFlight) {
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
