#include "VECamera/runtime/Executor.h"

namespace vecamera {

void QueueExecutor::post(Job job) {
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  posted_.notify_all();
}

bool QueueExecutor::runOne() {
  Job job;
  {
    const std::lock_guard lock(mutex_);
    if (jobs_.empty()) return false;
    job = std::move(jobs_.front());
    jobs_.pop_front();
  }
  job();
  return true;
}

std::size_t QueueExecutor::runAll() {
  std::size_t count = 0;
  while (runOne()) ++count;
  return count;
}

void QueueExecutor::runUntil(const std::function<bool()>& done) {
  while (!done()) {
    if (runOne()) continue;
    std::unique_lock lock(mutex_);
    posted_.wait(lock, [this] { return !jobs_.empty(); });
  }
}

std::size_t QueueExecutor::pending() const {
  const std::lock_guard lock(mutex_);
  return jobs_.size();
}

ThreadPoolExecutor::ThreadPoolExecutor(std::size_t threads) {
  threads_.reserve(threads);
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { work(); });
}

ThreadPoolExecutor::~ThreadPoolExecutor() {
  std::deque<Job> dropped;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    dropped.swap(jobs_);
  }
  changed_.notify_all();
  for (auto& thread : threads_) thread.join();
}

void ThreadPoolExecutor::post(Job job) {
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    jobs_.push_back(std::move(job));
  }
  changed_.notify_one();
}

void ThreadPoolExecutor::work() {
  for (;;) {
    Job job;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
      if (stopping_) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job();
  }
}

}  // namespace vecamera
