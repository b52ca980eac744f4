#include "device/container/CallbackRegistry.h"

namespace vecamera::device::container {

std::optional<Value> Command::argument(std::size_t position) const {
  if (position >= arguments_.size() || arguments_[position].isNull()) return std::nullopt;
  return arguments_[position];
}

Callback::Callback(std::string name, std::string selector, Array arguments, int pluginNumber,
                   DelegateSource delegates, const NSClock& clock, DeviceObserver& observer)
    : name_(std::move(name)),
      selector_(std::move(selector)),
      command_(std::move(arguments)),
      pluginNumber_(pluginNumber),
      delegates_(std::move(delegates)),
      clock_(clock),
      observer_(observer),
      givenAt_(clock.now()) {}

std::optional<Answer> Callback::answer() const {
  const std::lock_guard lock(mutex_);
  return answer_;
}

void Callback::take(Answer answer) {
  bool isFirst = false;
  {
    const std::lock_guard lock(mutex_);
    isFirst = !answer_;
    if (isFirst) answer_ = std::move(answer);
    refusedAnswers_ += isFirst ? 0 : 1;
  }
  isFirst ? observer_.onAnswered(*this) : observer_.onAnswerRefused(*this);
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

bool CallbackRegistry::isReplaced(const Callback& callback) const {
  bool seen = false;
  for (const auto& other : callbacks_) {
    if (seen && other->selector() == "takePicture:" &&
        other->pluginNumber() == callback.pluginNumber())
      return true;
    if (other.get() == &callback) seen = true;
  }
  return false;
}

}  // namespace vecamera::device::container
