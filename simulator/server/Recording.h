#pragma once

#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vecamera::simulator {

/// What was done with a phone, as a device script of one file: media stand in it as data URLs. Any
/// thread.
class Recording {
 public:
  /// A file that takes its place in the script when that is written.
  struct File {
    /// The key in whose place the file stands; empty: there is none.
    std::string key;
    std::filesystem::path path;
  };
  struct Asset {
    std::string id;
    std::filesystem::path path;
  };

  /// Begins anew, with the `device` part (without its library) and the assets that stand in the
  /// photo library.
  void begin(nlohmann::ordered_json device, std::vector<Asset> library);
  /// Adds a step, whose file is told apart from it.
  void add(nlohmann::ordered_json step, File file);
  std::size_t steps() const;

  /// Writes the script into the place of that file, so that nobody sees half of it. False where it
  /// cannot be written, or one of its media is gone.
  bool writeTo(const std::filesystem::path& path) const;

 private:
  struct Step {
    nlohmann::ordered_json json;
    File file;
  };

  mutable std::mutex mutex_;
  nlohmann::ordered_json device_;
  std::vector<Asset> library_;
  std::vector<Step> steps_;
};

}  // namespace vecamera::simulator
