#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "VECamera/platform/Foundation.h"
#include "simulator/server/base/Limits.h"
#include "simulator/server/phone/DevicePart.h"

namespace vecamera::simulator {

/// One message of a phone to its browser.
struct PhoneMessage {
  enum class Kind {
    /// A message with a number: a browser that comes back gets it again.
    logged,
    state,
    /// `done` or `failed`: each request gets one, the last message that it brings about.
    reply,
    /// Sent once: nobody gets it again.
    transient,
    /// A new device replaces the old one, and what follows is of the new one. The text is its
    /// `device` part, not a whole message.
    restarted,
  };
  Kind kind = Kind::logged;
  std::string text;
  /// The number of a logged one.
  std::int64_t n = -1;
  /// The version of the protocol that brought it: older clients do not get it.
  int version = 1;
};

struct PhoneSetup {
  DevicePart device;
  /// The home whose photo library is used; nothing: a library of the phone's own.
  std::optional<std::filesystem::path> home;
  /// In the place of the temporary directory's file URLs: an address with a trailing slash.
  std::string filesAddress;
  /// Where the recording is kept; nothing: nowhere.
  std::optional<std::filesystem::path> record;
  MediaLimits media;
  PhoneLimits limits;
  /// What time it is. Called on the phone's thread.
  std::function<Date()> realTime;
  /// For what the device does by itself after a while. Called on the phone's thread.
  std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
  /// Takes the messages in their order; called on the phone's threads, one at a time.
  std::function<void(PhoneMessage)> onMessage;
  /// Takes lines for the developer; called on the phone's thread.
  std::function<void(const std::string&)> onDiagnostic;
};

}  // namespace vecamera::simulator
