#include "device/container/CallbackRegistry.h"

#include <utility>

namespace vecamera::device::container {

std::optional<Value> Command::argument(std::size_t position) const {
  if (position >= arguments_.size() || arguments_[position].isNull()) return std::nullopt;
  return arguments_[position];
}

Callback::Callback(std::string name, std::string selector, Array arguments, int pluginNumber,
                   DelegateSource delegates, const NSClock& clock, DeviceObserver& observer,
                   AnswerGate gate)
    : name_(std::move(name)),
      selector_(std::move(selector)),
      command_(std::move(arguments)),
      pluginNumber_(pluginNumber),
      delegates_(std::move(delegates)),
      clock_(clock),
      observer_(observer),
      gate_(std::move(gate)),
      givenAt_(clock.now()) {}

std::optional<Answer> Callback::answer() const {
  const std::lock_guard lock(mutex_);
  return answer_;
}

void Callback::take(Answer answer) {
  bool isFirst = false;
  {
    const std::lock_guard lock(mutex_);
    if (isKilled_) return;
    isFirst = !std::exchange(isTaken_, true);
    refusedAnswers_ += isFirst ? 0 : 1;
  }
  if (!isFirst) return observer_.onAnswerRefused(*this);
  if (!gate_) return deliver(std::move(answer));
  // Shared, because it may be long.
  const auto kept = std::make_shared<Answer>(std::move(answer));
  const auto deliverKept = [self = shared_from_this(), kept] { self->deliver(std::move(*kept)); };
  if (!gate_(shared_from_this(), deliverKept)) deliverKept();
}

void Callback::deliver(Answer answer) {
  {
    const std::lock_guard lock(mutex_);
    if (isKilled_) return;
    answer.at = clock_.now();
    answer_ = std::move(answer);
  }
  observer_.onAnswered(*this);
}

void Callback::kill() {
  const std::lock_guard lock(mutex_);
  isKilled_ = true;
}

bool Callback::isKilled() const {
  const std::lock_guard lock(mutex_);
  return isKilled_;
}

int Callback::refusedAnswers() const {
  const std::lock_guard lock(mutex_);
  return refusedAnswers_;
}

std::vector<std::shared_ptr<Callback>> CallbackRegistry::open() const {
  std::vector<std::shared_ptr<Callback>> found;
  for (const auto& callback : callbacks_)
    if (!callback->answer()) found.push_back(callback);
  return found;
}

std::shared_ptr<Callback> CallbackRegistry::replacementOf(const Callback& callback) const {
  bool seen = false;
  for (const auto& other : callbacks_) {
    if (seen && other->selector() == "takePicture:" &&
        other->pluginNumber() == callback.pluginNumber())
      return other;
    if (other.get() == &callback) seen = true;
  }
  return nullptr;
}

}  // namespace vecamera::device::container
