#pragma once

#include <functional>
#include <memory>

#include "VECamera/runtime/Executor.h"

namespace vecamera::device::imaging {

/// How many threads a device uses for its pictures where nobody says otherwise: one for each
/// processor, but no more than two.
unsigned defaultThreadCount();

/// The threads that the pictures of a device may use: those that ask for pictures, and helpers,
/// which run on an executor. A helper starts only while fewer than the most threads are at work,
/// and leaves where more are, so that pictures that are made at the same time do without helpers
/// rather than wait for each other's. Copies stand for the same threads. Any thread.
class ThreadBudget {
  struct Budget;

 public:
  /// The calling thread alone.
  ThreadBudget() = default;
  /// Helpers run on `helpers`, which outlives the use of the pictures. Jobs that it drops or runs
  /// late do no harm.
  ThreadBudget(unsigned most, Executor& helpers);

  /// Counts the thread that makes it among those at work while it lives.
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

/// Work in pieces that helpers may do beside the thread that owns it. The owner does pieces itself
/// and waits only for pieces that a helper has begun, so that it may itself run on the helpers'
/// executor.
class WorkQueue {
 public:
  /// `doPiece` does a piece that nobody has begun, and gives false where there is none now. Owner
  /// and helpers call it at the same time.
  WorkQueue(const ThreadBudget& threads, std::function<bool()> doPiece);
  ~WorkQueue();
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Asks for one helper more, which does pieces until there is none. True where a helper is at
  /// work or may come.
  bool requestWorker();
  /// Waits for the pieces that helpers have begun; no helper starts another. False where one of
  /// them threw, as for want of memory.
  bool end();

 private:
  struct Shared;
  static void help(Shared& shared, ThreadBudget::Budget& budget);

  std::shared_ptr<ThreadBudget::Budget> budget_;
  std::shared_ptr<Shared> shared_;
};

}  // namespace vecamera::device::imaging
