#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "device/script/play/PlaySession.h"
#include "simulator/server/base/DeviceNames.h"
#include "simulator/server/phone/PhoneSetup.h"

namespace vecamera::simulator {

/// Writes the messages of a phone to its browser. On the phone's threads, one at a time.
class PhoneMessages {
 public:
  explicit PhoneMessages(std::function<void(PhoneMessage)> onMessage)
      : onMessage_(std::move(onMessage)) {}

  /// The recording's step of which events and traces are from now on.
  void setStep(std::size_t step) { step_ = step; }
  std::size_t step() const { return step_; }
  /// `event` is the JSON text of an event. It may hold a long data URL, and is not written again.
  void sendEvent(std::string_view event);
  void sendTrace(const script::TraceSpan& span);
  void sendProgress(float fraction);
  /// Unless it is as the last one was.
  void sendState(const Json& state);
  /// The next state is sent in any case.
  void forgetState() { lastState_.clear(); }
  void sendReply(const Json& id, const ScriptResult<>& result);
  void sendRestarted(const Json& device);

 private:
  /// The members that lead each message of the log.
  Json nextMessage(std::string_view type);

  const std::function<void(PhoneMessage)> onMessage_;
  const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
  std::int64_t count_ = 0;
  std::size_t step_ = 0;
  std::string lastState_;
};

}  // namespace vecamera::simulator
