#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "simulator/server/sites/RecordingFiles.h"

namespace vecamera::simulator {

struct FolderFingerprint {
  /// Changes when a file in the folder or below it does, comes or goes.
  std::uint64_t sum = 0;
  /// False where there are more files than were looked at.
  bool isWhole = true;

  bool operator==(const FolderFingerprint&) const = default;
};

/// Hidden files and "node_modules" do not count, nor recordings, nor what lies beyond that many
/// files. Any thread.
FolderFingerprint folderFingerprint(const std::filesystem::path& folder,
                                    const RecordingFiles& recordings = RecordingFiles(),
                                    std::size_t maxFiles = 10'000);

}  // namespace vecamera::simulator
