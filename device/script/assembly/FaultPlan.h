#pragma once

#include <algorithm>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// The faults that strike from now on. Any thread.
class FaultPlan {
 public:
  void set(std::vector<Fault> faults) {
    const std::lock_guard lock(mutex_);
    faults_ = std::move(faults);
  }
  /// The first fault at the point that still strikes, which counts as one strike; nothing where
  /// none does. A fault of one path strikes only where that is among `paths`.
  std::optional<Fault> strike(FaultPoint point,
                              std::initializer_list<std::string_view> paths = {}) {
    const std::lock_guard lock(mutex_);
    for (auto& fault : faults_) {
      if (fault.at != point || (fault.times && *fault.times <= 0)) continue;
      if (fault.path && std::find(paths.begin(), paths.end(), *fault.path) == paths.end()) continue;
      if (fault.times) --*fault.times;
      return fault;
    }
    return std::nullopt;
  }
  /// How often each fault will still strike, in the order in which they were set; nothing: always.
  std::vector<std::optional<std::int64_t>> strikesLeft() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::optional<std::int64_t>> left;
    for (const auto& fault : faults_) left.push_back(fault.times);
    return left;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
};

}  // namespace vecamera::device::script
