#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "VECamera/platform/Value.h"

namespace vecamera::app {

/// Why the path is no file that can be read, in one line with the cure; nothing where it is.
std::optional<std::string> problemWithFile(const std::filesystem::path& path);

/// Writes the file, in place of one of that name; false where it cannot.
bool writeFile(const std::filesystem::path& path, const Data& bytes);

}  // namespace vecamera::app
