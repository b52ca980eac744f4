#pragma once

#import <Foundation/Foundation.h>

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "VECamera/platform/Foundation.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {

/// What a block keeps of a handler that runs once, and never inside the call that it was given to,
/// whatever a framework does. Copies share the handler. Any thread.
template <class... Arguments>
class SingleHandler {
 public:
  explicit SingleHandler(std::function<void(Arguments...)> handler)
      : state_(std::make_shared<State>()) {
    state_->handler = std::move(handler);
  }

  /// Whoever gave the handler away says so at the end of its call.
  void callReturned() const {
    const std::lock_guard lock(state_->mutex);
    state_->isCallRunning = false;
  }
  /// Runs the handler, in an autorelease pool; a second time, does nothing.
  void operator()(Arguments... arguments) const {
    std::function<void(Arguments...)> handler;
    bool isCallRunning;
    {
      const std::lock_guard lock(state_->mutex);
      handler = std::exchange(state_->handler, nullptr);
      isCallRunning = state_->isCallRunning;
    }
    if (!handler) return;
    if (isCallRunning) {
      const std::function<void()> job = [handler, ... arguments = std::move(arguments)] {
        handler(arguments...);
      };
      dispatch_async(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0), ^{
        @autoreleasepool {
          job();
        }
      });
      return;
    }
    @autoreleasepool {
      handler(std::move(arguments)...);
      handler = nullptr;
    }
  }

 private:
  struct State {
    std::mutex mutex;
    std::function<void(Arguments...)> handler;
    bool isCallRunning = true;
  };
  std::shared_ptr<State> state_;
};

/// What a framework raised, as an error: the exception's name is its domain.
inline vecamera::NSError errorOf(NSException* _Nonnull raised) {
  vecamera::NSError error{toText(raised.name), 0, {}};
  if (raised.reason)
    error.userInfo.emplace(vecamera::NSLocalizedDescriptionKey, toText(raised.reason));
  return error;
}

}  // namespace vecamera_ios
