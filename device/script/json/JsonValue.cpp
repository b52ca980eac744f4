#include "device/script/json/JsonValue.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "device/foundation/Base64.h"

namespace vecamera::device::script {
namespace {

Json realToJson(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number < 0 ? "-Infinity" : "Infinity";
  return number;
}

/// The text under the only key of the object, where it has that one.
const std::string* soleText(const Json& object, const char* key) {
  if (object.size() != 1) return nullptr;
  const auto found = object.find(key);
  return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

ScriptResult<Value> objectToValue(const Json& object) {
  if (const auto* url = soleText(object, "url")) return Value(URL(*url));
  if (const auto* base64 = soleText(object, "bytes")) {
    auto bytes = foundation::decodeBase64(*base64);
    if (!bytes) return failed("a \"bytes\" in it is not Base64");
    return Value(*std::move(bytes));
  }
  Dictionary dictionary;
  for (const auto& [key, element] : object.items()) {
    auto value = toValue(element);
    if (!value) return value;
    dictionary.emplace(key, *std::move(value));
  }
  return Value(std::move(dictionary));
}

ScriptResult<Value> arrayToValue(const Json& elements) {
  Array array;
  for (const auto& element : elements) {
    auto value = toValue(element);
    if (!value) return value;
    array.push_back(*std::move(value));
  }
  return Value(std::move(array));
}

}  // namespace

Json toJson(const Value& value) {
  if (const auto* flag = value.boolean()) return *flag;
  if (const auto* number = value.integer()) return *number;
  if (const auto* number = value.real()) return realToJson(*number);
  if (const auto* text = value.text()) return *text;
  if (const auto* data = value.data())
    return {{"bytes", foundation::Base64().base64EncodedString("", *data)}};
  if (const auto* url = value.url()) return {{"url", url->absoluteString()}};
  if (const auto* array = value.array()) {
    auto json = Json::array();
    for (const auto& element : *array) json.push_back(toJson(element));
    return json;
  }
  if (const auto* dictionary = value.dictionary()) {
    auto json = Json::object();
    for (const auto& [key, element] : *dictionary) json[key] = toJson(element);
    return json;
  }
  return nullptr;
}

ScriptResult<Value> toValue(const Json& json) {
  switch (json.type()) {
    case Json::value_t::boolean: return Value(json.get<bool>());
    case Json::value_t::number_integer: return Value(json.get<std::int64_t>());
    case Json::value_t::number_unsigned: return Value(json.get<std::uint64_t>());
    case Json::value_t::number_float: return Value(json.get<double>());
    case Json::value_t::string: return Value(json.get_ref<const std::string&>());
    case Json::value_t::object: return objectToValue(json);
    case Json::value_t::array: return arrayToValue(json);
    default: return Value();
  }
}

}  // namespace vecamera::device::script
