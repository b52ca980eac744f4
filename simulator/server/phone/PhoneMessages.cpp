#include "simulator/server/phone/PhoneMessages.h"

#include <utility>

namespace vecamera::simulator {

void PhoneMessages::sendTrace(const script::TraceSpan& span) {
  Json trace{{"what", span.what}, {"ms", span.ms}};
  if (span.bytes) trace["bytes"] = *span.bytes;
  if (span.width) trace["width"] = *span.width;
  if (span.height) trace["height"] = *span.height;
  if (span.path) trace["path"] = *span.path;
  if (span.error) trace["error"] = *span.error;
  // Its members follow those that every such message has.
  sendLogged("trace", std::string_view(toLine(trace)).substr(1));
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

/// Numbers the message and sends it. `members` are the last of its members, with the brace at the
/// end.
void PhoneMessages::sendLogged(std::string_view type, std::string_view members) {
  using namespace std::chrono;
  const auto at = duration_cast<milliseconds>(steady_clock::now() - begun_).count();
  onMessage_({PhoneMessage::Kind::logged,
              "{\"type\":\"" + std::string(type) + "\",\"n\":" + std::to_string(count_++) +
                  ",\"at\":" + std::to_string(at) + ",\"step\":" + std::to_string(step_) + "," +
                  std::string(members)});
}

}  // namespace vecamera::simulator
