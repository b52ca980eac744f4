#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "device/script/play/PlaySession.h"

namespace vecamera::simulator {

/// Keeps what is presented, from the events that tell of it.
class PresentedScreens {
 public:
  void note(const nlohmann::ordered_json& event);
  /// Bottom first, each with an "id".
  const nlohmann::ordered_json& list() const { return list_; }

 private:
  nlohmann::ordered_json list_ = nlohmann::ordered_json::array();
  int lastId_ = 0;
};

/// Which command made which file of the temporary directory.
class FileOwners {
 public:
  void set(const std::string& file, const std::string& callback) { owners_[file] = callback; }
  /// Gives the files that have no owner to the callback, and forgets those that are gone.
  void settle(const std::vector<std::string>& present, const std::string& callback);
  /// Empty where nobody is known.
  std::string ownerOf(const std::string& file) const;

 private:
  std::map<std::string, std::string> owners_;
};

struct TemporaryFile {
  /// Relative to the temporary directory.
  std::string name;
  std::uint64_t bytes = 0;
  Date modified;
};
/// The files of the directory and its folders, sorted by name.
std::vector<TemporaryFile> temporaryFiles(const std::string& directory);

/// The name of the callback whose command is under way or was the last; empty where there is none.
std::string currentCallback(device::script::ScriptedDevice& device);

/// What a phone knows of its state beyond what the device tells.
struct StateExtras {
  const PresentedScreens& screens;
  const FileOwners& owners;
  /// As they were set.
  const nlohmann::ordered_json& faults;
  bool isClockFixed = false;
  std::uint64_t libraryVersion = 0;
  std::size_t recordedSteps = 0;
  std::optional<std::string> recordingEnded{};
};

/// The `state` message. Called by whoever conducts the session.
nlohmann::ordered_json stateMessage(device::script::PlaySession& session,
                                    const StateExtras& extras);
/// That of a phone whose device could not be made.
nlohmann::ordered_json brokenStateMessage(const std::string& why, const StateExtras& extras);

}  // namespace vecamera::simulator
