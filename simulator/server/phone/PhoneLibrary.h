#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "device/photos/LibraryStore.h"
#include "simulator/server/base/DeviceNames.h"
#include "simulator/server/phone/Recording.h"

namespace vecamera::simulator {

/// What becomes of the assets of a phone's own library when its device is made. A shared one, which
/// belongs to its developer, keeps them in any case.
enum class OldAssets { keep, remove };

/// A phone's photo library: its own, or that of a home that other phones share. On the phone's
/// thread.
class PhoneLibrary {
 public:
  PhoneLibrary(std::optional<std::filesystem::path> sharedHome, std::filesystem::path ownHome)
      : sharedHome_(std::move(sharedHome)), ownHome_(std::move(ownHome)) {}

  /// Null before it has been opened. Any thread.
  std::shared_ptr<device::photos::LibraryStore> store() const;
  const std::filesystem::path& home() const { return sharedHome_ ? *sharedHome_ : ownHome_; }

  ScriptResult<> open(OldAssets oldAssets);
  /// Of the assets that a `device` part lists, those that the library does not have. Nothing
  /// listed: the samples, where the library is the phone's own.
  Json missing(const std::optional<Json>& listed) const;
  /// Adds all assets, with files that stay when the library changes. Ends with an error at the
  /// first that cannot be kept. The files are hard links. Where the disk has none they are copies,
  /// of at most `copyBytes` in all.
  ScriptResult<> hold(std::uint64_t copyBytes, std::vector<Recording::Asset>& assets) const;
  /// Grows with each change that `update` finds.
  std::uint64_t version() const { return version_; }
  void update();

 private:
  const std::optional<std::filesystem::path> sharedHome_;
  const std::filesystem::path ownHome_;
  mutable std::mutex mutex_;
  /// Guarded by the mutex.
  std::shared_ptr<device::photos::LibraryStore> store_;
  std::vector<std::int64_t> assets_;
  std::uint64_t version_ = 0;
};

/// Whether the library would take each of the listed files.
ScriptResult<> checkAssets(const Json& listed);

}  // namespace vecamera::simulator
