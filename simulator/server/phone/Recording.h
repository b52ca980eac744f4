#pragma once

#include <cstddef>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simulator/server/phone/MediaFolder.h"

namespace vecamera::simulator {

struct RecordingLimits {
  std::size_t steps = 20'000;
  /// Of the steps without their media.
  std::size_t bytes = 64U << 20U;
};

/// What was done with a phone, as a device script of one file: media stand in it as data URLs. Any
/// thread.
class Recording {
 public:
  explicit Recording(RecordingLimits limits = {}) : limits_(limits) {}

  /// A file that takes its place in the script when that is written.
  struct File {
    /// The key in whose place the file stands; empty: there is none.
    std::string key;
    HeldFile held;
  };
  struct Asset {
    std::string id;
    HeldFile held;
  };

  /// Begins anew, with the `device` part (without its library) and the assets that stand in the
  /// photo library.
  void begin(nlohmann::ordered_json device, std::vector<Asset> library);
  /// Adds a step, whose file is told apart from it. False where the recording has ended: it has
  /// come to its limits, so that it takes this step and later ones no more.
  bool add(nlohmann::ordered_json step, File file);
  /// It takes no more steps, for that reason.
  void end(std::string why);
  std::size_t steps() const;
  /// Why the recording has ended; nothing: it goes on.
  std::optional<std::string> ended() const;

  /// Writes the script into the place of that file, so that nobody sees half of it. False where it
  /// cannot be written, or one of its media is gone.
  bool writeTo(const std::filesystem::path& path) const;

 private:
  struct Step {
    nlohmann::ordered_json json;
    File file;
  };

  const RecordingLimits limits_;
  mutable std::mutex mutex_;
  std::size_t bytes_ = 0;
  std::optional<std::string> ended_;
  nlohmann::ordered_json device_;
  std::vector<Asset> library_;
  std::vector<Step> steps_;
};

}  // namespace vecamera::simulator
