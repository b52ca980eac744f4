#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/runtime/Executor.h"
#include "device/screen/Screen.h"

namespace vecamera::device::screen {

/// One permission of the system: its status, and the prompt that asks the user while the status is
/// `notDetermined`. Several requests share one prompt. Any thread; handlers run on the platform's
/// executor, each once.
template <class Status>
class PermissionGate {
 public:
  using Handler = std::function<void(Status)>;

  PermissionGate(container::Permission permission, Status status, Screen& screen,
                 Executor& platformExecutor)
      : permission_(permission),
        screen_(screen),
        platformExecutor_(platformExecutor),
        status_(status) {}

  Status status() const {
    const std::lock_guard lock(mutex_);
    return status_;
  }
  /// What the user answers as soon as a prompt goes up; nothing: the prompt waits for `decide`.
  void answerPromptsWith(std::optional<Status> status) {
    const std::lock_guard lock(mutex_);
    promptAnswer_ = status;
  }
  /// Hands the status to the handler, after the user has decided where that is not done yet.
  void request(Handler handler) {
    std::optional<Status> decided;
    bool shows = false;
    {
      const std::lock_guard lock(mutex_);
      shows = status_ == Status::notDetermined && waiting_.empty();
      waiting_.push_back(std::move(handler));
      decided = status_ == Status::notDetermined ? promptAnswer_ : status_;
    }
    if (shows) screen_.showPrompt(permission_);
    if (decided) decide(*decided);
  }
  /// The user decides, in the prompt or in the settings.
  void decide(Status status) {
    std::vector<Handler> handlers;
    {
      const std::lock_guard lock(mutex_);
      status_ = status;
      if (status != Status::notDetermined) handlers.swap(waiting_);
    }
    if (handlers.empty()) return;
    screen_.hidePrompt(permission_);
    for (auto& handler : handlers)
      platformExecutor_.post([handler = std::move(handler), status] { handler(status); });
  }
  /// Drops the handlers that wait, for the end of the device.
  void dropWaiting() {
    std::vector<Handler> dropped;
    const std::lock_guard lock(mutex_);
    dropped.swap(waiting_);
  }

 private:
  const container::Permission permission_;
  Screen& screen_;
  Executor& platformExecutor_;
  mutable std::mutex mutex_;
  Status status_;
  std::optional<Status> promptAnswer_;
  std::vector<Handler> waiting_;
};

/// The camera's permission, as the platform's class.
class CaptureDevice : public AVCaptureDevice {
 public:
  explicit CaptureDevice(PermissionGate<AVAuthorizationStatus>& gate) : gate_(gate) {}
  AVAuthorizationStatus authorizationStatusForMediaType(std::string_view /*mediaType*/) override {
    return gate_.status();
  }
  void requestAccessForMediaType(std::string_view /*mediaType*/,
                                 std::function<void(bool)> handler) override {
    gate_.request([handler = std::move(handler)](AVAuthorizationStatus status) {
      handler(status == AVAuthorizationStatus::authorized);
    });
  }

 private:
  PermissionGate<AVAuthorizationStatus>& gate_;
};

}  // namespace vecamera::device::screen
