#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {

/// A regular file, open for reading.
struct ConfinedFile {
  foundation::Descriptor descriptor;
  std::uint64_t bytes = 0;
  /// Of the last change of its contents, since 1970.
  std::int64_t modifiedNs = 0;
};

/// Opens the regular file of that path below the folder. The system refuses a path that leads out
/// of the folder, by a link or by "..". Any thread.
FileResult<ConfinedFile> openConfined(const std::filesystem::path& folder,
                                      std::span<const std::string> names);
/// Whether that path is one of a folder.
bool isFolderConfined(const std::filesystem::path& folder, std::span<const std::string> names);

}  // namespace vecamera::simulator
