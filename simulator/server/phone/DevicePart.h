#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>

#include "device/script/script/Script.h"

namespace vecamera::simulator {

/// The `device` part that a phone begins with.
struct DevicePart {
  /// As whoever uses the phone may change it: without the keys below.
  nlohmann::ordered_json asked = nlohmann::ordered_json::object();
  /// "files" and "mainBundle", which are the server's matter and outlive a restart, and "seed".
  nlohmann::ordered_json kept = nlohmann::ordered_json::object();
  /// The assets to import, with absolute names of files; nothing: the samples.
  std::optional<nlohmann::ordered_json> library;
};

/// The part from a device script's file, which need not have steps; or why not, in one line.
std::variant<DevicePart, std::string> readDevicePart(const std::filesystem::path& file);

/// Why a browser may not ask for this part; nothing: it may. It may tell a "seed", for one device.
std::optional<std::string> problemWithAskedPart(const nlohmann::ordered_json& device);

/// The part as a script without steps, or why not. Files that the part holds itself live as long as
/// the script.
std::variant<device::script::Script, std::string> scriptOf(const DevicePart& part);

}  // namespace vecamera::simulator
