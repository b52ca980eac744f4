#include "device/imaging/base/ThreadBudget.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace vecamera::device::imaging {

unsigned defaultThreadCount() {
  constexpr unsigned most = 2;
  return std::clamp(std::thread::hardware_concurrency(), 1u, most);
}

struct ThreadBudget::Budget {
  Budget(unsigned mostAtWork, Executor& helperExecutor)
      : most(mostAtWork), helpers(helperExecutor) {}

  bool admitHelper() {
    unsigned now = atWork;
    while (now < most)
      if (atWork.compare_exchange_weak(now, now + 1)) return true;
    return false;
  }

  const unsigned most;
  Executor& helpers;
  std::atomic<unsigned> atWork = 0;
};

ThreadBudget::ThreadBudget(unsigned most, Executor& helpers)
    : budget_(std::make_shared<Budget>(most, helpers)) {}

ThreadBudget::Lease::Lease(const ThreadBudget& threads) : budget_(threads.budget_) {
  if (budget_) ++budget_->atWork;
}

ThreadBudget::Lease::~Lease() {
  if (budget_) --budget_->atWork;
}

/// Outlives the work where the executor runs a helper late.
struct WorkQueue::Shared {
  std::function<bool()> doPiece;
  std::mutex mutex;
  std::condition_variable left;
  // Guarded by the mutex.
  unsigned called = 0;
  unsigned atWork = 0;
  bool ended = false;
  bool failed = false;
};

WorkQueue::WorkQueue(const ThreadBudget& threads, std::function<bool()> doPiece)
    : budget_(threads.budget_), shared_(std::make_shared<Shared>()) {
  shared_->doPiece = std::move(doPiece);
}

WorkQueue::~WorkQueue() {
  end();
}

bool WorkQueue::requestWorker() {
  if (!budget_ || budget_->most < 2) return false;
  {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->ended) return false;
    if (shared_->called + 1 >= budget_->most) return true;
    if (budget_->atWork >= budget_->most) return shared_->called > 0;
    ++shared_->called;
  }
  try {
    budget_->helpers.post([shared = shared_, budget = budget_] { help(*shared, *budget); });
    return true;
  } catch (const std::exception&) {
    // Without memory for another job the owner does it all.
    const std::lock_guard lock(shared_->mutex);
    --shared_->called;
    return false;
  }
}

void WorkQueue::help(Shared& shared, ThreadBudget::Budget& budget) {
  std::unique_lock lock(shared.mutex);
  if (!shared.ended && budget.admitHelper()) {
    ++shared.atWork;
    bool more = true;
    while (more && !shared.ended && budget.atWork <= budget.most) {
      lock.unlock();
      bool failed = false;
      try {
        more = shared.doPiece();
      } catch (const std::exception&) {
        failed = true;
      }
      lock.lock();
      if (failed) shared.failed = true;
      more = more && !failed;
    }
    --shared.atWork;
    --budget.atWork;
  }
  --shared.called;
  shared.left.notify_all();
}

bool WorkQueue::end() {
  std::unique_lock lock(shared_->mutex);
  shared_->ended = true;
  shared_->left.wait(lock, [this] { return shared_->atWork == 0; });
  return !shared_->failed;
}

}  // namespace vecamera::device::imaging
