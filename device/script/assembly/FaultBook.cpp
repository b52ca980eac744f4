#include "device/script/assembly/FaultBook.h"

#include <algorithm>

namespace vecamera::device::script {

void FaultBook::set(std::vector<Fault> faults) {
  const std::lock_guard lock(mutex_);
  faults_ = std::move(faults);
}

std::optional<Fault> FaultBook::strike(FaultPoint point,
                                       std::initializer_list<std::string_view> paths) {
  const std::lock_guard lock(mutex_);
  for (auto& fault : faults_) {
    if (fault.at != point || (fault.times && *fault.times <= 0)) continue;
    if (fault.path && std::find(paths.begin(), paths.end(), *fault.path) == paths.end()) continue;
    if (fault.times) --*fault.times;
    return fault;
  }
  return std::nullopt;
}

std::vector<std::optional<std::int64_t>> FaultBook::strikesLeft() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::optional<std::int64_t>> left;
  for (const auto& fault : faults_) left.push_back(fault.times);
  return left;
}

}  // namespace vecamera::device::script
