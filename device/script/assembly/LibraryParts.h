#pragma once

#include <filesystem>

#include "device/photos/LibraryStore.h"

namespace vecamera::device::script {

/// What a photo library of this device is made with; identifiers are random.
photos::LibraryStore::Parts libraryParts();

/// Where an application home keeps its photo library.
std::filesystem::path libraryFolder(const std::filesystem::path& home);

}  // namespace vecamera::device::script
