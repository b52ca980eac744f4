#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "device/script/play/PlaySession.h"
#include "simulator/server/phone/Recording.h"

namespace vecamera::simulator {

/// What the user allows, as in a script.
Json permissionsOf(const script::ScriptedDevice& device);

enum class ClockMode { real, fixed };

/// The state of a device as a browser sees it, from the device itself and its earlier events. Used
/// on the thread that conducts the device's session.
class PhoneState {
 public:
  /// `filesAddress` begins the addresses of the device's temporary files. `faults` are those that
  /// it begins with, as in a script.
  PhoneState(std::string filesAddress, Json faults)
      : filesAddress_(std::move(filesAddress)), faults_(std::move(faults)) {}

  /// `text` is the event's JSON text.
  void onEvent(const Json& event, std::string_view text);
  void onFaults(Json faults) { faults_ = std::move(faults); }
  /// The faults that strike yet, as in a script.
  Json faults(const script::ScriptedDevice& device) const;
  /// The `state` message of a session, or of none where the device could not be made: then
  /// `broken` says why. `automatic` is what the device does by itself.
  Json message(script::PlaySession* session, const std::string& broken, ClockMode clockMode,
               std::uint64_t libraryVersion, const Recording& recording, Json automatic);

 private:
  Json files(script::ScriptedDevice& device);

  std::string filesAddress_;
  /// As they were set.
  Json faults_;
  /// What is presented, bottom first, each with an "id".
  Json screens_ = Json::array();
  int lastScreenId_ = 0;
  /// For each file of the temporary directory, the callback whose work made it; an empty one where
  /// none is known.
  std::map<std::string, std::string> owners_;
};

}  // namespace vecamera::simulator
