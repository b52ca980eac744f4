#pragma once

#include <filesystem>

#include "device/photos/LibraryStore.h"

namespace vecamera::device::script {

/// What a photo library of this device is made with; identifiers are random.
photos::LibraryStore::Parts libraryParts();

/// Where an application home keeps its photo library.
inline std::filesystem::path libraryFolder(const std::filesystem::path& home) {
  return home / "Library" / "Photos";
}

}  // namespace vecamera::device::script
