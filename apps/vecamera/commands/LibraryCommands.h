#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "apps/vecamera/terminal/Terminal.h"

/// The photo library of an application home, by hand.
namespace vecamera::app {

/// Adds each file that is a picture, and prints what it became.
ExitStatus addToLibrary(const std::filesystem::path& home,
                        const std::vector<std::filesystem::path>& files);

enum class ListForm { table, jsonLines };
ExitStatus listLibrary(const std::filesystem::path& home, ListForm form);

struct LibraryExport {
  /// None: every asset.
  std::vector<std::string> identifiers;
  /// Made where it is missing.
  std::filesystem::path folder;
  /// Whether files of the same name are replaced.
  bool force = false;
};
/// Copies assets out, each into a file named after its identifier, and prints the files' names.
ExitStatus exportLibrary(const std::filesystem::path& home, const LibraryExport& options);

enum class Confirmation { ask, given };
ExitStatus clearLibrary(const std::filesystem::path& home, Confirmation confirmation);

}  // namespace vecamera::app
