#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/Foundation.h"
#include "device/container/DeviceObserver.h"

namespace vecamera::device::container {

/// The positional arguments of one page command.
class Command : public VelmoraCommand {
 public:
  explicit Command(Array arguments) : arguments_(std::move(arguments)) {}
  std::optional<Value> argument(std::size_t position) const override;

 private:
  const Array arguments_;
};

/// The answer to one callback. A failure has a status.
struct Answer {
  std::optional<CommandStatus> status;
  /// Nothing (a success without payload), a message or a dictionary.
  std::variant<std::monostate, std::string, Dictionary> payload;
  bool keepCallback = false;
  /// When the container took it.
  Date at{};
};

class Callback;

/// Asked for the first answer to a callback, on the thread that gave it: true keeps the answer back
/// until `deliver` is called, once and on any thread. Dropped, `deliver` drops the answer.
using AnswerGate =
    std::function<bool(const std::shared_ptr<Callback>& callback, std::function<void()> deliver)>;

/// One page command in flight, and its record afterwards. Takes its answer on any thread, once. A
/// further one is refused and counted, and the observer is notified.
class Callback : public CallBackManager, public std::enable_shared_from_this<Callback> {
 public:
  using DelegateSource = std::function<std::shared_ptr<CommandDelegate>()>;

  /// An empty gate lets every answer through.
  Callback(std::string name, std::string selector, Array arguments, int pluginNumber,
           DelegateSource delegates, const NSClock& clock, DeviceObserver& observer,
           AnswerGate gate = {});

  /// The name that the page's side gave it.
  const std::string& name() const { return name_; }
  /// The selector that it was given to.
  const std::string& selector() const { return selector_; }
  /// Which of the container's plug-in objects it was given to, counted from 1.
  int pluginNumber() const { return pluginNumber_; }
  Date givenAt() const { return givenAt_; }
  std::optional<Answer> answer() const;
  /// How many answers came after the first.
  int refusedAnswers() const;
  /// The app has ended before the answer: none comes any more, and nobody is notified of one.
  void kill();
  bool isKilled() const;

  const VelmoraCommand& command() const override { return command_; }
  void success(bool keep) override { take({std::nullopt, {}, keep}); }
  void success(Dictionary data, bool keep) override { take({std::nullopt, std::move(data), keep}); }
  void error(CommandStatus status, std::string message, bool keep) override {
    take({status, std::move(message), keep});
  }
  void error(CommandStatus status, Dictionary data, bool keep) override {
    take({status, std::move(data), keep});
  }
  std::shared_ptr<CommandDelegate> commandDelegate() const override { return delegates_(); }

 private:
  void take(Answer answer);
  void deliver(Answer answer);

  const std::string name_;
  const std::string selector_;
  const Command command_;
  const int pluginNumber_;
  const DelegateSource delegates_;
  const NSClock& clock_;
  DeviceObserver& observer_;
  const AnswerGate gate_;
  const Date givenAt_;
  mutable std::mutex mutex_;
  // Guarded by the mutex.
  /// The first answer has come, delivered or not.
  bool isTaken_ = false;
  bool isKilled_ = false;
  std::optional<Answer> answer_;
  int refusedAnswers_ = 0;
};

/// Every callback that the container has handed out, in order. Used on one thread at a time.
class CallbackRegistry {
 public:
  void add(std::shared_ptr<Callback> callback) { callbacks_.push_back(std::move(callback)); }
  /// Those that have no answer yet.
  std::vector<std::shared_ptr<Callback>> open() const;
  /// The `takePicture:` that took the callback's place in its plug-in object, the first later one;
  /// null where none did.
  std::shared_ptr<Callback> replacementOf(const Callback& callback) const;

 private:
  std::vector<std::shared_ptr<Callback>> callbacks_;
};

}  // namespace vecamera::device::container
