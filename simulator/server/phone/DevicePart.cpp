#include "simulator/server/phone/DevicePart.h"

#include <fcntl.h>

#include <utility>

#include "device/foundation/files/Descriptor.h"
#include "device/script/script/ScriptJson.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;

/// Takes the key out of the object; null where it is not there.
Json take(Json& object, std::string_view key) {
  const auto found = object.find(key);
  if (found == object.end()) return nullptr;
  auto value = std::move(*found);
  object.erase(found);
  return value;
}

}  // namespace

ScriptResult<DevicePart> readDevicePart(const fs::path& file) {
  const auto name = file.string();
  const auto opened = foundation::openAt(AT_FDCWD, file, O_RDONLY);
  const auto read = opened ? foundation::readAll(*opened) : opened.failure();
  if (!read) return failed(name, "it cannot be read; check the name and its permissions");
  const std::string text(read->bytes().begin(), read->bytes().end());
  auto parsed = script::parseStrictJson(text);
  if (!parsed) return failed(name, parsed.error().description());
  auto& script = *parsed;
  if (!script.is_object() || !script.contains("device"))
    return failed(name, "it has no \"device\" part");
  script["steps"] = Json::array();
  const auto folder = fs::absolute(file).parent_path();
  if (const auto checked = script::scriptFromJson(script, folder); !checked)
    return failed(name, checked.error().description());

  DevicePart part;
  part.requested = std::move(script["device"]);
  // A recording has them, and may well be what a phone begins with.
  for (const auto* key : {"temporaryDirectory", "urlTransformer"}) take(part.requested, key);
  for (const auto* key : {"files", "mainBundle", "seed"})
    if (part.requested.contains(key)) part.serverOwned[key] = take(part.requested, key);
  if (part.serverOwned.contains("mainBundle") && part.serverOwned["mainBundle"].is_string())
    part.serverOwned["mainBundle"] =
        (folder / part.serverOwned["mainBundle"].get<std::string>()).string();
  // A phone that was described has just what the description says.
  part.library = Json::array();
  if (auto library = take(part.requested, "library"); library.is_array()) {
    for (auto& asset : library)
      if (auto& source = asset["file"]; !source.get<std::string>().starts_with("data:"))
        source = (folder / source.get<std::string>()).string();
    part.library = std::move(library);
  }
  return part;
}

ScriptResult<> checkRequestedPart(const Json& device) {
  for (const auto* key : {"temporaryDirectory", "urlTransformer", "files", "mainBundle"})
    if (device.contains(key)) return failed("\"" + std::string(key) + "\" is the server's own");
  return {};
}

ScriptResult<script::Script> scriptOf(const DevicePart& part) {
  Json device = part.requested;
  device.update(part.serverOwned);
  if (part.library) device["library"] = *part.library;
  // Names of files are absolute by now.
  return script::scriptFromJson({{"device", std::move(device)}, {"steps", Json::array()}}, "/");
}

}  // namespace vecamera::simulator
