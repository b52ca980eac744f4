#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "device/foundation/files/Descriptor.h"
#include "simulator/server/base/Result.h"

namespace vecamera::simulator {

/// A regular file, open for reading.
struct ConfinedFile {
  foundation::Descriptor descriptor;
  std::uint64_t bytes = 0;
  /// Of the last change of its contents, since 1970.
  std::int64_t modifiedNs = 0;
};

/// Opens the regular file of that name below the folder. Nothing where there is none, or where its
/// path leads out of the folder: the names (of which none is "..") are looked up by the system so
/// that no link can do that either. Any thread.
std::optional<ConfinedFile> openConfined(const std::filesystem::path& folder,
                                         std::span<const std::string> names);
bool isFolderConfined(const std::filesystem::path& folder, std::span<const std::string> names);

}  // namespace vecamera::simulator
