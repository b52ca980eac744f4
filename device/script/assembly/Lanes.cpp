#include "device/script/assembly/Lanes.h"

#include <algorithm>
#include <utility>

namespace vecamera::device::script {

thread_local Lanes::Worker* Lanes::current_ = nullptr;

void Lanes::Lane::post(Job job) {
  const std::lock_guard lock(lanes_.mutex_);
  if (!lanes_.stopping_) jobs_.push_back({std::move(job), lanes_.lockedPurpose()});
}

Lanes::Lanes() {
  for (auto& lane : lanes_) lane.reset(new Lane(*this));
  start();
}

void Lanes::start() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = false;
  }
  for (auto& lane : lanes_)
    if (!lane->worker_) lane->worker_ = makeWorker(*lane);
}

std::unique_ptr<Lanes::Worker> Lanes::makeWorker(Lane& lane) {
  auto worker = std::make_unique<Worker>(lane);
  worker->thread = std::thread([this, raw = worker.get()] { work(*raw); });
  return worker;
}

bool Lanes::step() {
  std::unique_lock lock(mutex_);
  for (const auto& lane : lanes_) {
    if (!lane->worker_ || lane->worker_->inJob || lane->jobs_.empty()) continue;
    lock.unlock();
    resume(*lane->worker_);
    return true;
  }
  return false;
}

bool Lanes::retryWaiting() {
  bool progressed = false;
  for (const auto& lane : lanes_) {
    if (!isWaiting(*lane)) continue;
    progressed = std::exchange(lane->worker_->isContinued, false) || progressed;
    resume(*lane->worker_);
    progressed = progressed || !isWaiting(*lane);
  }
  return progressed;
}

bool Lanes::anyWaiting() const {
  return std::any_of(std::begin(lanes_), std::end(lanes_),
                     [this](const auto& lane) { return isWaiting(*lane); });
}

bool Lanes::isInJob(const Lane& lane) const {
  const std::lock_guard lock(mutex_);
  return lane.worker_ && lane.worker_->inJob;
}

bool Lanes::isWaiting(const Lane& lane) const {
  const std::lock_guard lock(mutex_);
  return lane.worker_ && lane.worker_->inJob && !lane.worker_->isHeld;
}

void Lanes::continueHeld(Lane& lane) {
  const std::lock_guard lock(mutex_);
  lane.worker_->isHeld = false;
  lane.worker_->isContinued = true;
}

void Lanes::abandonHeld(Lane& lane) {
  abandoned_.push_back(std::exchange(lane.worker_, makeWorker(lane)));
}

void Lanes::onException(std::exception_ptr thrown) {
  try {
    std::rethrow_exception(thrown);
  } catch (const Unwinding&) {
    // The end of the lanes, passing through a task.
  } catch (const std::exception& error) {
    if (fatalError_.empty()) fatalError_ = error.what();
  }
}

Lanes::Lane* Lanes::caller() {
  return current_ && &current_->lane.lanes_ == this ? &current_->lane : nullptr;
}

const Executor* Lanes::current() {
  return current_ ? &current_->lane : nullptr;
}

std::string Lanes::purpose() const {
  const std::lock_guard lock(mutex_);
  return lockedPurpose();
}

const std::string& Lanes::lockedPurpose() const {
  return current_ && &current_->lane.lanes_ == this ? current_->purpose : purpose_;
}

void Lanes::setPurpose(std::string purpose) {
  const std::lock_guard lock(mutex_);
  purpose_ = std::move(purpose);
}

void Lanes::yieldWaiting() {
  if (!caller()) return;
  std::unique_lock lock(mutex_);
  handBack(*current_, lock);
}

void Lanes::yieldHeld() {
  std::unique_lock lock(mutex_);
  current_->isHeld = true;
  handBack(*current_, lock);
}

/// Lets the conductor run, until it resumes the worker.
void Lanes::handBack(Worker& worker, std::unique_lock<std::mutex>& lock) {
  running_ = nullptr;
  changed_.notify_all();
  changed_.wait(lock, [this, &worker] { return running_ == &worker; });
  if (stopping_) throw Unwinding();
}

void Lanes::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
  }
  // A worker in the middle of a job unwinds; an idle one leaves its loop.
  const auto end = [this](std::unique_ptr<Worker> worker) {
    resume(*worker);
    worker->thread.join();
  };
  for (auto& worker : std::exchange(abandoned_, {})) end(std::move(worker));
  for (const auto& lane : lanes_) end(std::move(lane->worker_));
  for (const auto& lane : lanes_) const auto dropped = std::exchange(lane->jobs_, {});
}

void Lanes::resume(Worker& worker) {
  std::unique_lock lock(mutex_);
  running_ = &worker;
  changed_.notify_all();
  changed_.wait(lock, [this] { return running_ == nullptr; });
}

void Lanes::work(Worker& worker) {
  current_ = &worker;
  auto& jobs = worker.lane.jobs_;
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this, &worker] { return running_ == &worker; });
    if (!stopping_ && !jobs.empty()) {
      Job job = std::move(jobs.front().job);
      worker.purpose = std::move(jobs.front().purpose);
      jobs.pop_front();
      worker.inJob = true;
      lock.unlock();
      try {
        job();
      } catch (...) {
        onException(std::current_exception());
      }
      job = nullptr;
      lock.lock();
      worker.inJob = false;
    }
    running_ = nullptr;
    changed_.notify_all();
    if (stopping_) return;
  }
}

}  // namespace vecamera::device::script
