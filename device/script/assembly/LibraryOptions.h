#pragma once

#include <filesystem>

#include "device/photos/LibraryStore.h"

namespace vecamera::device::script {

/// The options of this device's photo libraries; identifiers are random.
photos::LibraryStore::Options libraryOptions();

/// Where an application home keeps its photo library.
inline std::filesystem::path libraryFolder(const std::filesystem::path& home) {
  return home / "Library" / "Photos";
}

}  // namespace vecamera::device::script
