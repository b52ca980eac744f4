#pragma once

#include <string>

#include "device/script/assembly/ScriptedDevice.h"

namespace vecamera::device::script {

/// What has happened since a command began, as far as its open callback depends on it.
struct CommandHistory {
  enum class Settings {
    notAsked,
    opened,
    /// An alert's action found no address of the settings.
    unavailable,
  };
  Settings settings = Settings::notAsked;
  bool hasPresentedAlert = false;
  bool hasPresentedPicker = false;
};

/// Why the callback has no answer, in plain words, from how things stand now and from the history
/// of the latest `takePicture`.
std::string pendingReason(const container::Callback& callback, const ScriptedDevice& device,
                          const CommandHistory& history);

}  // namespace vecamera::device::script
