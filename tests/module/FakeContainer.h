#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

/// What happened, one line each, in order. Any thread may add and read.
class Lines {
 public:
  void add(std::string line) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::move(line));
  }
  std::vector<std::string> all() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

/// A readable form that shows the kind: 'text', bytes[text], <URL>, {key: value}.
std::string describe(const Value& value);
std::string describe(double number);

/// A page command with its arguments by position, and the answers that it was given, as one line
/// each: the status' name or "success", and the payload's description where there is one.
class FakeCallBack : public CallBackManager {
 public:
  using Arguments = std::map<std::size_t, Value>;
  explicit FakeCallBack(Arguments arguments = {}) { command_.arguments = std::move(arguments); }

  const VelmoraCommand& command() const override { return command_; }
  void success(bool keep) override { answer("success", "", keep); }
  void success(Dictionary data, bool keep) override { answer("success", describe(data), keep); }
  void error(CommandStatus status, std::string message, bool keep) override {
    answer(nameOf(status), describe(Value(message)), keep);
  }
  void error(CommandStatus status, Dictionary data, bool keep) override {
    answer(nameOf(status), describe(data), keep);
  }
  std::shared_ptr<CommandDelegate> commandDelegate() const override { return delegate; }

  std::vector<std::string> answers() const { return answers_.all(); }
  const std::vector<std::size_t>& positionsRead() const { return command_.read; }

  std::shared_ptr<CommandDelegate> delegate;
  /// Runs while an answer is given, before it is recorded.
  std::function<void()> onAnswer;

 private:
  struct Command : VelmoraCommand {
    std::optional<Value> argument(std::size_t position) const override {
      read.push_back(position);
      const auto found = arguments.find(position);
      return found == arguments.end() ? std::nullopt : std::optional(found->second);
    }
    Arguments arguments;
    mutable std::vector<std::size_t> read;
  };

  void answer(std::string_view status, const std::string& payload, bool keep) {
    if (onAnswer) onAnswer();
    answers_.add(std::string(status) + (payload.empty() ? "" : " " + payload) +
                 (keep ? " (kept)" : ""));
  }

  Command command_;
  Lines answers_;
};

class FakeCommandDelegate : public CommandDelegate {
 public:
  explicit FakeCommandDelegate(URLTransformer transformer) : transformer_(std::move(transformer)) {}
  URLTransformer urlTransformer() const override { return transformer_; }

 private:
  URLTransformer transformer_;
};

class FakeLog : public VELog {
 public:
  void debug(std::string_view msg) override { lines.add("debug " + std::string(msg)); }
  void error(std::string_view tag, std::string_view msg, std::string_view filename, int line,
             std::string_view funcName) override {
    lines.add("error [" + std::string(tag) + "] " + std::string(msg) + " @" +
              std::string(filename) + ":" + std::to_string(line) + " " + std::string(funcName));
  }
  Lines lines;
};

/// The container's controller. What it presents is on screen until it is dismissed, the oldest
/// first; completions run in a later job of the main queue.
class FakeController : public UIViewController,
                       public std::enable_shared_from_this<FakeController> {
 public:
  explicit FakeController(Executor& mainQueue) : mainQueue_(mainQueue) {}

  void presentViewController(PresentedViewController presented, bool animated,
                             Completion completion) override {
    calls.add(animated ? "present animated" : "present");
    viewControllerOf(presented)->setPeer(std::make_shared<Peer>(weak_from_this()));
    if (completion) mainQueue_.post(std::move(completion));
    if (onPresent) onPresent(presented);
    shown.push_back(std::move(presented));
  }
  void dismissViewControllerAnimated(bool animated, Completion completion) override {
    calls.add(animated ? "dismiss animated" : "dismiss");
    if (!shown.empty()) {
      viewControllerOf(shown.front())->setPeer(nullptr);
      shown.erase(shown.begin());
    }
    if (completion) mainQueue_.post(std::move(completion));
  }
  std::shared_ptr<UIAlertController> alert() const {
    const auto* held =
        shown.empty() ? nullptr : std::get_if<std::shared_ptr<UIAlertController>>(&shown.back());
    return held ? *held : nullptr;
  }
  /// The user presses the alert's button.
  void press(std::size_t action) const {
    const auto pressed = alert();
    pressed->actions().at(action).handler(pressed);
  }

  std::vector<PresentedViewController> shown;
  Lines calls;
  std::function<void(const PresentedViewController&)> onPresent;

 private:
  /// Does not own the controller, which a test may leave with something on screen.
  struct Peer : UIViewControllerPeer {
    explicit Peer(std::weak_ptr<FakeController> given) : controller(std::move(given)) {}
    std::shared_ptr<UIViewController> presenter() override { return controller.lock(); }
    void onStatusBarAppearanceChanged() override {
      if (const auto locked = controller.lock()) locked->calls.add("status bar");
    }
    const std::weak_ptr<FakeController> controller;
  };

  Executor& mainQueue_;
};

}  // namespace vecamera
