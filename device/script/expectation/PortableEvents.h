#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device/script/assembly/ScriptedDevice.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {

/// Brings the events of one play into a form that is the same on every machine. In texts and keys:
///
/// - the device's own folders become "<tmp>", "<home>" and "<recordings>";
/// - Base64 of more than 64 characters becomes "<base64>";
/// - where the script gives no seed, identifiers that the device drew become "<id 1>", "<id 2>" in
///   the order in which they show up;
/// - where it gives no clock, the time in the name of a temporary file becomes "<time 1>" and so
///   on, and that of a location becomes "<time>".
///
/// A picture's `sha256` is left out. Used on one thread at a time.
class PortableEvents {
 public:
  PortableEvents(const Script& script, const ScriptedDevice& device);

  Json portable(const Json& event);

 private:
  std::string portableText(const std::string& text);
  void replaceIdentifiers(std::string& text);
  void replaceTimes(std::string& text);

  /// The longest path first.
  std::vector<std::pair<std::string, std::string>> folders_;
  const bool hasSeed_;
  const bool hasClock_;
  /// Those that the script gives.
  std::set<std::string, std::less<>> ownIdentifiers_;
  std::map<std::string, std::string> identifiers_;
  std::map<std::string, std::string> times_;
};

}  // namespace vecamera::device::script
