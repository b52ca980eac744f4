#include "simulator/server/phone/Phone.h"

#include <algorithm>
#include <utility>

#include "simulator/server/phone/PhoneDevice.h"

namespace vecamera::simulator {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds resumeInterval{50};

}  // namespace

Phone::Phone(PhoneSetup setup, foundation::ApplicationHome home)
    : setup_(std::move(setup)),
      home_(std::move(home)),
      media_(home_.path(), setup_.media),
      library_(setup_.home, home_.path()),
      recording_(setup_.limits.recording, setup_.record, setup_.onDiagnostic),
      thread_([this] { run(); }) {}

void Phone::finish() {
  stop();
  if (thread_.joinable()) thread_.join();
}

void Phone::receive(std::string message) {
  const std::lock_guard lock(mutex_);
  received_.push_back(std::move(message));
  changed_.notify_one();
}

void Phone::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_one();
}

bool Phone::isStopping() const {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

void Phone::run() {
  {
    PhoneDevice device(setup_, home_, media_, library_, recording_,
                       [this] { return isStopping(); });
    device.start();
    while (!isStopping()) {
      const auto message = waitForMessage(nextWork(device));
      if (isStopping()) break;
      if (message)
        device.handle(*message);
      else if (device.isWaiting())
        device.resume();
      else if (const auto due = device.due(); due && *due <= setup_.now())
        device.automate();
      if (const auto due = recording_.nextWrite(); due && *due <= steady_clock::now())
        recording_.write();
    }
  }
  recording_.write();
}

/// When there is something to do without a message; nothing: never.
std::optional<Phone::TimePoint> Phone::nextWork(const PhoneDevice& device) const {
  if (device.isWaiting()) return steady_clock::now() + resumeInterval;
  auto next = recording_.nextWrite();
  if (const auto due = device.due()) {
    const auto then = steady_clock::now() + (*due - setup_.now());
    next = next ? std::min(*next, then) : then;
  }
  return next;
}

/// The next message, or nothing at that time, or when the phone is to end.
std::optional<std::string> Phone::waitForMessage(std::optional<TimePoint> end) {
  std::unique_lock lock(mutex_);
  const auto isWoken = [this] { return stopping_ || !received_.empty(); };
  if (end)
    changed_.wait_until(lock, *end, isWoken);
  else
    changed_.wait(lock, isWoken);
  if (received_.empty()) return std::nullopt;
  auto message = std::move(received_.front());
  received_.pop_front();
  return message;
}

}  // namespace vecamera::simulator
