#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "device/script/script/Script.h"
#include "simulator/server/base/Result.h"

namespace vecamera::simulator {

/// The `device` part that a phone begins with.
struct DevicePart {
  /// As whoever uses the phone may change it: without the keys below.
  nlohmann::ordered_json requested = nlohmann::ordered_json::object();
  /// "files" and "mainBundle", which outlive a restart, and "seed".
  nlohmann::ordered_json serverOwned = nlohmann::ordered_json::object();
  /// The assets to import, with absolute names of files; nothing: the samples.
  std::optional<nlohmann::ordered_json> library;
};

/// The part from a device script's file, which need not have steps.
Result<DevicePart> readDevicePart(const std::filesystem::path& file);

/// Whether a browser may request this part: without what is the server's own. A "seed", for one
/// device, it may.
Result<> checkRequestedPart(const nlohmann::ordered_json& device);

/// The part as a script without steps. Files that the part holds itself live as long as the script.
Result<device::script::Script> scriptOf(const DevicePart& part);

}  // namespace vecamera::simulator
