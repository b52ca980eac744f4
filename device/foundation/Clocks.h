#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// The machine's clock. Any thread.
class SystemClock : public NSClock {
 public:
  Date now() const override {
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
  }
};

/// A clock that stands still until it is moved. Any thread.
class ManualClock : public NSClock {
 public:
  explicit ManualClock(Date now) : microseconds_(now.time_since_epoch().count()) {}
  Date now() const override { return Date(std::chrono::microseconds(microseconds_.load())); }
  void advance(std::chrono::microseconds by) { microseconds_ += by.count(); }
  void set(Date now) { microseconds_ = now.time_since_epoch().count(); }

 private:
  /// Since 1970, UTC.
  std::atomic<std::int64_t> microseconds_;
};

}  // namespace vecamera::device::foundation
