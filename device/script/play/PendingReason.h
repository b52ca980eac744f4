#pragma once

#include <optional>
#include <string>
#include <string_view>

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

/// Why a callback has no answer.
struct PendingReason {
  enum class Code {
    /// A hold stopped it.
    held,
    /// It was held, and dropped.
    dropped,
    /// The app was killed before the answer.
    killed,
    /// The module waits for a file name that is taken.
    fileName,
    /// The command has not come to its end.
    running,
    /// The container released the plug-in object.
    released,
    /// A later `takePicture` took its place.
    replaced,
    prompt,
    alert,
    picker,
    /// The plug-in does not know the source.
    source,
    /// An alert's action led to the settings, or found none.
    settings,
    /// Access to the photo library is limited.
    limited,
    viewController,
    /// A location update is awaited.
    location,
    /// The photo is held back for a location, and no location manager was started.
    noLocationManager,
    /// The flow ended on another path that gives no answer.
    noAnswer,
  };
  Code code = Code::noAnswer;
  /// In plain words, as part of a sentence.
  std::string why;
  /// What will bring the answer, as a sentence; nothing: it never comes.
  std::optional<std::string> endsWith;
};

/// As messages spell it.
std::string_view nameOf(PendingReason::Code code);

/// The reason from how things stand now and from the history of the latest `takePicture`.
PendingReason pendingReason(const container::Callback& callback, const ScriptedDevice& device,
                            const CommandHistory& history);

}  // namespace vecamera::device::script
