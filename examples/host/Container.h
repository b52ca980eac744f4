#pragma once

#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "VECamera/platform/Container.h"
#include "VECamera/runtime/Executor.h"

namespace host {

namespace vc = vecamera;

class Log : public vc::VELog {
 public:
  void debug(std::string_view msg) override { write("debug", msg); }
  void error(std::string_view /*tag*/, std::string_view msg, std::string_view /*filename*/,
             int /*line*/, std::string_view /*funcName*/) override {
    write("error", msg);
  }

 private:
  void write(std::string_view level, std::string_view msg) {
    const std::lock_guard lock(mutex_);
    std::cerr << level << ": " << msg << '\n';
  }

  std::mutex mutex_;
};

/// One command of the page: its arguments by position, and its answer. Any thread answers; the
/// first answer counts and every other is dropped.
class Command : public vc::CallBackManager, public vc::VelmoraCommand {
 public:
  using Arguments = std::map<std::size_t, vc::Value>;

  /// The main queue outlives the command.
  Command(Arguments arguments, vc::Executor& mainQueue)
      : arguments_(std::move(arguments)), mainQueue_(mainQueue) {}

  const vc::VelmoraCommand& command() const override { return *this; }
  std::optional<vc::Value> argument(std::size_t position) const override {
    const auto found = arguments_.find(position);
    if (found == arguments_.end() || found->second.isNull()) return std::nullopt;
    return found->second;
  }
  void success(bool /*keep*/) override { take("success"); }
  void success(vc::Dictionary data, bool /*keep*/) override {
    const vc::Value* uri = vc::find(data, "callbackURI");
    take(uri ? textOf(*uri) : "success");
  }
  void error(vc::CommandStatus status, std::string message, bool /*keep*/) override {
    take(std::string(vc::nameOf(status)) + ": " + message);
  }
  void error(vc::CommandStatus status, vc::Dictionary data, bool /*keep*/) override {
    const vc::Value* message = vc::find(data, "errorMsg");
    take(std::string(vc::nameOf(status)) + ": " +
         (message && message->text() ? *message->text() : ""));
  }
  std::shared_ptr<vc::CommandDelegate> commandDelegate() const override { return nullptr; }

  /// What the page was answered, or nothing so far.
  std::optional<std::string> answer() const {
    const std::lock_guard lock(mutex_);
    return answer_;
  }

 private:
  static std::string textOf(const vc::Value& uri) {
    if (const auto* url = uri.url()) return url->absoluteString();
    if (const auto* data = uri.data()) return {data->bytes().begin(), data->bytes().end()};
    return uri.text() ? *uri.text() : "";
  }
  void take(std::string text) {
    {
      const std::lock_guard lock(mutex_);
      if (answer_) return;
      answer_ = std::move(text);
    }
    // Wakes the main thread, which may be waiting for the answer.
    mainQueue_.post([] {});
  }

  const Arguments arguments_;
  vc::Executor& mainQueue_;
  mutable std::mutex mutex_;
  std::optional<std::string> answer_;
};

}  // namespace host
