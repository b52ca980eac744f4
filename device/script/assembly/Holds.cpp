#include "device/script/assembly/Holds.h"

#include <algorithm>
#include <utility>

namespace vecamera::device::script {

bool Holds::strikes(HoldPoint at) {
  const auto found = plan_.find(at);
  if (found == plan_.end() || found->second.times == 0) return false;
  --found->second.times;
  return true;
}

void Holds::add(HoldPoint at, std::shared_ptr<container::Callback> callback,
                std::function<void()> work, Lanes::Lane* lane) {
  std::optional<Date> due;
  if (const auto& duration = plan_.at(at).duration) due = clock_.now() + *duration;
  entries_.push_back({{at, std::move(callback)}, due, std::move(work), lane});
  sink_(HoldChange::held, entries_.back().what);
}

bool Holds::keep(HoldPoint at, std::shared_ptr<container::Callback> callback,
                 std::function<void()> work) {
  if (!strikes(at)) return false;
  add(at, std::move(callback), std::move(work), nullptr);
  return true;
}

void Holds::holdLane(HoldPoint at) {
  auto* const lane = lanes_.caller();
  if (!lane || !strikes(at)) return;
  add(at, current_(), {}, lane);
  lanes_.yieldHeld();
}

std::vector<Holds::Held> Holds::held() const {
  std::vector<Held> found;
  for (const auto& entry : entries_) found.push_back(entry.what);
  return found;
}

std::optional<Date> Holds::nextDue() const {
  std::optional<Date> next;
  for (const auto& entry : entries_)
    if (entry.due && (!next || *entry.due < *next)) next = entry.due;
  return next;
}

void Holds::goOn(const Entry& entry) {
  sink_(HoldChange::continued, entry.what);
  if (entry.lane)
    lanes_.continueHeld(*entry.lane);
  else
    entry.work();
}

bool Holds::continueAll() {
  const auto entries = std::exchange(entries_, {});
  for (const auto& entry : entries) goOn(entry);
  return !entries.empty();
}

bool Holds::continueDue() {
  bool any = false;
  for (auto next = nextDue(); next && *next <= clock_.now(); next = nextDue()) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& e) { return e.due == next; });
    const auto entry = std::move(*found);
    entries_.erase(found);
    goOn(entry);
    any = true;
  }
  return any;
}

bool Holds::dropAll() {
  const auto entries = std::exchange(entries_, {});
  for (const auto& entry : entries) {
    sink_(HoldChange::dropped, entry.what);
    dropped_.push_back(entry.what);
    if (entry.lane) lanes_.abandonHeld(*entry.lane);
  }
  return !entries.empty();
}

std::optional<HoldPoint> Holds::droppedAt(const container::Callback& callback) const {
  for (const auto& dropped : dropped_)
    if (dropped.callback.get() == &callback) return dropped.at;
  return std::nullopt;
}

void Holds::clear() {
  const auto entries = std::exchange(entries_, {});
}

}  // namespace vecamera::device::script
