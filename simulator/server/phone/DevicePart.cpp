#include "simulator/server/phone/DevicePart.h"

#include <fcntl.h>

#include <utility>

#include "device/foundation/files/Descriptor.h"
#include "device/script/json/JsonValue.h"
#include "device/script/json/StrictJson.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

/// What every phone has of its own.
constexpr std::string_view kOwnKeys[] = {"temporaryDirectory", "urlTransformer"};
/// What only a part from a file may tell.
constexpr std::string_view kFileKeys[] = {"files", "mainBundle"};

std::optional<std::string> refusedKey(const Json& device, std::span<const std::string_view> keys) {
  for (const auto key : keys)
    if (device.contains(key)) return "\"" + std::string(key) + "\" is the server's own";
  return std::nullopt;
}

/// Takes the key out of the object; null where it is not there.
Json take(Json& object, std::string_view key) {
  const auto found = object.find(key);
  if (found == object.end()) return nullptr;
  auto value = std::move(*found);
  object.erase(found);
  return value;
}

}  // namespace

std::variant<DevicePart, std::string> readDevicePart(const fs::path& file) {
  const auto name = file.string();
  const auto opened = device::foundation::openAt(AT_FDCWD, file, O_RDONLY);
  const auto read = opened ? device::foundation::readAll(*opened) : opened.failure();
  if (!read) return name + ": it cannot be read; check the name and its permissions";
  const std::string text(read->bytes().begin(), read->bytes().end());
  auto parsed = device::script::parseStrictJson(text);
  if (!parsed) return name + ": " + parsed.error().message();
  Json& script = *parsed;
  if (!script.is_object() || !script.contains("device"))
    return name + ": it has no \"device\" part";
  script["steps"] = Json::array();
  const auto folder = fs::absolute(file).parent_path();
  if (const auto checked = device::script::scriptFromJson(script, folder); !checked)
    return name + ": " + checked.error().message();

  DevicePart part;
  part.asked = std::move(script["device"]);
  // A recording has them, and may well be what a phone begins with.
  for (const auto key : kOwnKeys) take(part.asked, key);
  for (const auto key : {"files", "mainBundle", "seed"})
    if (part.asked.contains(key)) part.kept[key] = take(part.asked, key);
  if (part.kept.contains("mainBundle") && part.kept["mainBundle"].is_string())
    part.kept["mainBundle"] = (folder / part.kept["mainBundle"].get<std::string>()).string();
  // A phone that was described has just what the description says.
  part.library = Json::array();
  if (auto library = take(part.asked, "library"); library.is_array()) {
    for (auto& asset : library)
      if (auto& asked = asset["file"]; !asked.get<std::string>().starts_with("data:"))
        asked = (folder / asked.get<std::string>()).string();
    part.library = std::move(library);
  }
  return part;
}

std::optional<std::string> problemWithAskedPart(const Json& device) {
  if (auto why = refusedKey(device, kOwnKeys)) return why;
  return refusedKey(device, kFileKeys);
}

std::variant<device::script::Script, std::string> scriptOf(const DevicePart& part) {
  Json device = part.asked;
  for (const auto& [key, value] : part.kept.items()) device[key] = value;
  if (part.library) device["library"] = *part.library;
  const Json script = {{"device", std::move(device)}, {"steps", Json::array()}};
  // Names of files are absolute by now.
  auto read = device::script::scriptFromJson(script, "/");
  if (!read) return read.error().message();
  return *std::move(read);
}

}  // namespace vecamera::simulator
