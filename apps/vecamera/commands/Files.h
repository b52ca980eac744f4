#pragma once

#include <filesystem>
#include <string>

#include "VECamera/platform/Value.h"
#include "apps/vecamera/terminal/Terminal.h"

namespace vecamera::app {

/// Fails, in one line with the cure, where the path is no file that can be read.
AppResult<void> requireFile(const std::filesystem::path& path);

/// Writes the file, in place of one of that name. The error names the path.
AppResult<void> writeFile(const std::filesystem::path& path, const Data& bytes);

/// Puts a text file that everybody may read in the place of the path. Nobody sees it half-written.
/// The error names the path.
AppResult<void> replaceFile(const std::filesystem::path& path, const std::string& text);

}  // namespace vecamera::app
