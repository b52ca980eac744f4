#include "simulator/server/phone/PhoneRequest.h"

#include <algorithm>
#include <utility>

#include "device/script/json/JsonFields.h"
#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {
namespace {

using Keys = std::vector<std::string_view>;

/// `message` has a text "type".
ScriptResult<decltype(PhoneRequest::what)> readKind(Json& message) {
  const auto& type = message["type"].get_ref<const std::string&>();
  Keys keys{"type", "id"};
  if (type == "step") keys.insert(keys.begin(), "step");
  if (type == "restart") keys.insert(keys.begin(), {"device", "changes", "keepLibrary"});
  if (type == "configure") keys.insert(keys.begin(), "changes");
  const bool isKnown = type == "restoreSamples" || keys.size() > 2;
  if (!isKnown)
    return failed(script::unknownText("type of message", type,
                                      Keys{"step", "restart", "restoreSamples", "configure"}));
  for (const auto& [key, value] : message.items())
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
      return failed(script::unknownText("key", key, keys));

  if (type == "restoreSamples") return RestoreSamplesRequest{};
  if (type == "step") {
    if (!message.contains("step") || !message["step"].is_object())
      return failed("a step request has an object \"step\"");
    return StepRequest{std::move(message["step"])};
  }
  const bool hasChanges = message.contains("changes");
  auto changes = message.value("changes", Json::object());
  if (!changes.is_object()) return failed("\"changes\" must be an object");
  if (type == "configure") {
    if (!hasChanges) return failed("a configure request has an object \"changes\"");
    return ConfigureRequest{std::move(changes)};
  }
  RestartRequest restart;
  if (hasChanges && message.contains("device"))
    return failed("a restart request has a \"device\" or \"changes\", not both");
  restart.part = hasChanges ? RestartRequest::Part::changes : RestartRequest::Part::whole;
  restart.device = hasChanges ? std::move(changes) : message.value("device", Json::object());
  if (!restart.device.is_object()) return failed("\"device\" must be an object");
  const auto keepLibrary = message.value("keepLibrary", Json(true));
  if (!keepLibrary.is_boolean()) return failed("\"keepLibrary\" must be true or false");
  if (!keepLibrary.get<bool>()) restart.oldAssets = OldAssets::remove;
  return restart;
}

/// The "id" of a message that is no JSON, as far as it can be read.
Json idOf(std::string_view text) {
  Json id;
  bool isNext = false;
  const auto look = [&](int depth, Json::parse_event_t event, const Json& parsed) {
    if (depth == 1 && event == Json::parse_event_t::key) isNext = parsed == "id";
    if (depth == 1 && event == Json::parse_event_t::value && isNext && parsed.is_number())
      id = parsed;
    return depth < 2;
  };
  [[maybe_unused]] const auto rest = Json::parse(text, look, false);
  return id;
}

}  // namespace

device::Result<PhoneRequest, PhoneRequestError> parsePhoneRequest(std::string_view text) {
  // The steps of a script stand one level deeper than those of a message.
  auto parsed = script::parseStrictJson(text, script::maxJsonDepth - 1);
  if (!parsed) return Failure{PhoneRequestError{idOf(text), parsed.error().description()}};
  auto& message = *parsed;
  if (!message.is_object())
    return Failure{PhoneRequestError{nullptr, "a message is a JSON object"}};
  const auto id = message.value("id", Json());
  if (!id.is_number()) return Failure{PhoneRequestError{nullptr, "a message has a number \"id\""}};
  if (!message.contains("type") || !message["type"].is_string())
    return Failure{PhoneRequestError{id, "a message has a text \"type\""}};
  auto kind = readKind(message);
  if (!kind) return Failure{PhoneRequestError{id, kind.error().message}};
  return PhoneRequest{id, *std::move(kind), text.size()};
}

}  // namespace vecamera::simulator
