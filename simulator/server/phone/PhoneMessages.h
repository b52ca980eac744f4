#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "device/script/play/PlaySession.h"
#include "simulator/server/base/ErrorCode.h"
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
  /// `command` names the callback whose command the device was working for; empty: none.
  /// `event` is the JSON text of an event. It may hold a long data URL, and is not written again.
  void sendEvent(std::string_view event, const std::string& command);
  void sendTrace(const script::TraceSpan& span, const std::string& command);
  /// A page command is about to be played: it is logged before anything else is. `command` holds
  /// the keys of the message but the leading ones.
  void beginCommand(Json command);
  /// The command was accepted, or refused for the reason; logs it now, where it has not been.
  void endCommand(const std::optional<RequestError>& refusal);
  /// The command has lost its callback for good; `by` names the later command where one took its
  /// place, and is empty otherwise.
  void sendClosed(const std::string& name, const std::string& by, std::string_view code);
  void sendProgress(float fraction);
  /// Unless it is as the last one was.
  void sendState(const Json& state);
  /// The next state is sent in any case.
  void forgetState() { lastState_.clear(); }
  /// A request is carried out from now on.
  void beginRequest() { requestBegan_ = count_; }
  /// Its reply, with the number of the last message that it brought about.
  void sendReply(const Json& id, const RequestResult<>& result);
  void sendRestarted(const Json& device);

 private:
  /// The members that lead each message of the log.
  Json nextMessage(std::string_view type);
  void log(std::string text, int version = 1);

  const std::function<void(PhoneMessage)> onMessage_;
  const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
  std::int64_t count_ = 0;
  std::int64_t requestBegan_ = 0;
  /// A page command that is not logged yet.
  std::optional<Json> command_;
  std::size_t step_ = 0;
  std::string lastState_;
};

}  // namespace vecamera::simulator
