#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/server/base/Limits.h"
#include "simulator/server/phone/MediaFolder.h"

namespace vecamera::simulator {

/// What was done with a phone, as a device script of one file, which holds media as data URLs. Any
/// thread, but for what is the phone's.
class Recording {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Without a file it is kept in memory. `onDiagnostic` takes lines for the developer.
  Recording(RecordingLimits limits, std::optional<std::filesystem::path> file,
            std::function<void(const std::string&)> onDiagnostic)
      : limits_(limits), file_(std::move(file)), onDiagnostic_(std::move(onDiagnostic)) {}

  /// A file of media, whose bytes are put into the script when that is written.
  struct File {
    /// The step's key for the file; empty: there is no file.
    std::string key;
    HeldFile held;
  };
  struct Asset {
    std::string id;
    HeldFile held;
  };

  std::size_t steps() const;
  /// Why the recording has ended; nothing: it goes on.
  std::optional<std::string> ended() const;
  /// Writes the script to the file, which is replaced as a whole. One of the media that cannot be
  /// read is an error, too.
  FileResult<void> writeTo(const std::filesystem::path& path) const;

  // On the phone's thread.

  /// Begins anew, with the `device` part (without its library) and the assets that stand in the
  /// photo library.
  void begin(Json device, std::vector<Asset> library);
  /// Adds a step, whose file does not stand in it. A recording that has ended, or ends as it comes
  /// to its limits, takes no step; it holds the file until `releaseFiles`.
  void add(const Json& step, File file);
  void releaseFiles() { unrecorded_.clear(); }
  /// It takes no more steps, for that reason.
  void end(const std::string& why);
  /// When the file is to be written; nothing: it is up to date, or there is none. It is written
  /// whole, so a long one is written less often.
  std::optional<TimePoint> nextWrite() const;
  /// Unless it is up to date.
  void write();

 private:
  struct Step {
    /// Its JSON text.
    std::string text;
    File file;
  };

  const RecordingLimits limits_;
  const std::optional<std::filesystem::path> file_;
  const std::function<void(const std::string&)> onDiagnostic_;

  mutable std::mutex mutex_;
  // Guarded by the mutex; changed on the phone's thread only.
  std::size_t bytes_ = 0;
  std::optional<std::string> ended_;
  Json device_;
  std::vector<Asset> library_;
  std::vector<Step> steps_;

  // Used on the phone's thread.
  /// Files that steps use and the recording does not hold.
  std::vector<HeldFile> unrecorded_;
  bool isDirty_ = false;
  bool hasWriteFailed_ = false;
  TimePoint nextWrite_ = std::chrono::steady_clock::now();
};

}  // namespace vecamera::simulator
