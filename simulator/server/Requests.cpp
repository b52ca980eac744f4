#include "simulator/server/Requests.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "device/script/JsonFields.h"
#include "device/script/StrictJson.h"

namespace vecamera::simulator {
namespace {

using Json = nlohmann::ordered_json;
using Keys = std::vector<std::string_view>;

RequestRefusal refusal(const Json& id, std::string why) {
  return {id, std::move(why)};
}

/// Why the message has other keys than its kind, or nothing.
std::optional<std::string> unknownKey(const nlohmann::json& message, Keys keys) {
  keys.insert(keys.end(), {"type", "id"});
  for (const auto& [key, value] : message.items())
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
      return device::unknownText("key", key, keys);
  return std::nullopt;
}

std::variant<PhoneRequest, RequestRefusal> readKind(const std::string& type, const Json& id,
                                                    const nlohmann::json& message) {
  if (type == "step") {
    if (auto why = unknownKey(message, {"step"})) return refusal(id, *why);
    if (!message.contains("step") || !message["step"].is_object())
      return refusal(id, "a step request has an object \"step\"");
    return PhoneRequest{id, StepRequest{message["step"]}};
  }
  if (type == "restart") {
    if (auto why = unknownKey(message, {"device", "keepLibrary"})) return refusal(id, *why);
    RestartRequest restart{Json::object()};
    if (message.contains("device")) restart.device = message["device"];
    if (!restart.device.is_object()) return refusal(id, "\"device\" must be an object");
    if (message.contains("keepLibrary")) {
      if (!message["keepLibrary"].is_boolean())
        return refusal(id, "\"keepLibrary\" must be true or false");
      restart.keepLibrary = message["keepLibrary"].get<bool>();
    }
    return PhoneRequest{id, std::move(restart)};
  }
  if (type == "restoreSamples") {
    if (auto why = unknownKey(message, {})) return refusal(id, *why);
    return PhoneRequest{id, RestoreSamplesRequest{}};
  }
  return refusal(
      id, device::unknownText("type of message", type, Keys{"step", "restart", "restoreSamples"}));
}

}  // namespace

std::variant<PhoneRequest, RequestRefusal> parseRequest(std::string_view text) {
  const auto parsed = device::parseStrictJson(text);
  if (const auto* error = std::get_if<device::JsonError>(&parsed))
    return refusal(nullptr, (error->place.empty() ? "" : error->place + ": ") + error->why);
  const auto& message = std::get<nlohmann::json>(parsed);
  if (!message.is_object()) return refusal(nullptr, "a message is a JSON object");
  if (!message.contains("id") || !message["id"].is_number())
    return refusal(nullptr, "a message has a number \"id\"");
  const Json id = message["id"];
  if (!message.contains("type") || !message["type"].is_string())
    return refusal(id, "a message has a text \"type\"");
  return readKind(message["type"].get<std::string>(), id, message);
}

}  // namespace vecamera::simulator
