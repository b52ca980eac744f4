#include "simulator/server/phone/PhoneMessages.h"

#include <utility>

namespace vecamera::simulator {
namespace {

Json orNull(const std::string& name) {
  return name.empty() ? Json() : Json(name);
}

}  // namespace

void PhoneMessages::sendEvent(std::string_view event, const std::string& command) {
  auto head = nextMessage("event");
  head["command"] = orNull(command);
  auto message = toLine(head);
  message.back() = ',';
  message.append("\"event\":").append(event) += '}';
  log(std::move(message));
}

void PhoneMessages::sendTrace(const script::TraceSpan& span, const std::string& command) {
  Json trace = nextMessage("trace");
  trace["command"] = orNull(command);
  trace["what"] = span.what;
  trace["ms"] = span.ms;
  if (span.bytes) trace["bytes"] = *span.bytes;
  if (span.width) trace["width"] = *span.width;
  if (span.height) trace["height"] = *span.height;
  if (span.path) trace["path"] = *span.path;
  if (span.error) trace["error"] = *span.error;
  log(toLine(trace));
}

void PhoneMessages::beginCommand(Json command) {
  command_ = std::move(command);
}

void PhoneMessages::endCommand(const std::optional<RequestError>& refusal) {
  auto command = std::exchange(command_, std::nullopt);
  if (!command) return;
  auto message = nextMessage("command");
  if (refusal) {
    // It is no step of the recording.
    message["step"] = nullptr;
    (*command)["refused"] = {{"code", nameOf(refusal->code)}, {"why", refusal->message}};
  }
  message.update(*command);
  log(toLine(message), 2);
}

void PhoneMessages::sendClosed(const std::string& name, const std::string& by,
                               std::string_view code) {
  auto message = nextMessage("closed");
  message.update({{"name", name}, {"by", orNull(by)}, {"code", code}});
  log(toLine(message), 2);
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

void PhoneMessages::sendReply(const Json& id, const RequestResult<>& result) {
  Json reply{{"type", result ? "done" : "failed"}, {"id", id}};
  if (!result) {
    reply["code"] = nameOf(result.error().code);
    reply["why"] = result.error().message;
  }
  reply["through"] = count_ > requestBegan_ ? Json(count_ - 1) : Json();
  onMessage_({PhoneMessage::Kind::reply, toLine(reply)});
}

void PhoneMessages::sendRestarted(const Json& device) {
  onMessage_({PhoneMessage::Kind::restarted, toLine(device)});
}

Json PhoneMessages::nextMessage(std::string_view type) {
  using namespace std::chrono;
  endCommand(std::nullopt);
  const auto at = duration_cast<milliseconds>(steady_clock::now() - begun_).count();
  return {{"type", type}, {"n", count_++}, {"at", at}, {"step", step_}};
}

void PhoneMessages::log(std::string text, int version) {
  onMessage_({PhoneMessage::Kind::logged, std::move(text), count_ - 1, version});
}

}  // namespace vecamera::simulator
