#include "simulator/server/phone/PhoneMessages.h"

#include <utility>

namespace vecamera::simulator {

void PhoneMessages::sendEvent(std::string_view event) {
  auto message = toLine(nextMessage("event"));
  message.back() = ',';
  message.append("\"event\":").append(event) += '}';
  onMessage_({PhoneMessage::Kind::logged, std::move(message)});
}

void PhoneMessages::sendTrace(const script::TraceSpan& span) {
  Json trace = nextMessage("trace");
  trace["what"] = span.what;
  trace["ms"] = span.ms;
  if (span.bytes) trace["bytes"] = *span.bytes;
  if (span.width) trace["width"] = *span.width;
  if (span.height) trace["height"] = *span.height;
  if (span.path) trace["path"] = *span.path;
  if (span.error) trace["error"] = *span.error;
  onMessage_({PhoneMessage::Kind::logged, toLine(trace)});
}

void PhoneMessages::sendProgress(float fraction) {
  onMessage_({PhoneMessage::Kind::transient,
              toLine({{"type", "progress"}, {"what", "export"}, {"fraction", fraction}})});
}

void PhoneMessages::sendState(const Json& state) {
  auto text = toLine(state);
  if (text == lastState_) return;
  lastState_ = text;
  onMessage_({PhoneMessage::Kind::state, std::move(text)});
}

void PhoneMessages::sendReply(const Json& id, const ScriptResult<>& result) {
  Json reply{{"type", result ? "done" : "failed"}, {"id", id}};
  if (!result) reply["why"] = result.error().description();
  onMessage_({PhoneMessage::Kind::reply, toLine(reply)});
}

void PhoneMessages::sendRestarted(const Json& device) {
  onMessage_({PhoneMessage::Kind::restarted, toLine(device)});
}

Json PhoneMessages::nextMessage(std::string_view type) {
  using namespace std::chrono;
  const auto at = duration_cast<milliseconds>(steady_clock::now() - begun_).count();
  return {{"type", type}, {"n", count_++}, {"at", at}, {"step", step_}};
}

}  // namespace vecamera::simulator
