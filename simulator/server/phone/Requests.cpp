#include "simulator/server/phone/Requests.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "device/script/json/JsonFields.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::simulator {
namespace {

using Json = nlohmann::ordered_json;
using Keys = std::vector<std::string_view>;

RequestRefusal refusal(const Json& id, std::string why) {
  return {id, std::move(why)};
}

/// Why the message has other keys than its kind, or nothing.
std::optional<std::string> unknownKey(const Json& message, Keys keys) {
  keys.insert(keys.end(), {"type", "id"});
  for (const auto& [key, value] : message.items())
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
      return device::script::unknownText("key", key, keys);
  return std::nullopt;
}

std::variant<PhoneRequest, RequestRefusal> readKind(const std::string& type, const Json& id,
                                                    const Json& message) {
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
  return refusal(id, device::script::unknownText("type of message", type,
                                                 Keys{"step", "restart", "restoreSamples"}));
}

/// Looks for the "id" of a message, as far as the message can be read.
class IdFinder : public nlohmann::json_sax<nlohmann::json> {
 public:
  const Json& id() const { return id_; }

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t value) override { return take(value); }
  bool number_unsigned(number_unsigned_t value) override { return take(value); }
  bool number_float(number_float_t value, const string_t&) override { return take(value); }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return enter(); }
  bool end_object() override { return leave(); }
  bool start_array(std::size_t) override { return enter(); }
  bool end_array() override { return leave(); }
  bool key(string_t& key) override {
    isNext_ = depth_ == 1 && key == "id";
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
    return false;
  }

 private:
  bool enter() {
    ++depth_;
    isNext_ = false;
    return true;
  }
  bool leave() {
    --depth_;
    return true;
  }
  bool take(const Json& number) {
    if (std::exchange(isNext_, false)) id_ = number;
    return true;
  }

  Json id_;
  std::size_t depth_ = 0;
  bool isNext_ = false;
};

Json idOf(std::string_view text) {
  IdFinder finder;
  nlohmann::json::sax_parse(text, &finder);
  return finder.id();
}

}  // namespace

std::variant<PhoneRequest, RequestRefusal> parseRequest(std::string_view text) {
  // The steps of a script stand one level deeper than those of a message.
  const auto parsed = device::script::parseStrictJson(text, device::script::maxJsonDepth - 1);
  if (!parsed) return refusal(idOf(text), parsed.error().message());
  const auto& message = *parsed;
  if (!message.is_object()) return refusal(nullptr, "a message is a JSON object");
  if (!message.contains("id") || !message["id"].is_number())
    return refusal(nullptr, "a message has a number \"id\"");
  const Json id = message["id"];
  if (!message.contains("type") || !message["type"].is_string())
    return refusal(id, "a message has a text \"type\"");
  return readKind(message["type"].get<std::string>(), id, message);
}

}  // namespace vecamera::simulator
