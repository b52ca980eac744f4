#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "device/foundation/files/Descriptor.h"
#include "simulator/server/base/DeviceNames.h"
#include "simulator/server/base/Limits.h"

namespace vecamera::simulator {

/// The path of a file that is removed when nobody holds it any more.
using HeldFile = std::shared_ptr<const std::filesystem::path>;

/// The pictures and movies that a phone was given, as files under names of the server's own:
/// "media/3.jpg". A finished file stays until it is held, and is removed with its last holder.
/// Any thread. Outlives its writers and holders.
class MediaFolder {
 public:
  /// The files go to "media" in the folder, which is made with the first one.
  MediaFolder(std::filesystem::path folder, MediaLimits limits)
      : folder_(std::move(folder)), limits_(limits) {}

  /// Why a file did not take the bytes.
  struct WriteError {
    enum class Kind { limit, disk };
    Kind kind = Kind::limit;
    std::string message;
  };

  /// Writes one file, piece by piece; one that is not finished is removed.
  class Writer {
   public:
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    device::Result<void, WriteError> write(std::span<const char> bytes);
    /// The file can be used from now on. Gives its name.
    std::string finish();
    std::uint64_t bytes() const { return bytes_; }

   private:
    friend class MediaFolder;
    Writer(MediaFolder& folder, std::string name, foundation::Descriptor file)
        : folder_(folder), name_(std::move(name)), file_(std::move(file)) {}

    MediaFolder& folder_;
    std::string name_;
    foundation::Descriptor file_;
    std::uint64_t bytes_ = 0;
  };

  /// Begins a file; of the name that it is given only the extension is used. Fails where there are
  /// too many, or the folder cannot be written.
  ScriptResult<std::unique_ptr<Writer>> begin(std::string_view originalName);
  /// A whole file at once. Gives its name, as `Writer::finish`.
  ScriptResult<std::string> add(const Data& contents, std::string_view originalName);
  /// The file of a name that `Writer::finish` gave, or one of a data URL's bytes.
  ScriptResult<HeldFile> hold(std::string_view nameOrDataUrl);
  /// Removes the finished files that nobody holds.
  void removeUnheld();

  /// The names are relative to it.
  const std::filesystem::path& folder() const { return folder_; }

 private:
  /// Whether that many bytes more are within the limits; they count from then on.
  bool reserve(std::uint64_t bytes);
  void removeReleased(const std::filesystem::path& path);
  HeldFile holdFinished(std::string_view name);

  struct File {
    std::uint64_t bytes = 0;
    std::weak_ptr<const std::filesystem::path> held;
  };

  const std::filesystem::path folder_;
  const MediaLimits limits_;
  std::mutex mutex_;
  std::uint64_t totalBytes_ = 0;
  std::uint64_t number_ = 0;
  std::size_t unfinished_ = 0;
  /// Those that are finished.
  std::map<std::string, File, std::less<>> files_;
};

}  // namespace vecamera::simulator
