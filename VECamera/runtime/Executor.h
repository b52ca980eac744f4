#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vecamera {

/// One piece of work for an executor. A job does not throw, but for what a host's own
/// `NSProcess::fatalError` throws.
using Job = std::function<void()>;

/// Where code runs. `post` may be called on any thread, and the module holds no lock of its own
/// meanwhile. It returns at once, does not throw, and never runs the job inline. The executors
/// below end the process where there is no memory for a job. Jobs that have not run when the
/// executor ends are destroyed unrun; what they hold may be the last reference to an object of the
/// host's.
class Executor {
 public:
  virtual ~Executor() = default;
  virtual void post(Job job) = 0;
};

/// A first-in, first-out queue that runs on whichever thread pumps it: a program's main queue, or
/// a test's manual executor. One thread pumps at a time.
class QueueExecutor : public Executor {
 public:
  void post(Job job) override;
  /// Runs the oldest job; false where there is none.
  bool runOne();
  /// Runs jobs, also those posted meanwhile, until there is none; gives their number.
  std::size_t runAll();
  /// Runs jobs, waiting for more, until `done` holds; it is asked before each job and after each
  /// `post`.
  void runUntil(const std::function<bool()>& done);
  std::size_t pending() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<Job> jobs_;
};

/// The main actor: its jobs run on the main queue, which outlives it.
class MainActor : public Executor {
 public:
  explicit MainActor(Executor& mainQueue) : mainQueue_(mainQueue) {}
  void post(Job job) override { mainQueue_.post(std::move(job)); }

 private:
  Executor& mainQueue_;
};

/// The background executor: a few threads that share one queue. The destructor drops the jobs that
/// have not started and waits for those that run.
class ThreadPoolExecutor : public Executor {
 public:
  explicit ThreadPoolExecutor(std::size_t threads);
  ~ThreadPoolExecutor() override;
  void post(Job job) override;

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> jobs_;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace vecamera
