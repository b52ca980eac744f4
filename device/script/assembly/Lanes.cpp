#include "device/script/assembly/Lanes.h"

#include <algorithm>
#include <utility>

namespace vecamera::device::script {
namespace {

thread_local Lanes::Lane* currentLane = nullptr;

}  // namespace

void Lanes::Lane::post(Job job) {
  const std::lock_guard lock(lanes_.mutex_);
  if (!lanes_.stopping_) jobs_.push_back(std::move(job));
}

Lanes::Lanes() {
  for (auto& lane : lanes_) lane.reset(new Lane(*this));
  for (auto& lane : lanes_) lane->thread_ = std::thread([this, raw = lane.get()] { work(*raw); });
}

bool Lanes::step() {
  std::unique_lock lock(mutex_);
  for (const auto& lane : lanes_) {
    if (lane->inJob_ || lane->jobs_.empty()) continue;
    lock.unlock();
    resume(*lane);
    return true;
  }
  return false;
}

bool Lanes::retryWaiting() {
  bool progressed = false;
  for (const auto& lane : lanes_) {
    if (!isWaiting(*lane)) continue;
    resume(*lane);
    progressed = progressed || !isWaiting(*lane);
  }
  return progressed;
}

bool Lanes::anyWaiting() const {
  return std::any_of(std::begin(lanes_), std::end(lanes_),
                     [this](const auto& lane) { return isWaiting(*lane); });
}

bool Lanes::isWaiting(const Lane& lane) const {
  const std::lock_guard lock(mutex_);
  return lane.inJob_;
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

const Executor* Lanes::current() {
  return currentLane;
}

void Lanes::yieldWaiting() {
  Lane* const lane = currentLane;
  if (!lane || &lane->lanes_ != this) return;
  std::unique_lock lock(mutex_);
  running_ = nullptr;
  changed_.notify_all();
  changed_.wait(lock, [this, lane] { return running_ == lane; });
  if (stopping_) throw Unwinding();
}

void Lanes::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
  }
  // A lane in the middle of a job unwinds; an idle one leaves its loop.
  for (const auto& lane : lanes_) {
    resume(*lane);
    lane->thread_.join();
  }
  for (const auto& lane : lanes_) const auto dropped = std::exchange(lane->jobs_, {});
}

void Lanes::resume(Lane& lane) {
  std::unique_lock lock(mutex_);
  running_ = &lane;
  changed_.notify_all();
  changed_.wait(lock, [this] { return running_ == nullptr; });
}

void Lanes::work(Lane& lane) {
  currentLane = &lane;
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this, &lane] { return running_ == &lane; });
    if (!stopping_ && !lane.jobs_.empty()) {
      Job job = std::move(lane.jobs_.front());
      lane.jobs_.pop_front();
      lane.inJob_ = true;
      lock.unlock();
      try {
        job();
      } catch (...) {
        onException(std::current_exception());
      }
      job = nullptr;
      lock.lock();
      lane.inJob_ = false;
    }
    running_ = nullptr;
    changed_.notify_all();
    if (stopping_) return;
  }
}

}  // namespace vecamera::device::script
