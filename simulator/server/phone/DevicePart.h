#pragma once

#include <filesystem>
#include <optional>

#include "device/script/script/Script.h"
#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {

/// The `device` part that a phone begins with.
struct DevicePart {
  /// What a browser may change: all but the keys below.
  Json requested = Json::object();
  /// "files" and "mainBundle", which outlive a restart, and "seed".
  Json serverOwned = Json::object();
  /// The assets to import, with absolute names of files; nothing: the samples.
  std::optional<Json> library;
};

/// The part from a device script's file, which need not have steps.
ScriptResult<DevicePart> readDevicePart(const std::filesystem::path& file);

/// Whether a browser may request this part: without what is the server's own. A "seed", for one
/// device, it may.
ScriptResult<> checkRequestedPart(const Json& device);

/// The part as a script without steps. Files that the part holds itself live as long as the script.
ScriptResult<script::Script> scriptOf(const DevicePart& part);

}  // namespace vecamera::simulator
