#pragma once

#include <initializer_list>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// The faults in force. Any thread.
class FaultBook {
 public:
  void set(std::vector<Fault> faults);
  /// The first fault at the point that still strikes, with one strike used up; nothing where there
  /// is none. A fault that is about one path strikes only where that is among `paths`.
  std::optional<Fault> strike(FaultPoint point, std::initializer_list<std::string_view> paths = {});
  /// How often each of the faults will strike yet, in the order in which they were set; nothing:
  /// always.
  std::vector<std::optional<std::int64_t>> strikesLeft() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
};

}  // namespace vecamera::device::script
