#include "device/imaging/base/ThreadBudget.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace vecamera::device::imaging {

unsigned defaultThreadCount() {
  constexpr unsigned maxThreads = 2;
  return std::clamp(std::thread::hardware_concurrency(), 1u, maxThreads);
}

struct ThreadBudget::Budget {
  Budget(unsigned threads, Executor& executor) : maxThreads(threads), workers(executor) {}

  bool admitWorker() {
    unsigned now = active;
    while (now < maxThreads)
      if (active.compare_exchange_weak(now, now + 1)) return true;
    return false;
  }

  const unsigned maxThreads;
  Executor& workers;
  std::atomic<unsigned> active = 0;
};

ThreadBudget::ThreadBudget(unsigned maxThreads, Executor& workers)
    : budget_(std::make_shared<Budget>(maxThreads, workers)) {}

ThreadBudget::Lease::Lease(const ThreadBudget& threads) : budget_(threads.budget_) {
  if (budget_) ++budget_->active;
}

ThreadBudget::Lease::~Lease() {
  if (budget_) --budget_->active;
}

/// Outlives the queue where the executor runs a worker late.
struct WorkQueue::Shared {
  std::function<bool()> doPiece;
  std::mutex mutex;
  std::condition_variable workerEnded;
  // Guarded by the mutex.
  unsigned requested = 0;
  unsigned active = 0;
  bool ended = false;
  bool failed = false;
};

WorkQueue::WorkQueue(const ThreadBudget& threads, std::function<bool()> doPiece)
    : budget_(threads.budget_), shared_(std::make_shared<Shared>()) {
  shared_->doPiece = std::move(doPiece);
}

WorkQueue::~WorkQueue() {
  static_cast<void>(end());
}

bool WorkQueue::requestWorker() {
  if (!budget_ || budget_->maxThreads < 2) return false;
  {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->ended) return false;
    if (shared_->requested + 1 >= budget_->maxThreads) return true;
    if (budget_->active >= budget_->maxThreads) return shared_->requested > 0;
    ++shared_->requested;
  }
  try {
    budget_->workers.post([shared = shared_, budget = budget_] { runWorker(*shared, *budget); });
    return true;
  } catch (const std::exception&) {
    // Without memory for another job the owner does it all.
    const std::lock_guard lock(shared_->mutex);
    --shared_->requested;
    return false;
  }
}

void WorkQueue::runWorker(Shared& shared, ThreadBudget::Budget& budget) {
  std::unique_lock lock(shared.mutex);
  if (!shared.ended && budget.admitWorker()) {
    ++shared.active;
    bool more = true;
    while (more && !shared.ended && budget.active <= budget.maxThreads) {
      lock.unlock();
      try {
        more = shared.doPiece();
        lock.lock();
      } catch (const std::exception&) {
        lock.lock();
        shared.failed = true;
        more = false;
      }
    }
    --shared.active;
    --budget.active;
  }
  --shared.requested;
  shared.workerEnded.notify_all();
}

ImageResult<void> WorkQueue::end() {
  std::unique_lock lock(shared_->mutex);
  shared_->ended = true;
  shared_->workerEnded.wait(lock, [this] { return shared_->active == 0; });
  if (shared_->failed) return Failure(ImageError::outOfMemory);
  return {};
}

}  // namespace vecamera::device::imaging
