#pragma once

#include <memory>

#include "VECamera/runtime/Executor.h"
#include "device/imaging/base/ImageResult.h"

namespace vecamera::device::imaging {

/// How many threads a device uses for its pictures by default: one for each processor, but no more
/// than two.
unsigned defaultThreadCount();

/// Limits how many threads work on the pictures of a device at the same time: the threads that ask
/// for pictures, and workers, which run on an executor. A worker starts only while fewer threads
/// than the maximum are active, and ends when more are. So pictures that are made at the same time
/// go without workers instead of waiting for them. Copies share the budget. Any thread.
class ThreadBudget {
  struct Budget;

 public:
  /// The calling thread alone.
  ThreadBudget() = default;
  /// Workers run on `workers`, which outlives the use of the pictures. It may drop jobs or run them
  /// late.
  ThreadBudget(unsigned maxThreads, Executor& workers);

  /// Counts the thread that makes it as active while it lives.
  class Lease {
   public:
    explicit Lease(const ThreadBudget& threads);
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

   private:
    const std::shared_ptr<Budget> budget_;
  };

 private:
  friend class WorkQueue;

  std::shared_ptr<Budget> budget_;
};

/// Work in pieces, which its owner's thread and workers do at the same time. The owner waits only
/// for pieces that a worker has begun, so that it may itself run on the workers' executor.
class WorkQueue {
 public:
  /// `doPiece` does the next piece, and returns false where there is none now. Owner and workers
  /// call it at the same time.
  WorkQueue(const ThreadBudget& threads, std::function<bool()> doPiece);
  ~WorkQueue();
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Asks for one more worker, which does pieces until there is none. True where a worker is active
  /// or may become so.
  bool requestWorker();
  /// Waits for the pieces that workers have begun; no worker starts another. `outOfMemory` where
  /// one of them threw.
  ImageResult<void> end();

 private:
  struct Shared;
  static void runWorker(Shared& shared, ThreadBudget::Budget& budget);

  std::shared_ptr<ThreadBudget::Budget> budget_;
  std::shared_ptr<Shared> shared_;
};

}  // namespace vecamera::device::imaging
