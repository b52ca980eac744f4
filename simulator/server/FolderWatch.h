#pragma once

#include <cstdint>
#include <filesystem>

namespace vecamera::simulator {

/// A number that changes when a file in the folder or below it does, comes or goes. Hidden files
/// and "node_modules" do not count, nor what lies beyond the first 10000 files. Any thread.
std::uint64_t folderFingerprint(const std::filesystem::path& folder);

}  // namespace vecamera::simulator
